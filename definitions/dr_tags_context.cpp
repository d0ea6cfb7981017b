// SPDX-License-Identifier: BSD-2-Clause

// Which step of a request's filter a tag takes, the handlers that a daemon has for commands, and
// the trace of the stacks.
#include "definitions/dr_tags_context.h"

#include <cassert>
#include <utility>

#include "definitions/dr_filter_steps.h"
#include "frame/drend_trace.h"
#include "frame/str_util.h"

dr_published_c<dr_cmd_handlers_s> dri_cmd_handlers;

namespace {

constexpr char MERGED_ROOT[] = "__root__";

void trace_line(const std::string& text) {
    drend_debug_trace("DR_TAGS_ACCESS: %s\n", text.c_str());
}

} // namespace

int dr_tags_context_c::push_tag(const drend_tag_c* tag) {
    position_.push_tag_alone(tag);
    if (!has_steps_left() || tag->is_hidden()) {
        return DREND_OK;
    }
    current_step_ = &current_step_->step_for(tag);
    // An empty step is used up, but filters nothing and is not given back.
    get_top_tag(0)->dto_filter = current_step_->is_empty ? nullptr : current_step_;
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: push_tag:filter: tag: %s filter: %s\n",
                          tag->name().c_str(), dri_traced_step(*current_step_).c_str());
    }
    return DREND_OK;
}

void dr_tags_context_c::give_step_back() {
    const bool has_taken = get_top_tag(0)->dto_filter != nullptr;
    if (has_taken && current_step_ != nullptr && current_step_->above != nullptr) {
        current_step_ = current_step_->above;
    }
}

int dr_tags_context_c::pop_tag() {
    if (tag_depth() == 0) {
        return -1;
    }
    give_step_back();
    position_.pop_tag_alone();
    return 0;
}

int dr_tags_context_c::set_filter(const char* filter) {
    set_filter(dri_cut_filter(filter));
    return filter_ != nullptr ? DREND_OK : DREND_ERR;
}

void dr_tags_context_c::set_filter(dr_filter_t filter) {
    filter_ = std::move(filter);
    current_step_ = filter_ == nullptr ? nullptr : &filter_->top();
}

void dri_get_cur_source(const dr_tags_context_c* ctx, std::string& out) {
    out.clear();
    for (size_t n = ctx->tag_depth(); n-- > 0;) {
        const std::string& source = ctx->get_top_tag(static_cast<unsigned>(n))->source();
        if (!source.empty()) {
            out += out.empty() ? "" : "/";
            out += source;
        }
    }
}

int drend_add_cmd_handlers(drend_cmd_handler_t start, drend_cmd_handler_t end,
                           void* user_data) {
    dri_cmd_handlers.set({start, end, user_data});
    return 0;
}

void dri_call_cmd_start(const dr_tags_context_c* ctx, const char* command) {
    const dr_cmd_handlers_s handlers = dri_cmd_handlers.get();
    if (handlers.start == nullptr) {
        return;
    }
    std::string text = command;
    for (size_t n = ctx == nullptr ? 0 : ctx->tag_depth(); n-- > 0;) {
        const std::string& name = ctx->get_top_tag(static_cast<unsigned>(n))->name();
        if (name != MERGED_ROOT) {
            text = "/" + name;
            break;
        }
    }
    handlers.start(text.c_str(), handlers.user_data);
}

void dri_call_cmd_end(const drend_tag_c* /*tag*/) {
    const dr_cmd_handlers_s handlers = dri_cmd_handlers.get();
    if (handlers.end != nullptr) {
        handlers.end("", handlers.user_data);
    }
}

void db_print_top_tag(const dr_tags_context_c* ctx) {
    if (!dri_trace_on(DREND_TRACE_WALK)) {
        return;
    }
    std::string text;
    for (size_t n = ctx->tag_depth(); n-- > 0;) {
        const drend_tag_object_c* tobj = ctx->get_top_tag(static_cast<unsigned>(n));
        text += text.empty() ? "" : "/";
        text += tobj->name();
        if (!tobj->source().empty()) {
            text += "[" + tobj->source() + "]";
        }
    }
    trace_line(text);
}

void db_print_mc(const dr_meta_context_c* context) {
    if (!dri_trace_on(DREND_TRACE_WALK)) {
        return;
    }
    std::string text;
    for (unsigned n = context->depth(); n-- > 0;) {
        const dr_meta_object_c* object = context->get_object_offset(n);
        text += n + 1 == context->depth() ? "" : "/";
        text += object->node->name.c_str();
        if (object->node->is_list()) {
            str_append(text, " [%p]", object->element_ref);
        }
    }
    trace_line(text);
}

void db_print_mc_stack(const dr_tags_context_c* ctx) {
    for (size_t n = ctx->meta_depth(); n-- > 0;) {
        db_print_mc(ctx->get_top_meta_context(static_cast<unsigned>(n)));
    }
}
