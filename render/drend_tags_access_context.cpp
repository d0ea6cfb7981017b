// SPDX-License-Identifier: BSD-2-Clause

// The slices of a rendering, and the moves by tag that take a filter's steps and give them back.
// However a slice ends, what was entered is exited and what is in use is released here.

#include "render/dr_tags_access_context.h"

#include <algorithm>
#include <cassert>

#include "definitions/drend_load.h"
#include "frame/drend_trace.h"
#include "render/drend_context_walker.h"

namespace {

void call_walk_start(dr_tags_access_context_c& walk) {
    if (dr_meta_context_c* context = walk.get_top_meta_context(0)) {
        dri_call_walk_start(context);
    } else {
        dr_meta_context_c empty; // handlers may read cookies and the like from it
        dri_call_walk_start(&empty);
    }
}

} // namespace

dr_tags_access_context_c::dr_tags_access_context_c(void* element_ref)
    : dr_tags_context_c(element_ref) {}

dr_tags_access_context_c::~dr_tags_access_context_c() {
    // A context that is alone has its frames for itself: exiting it asks for no memory.
    while (dr_meta_context_c* context = get_top_meta_context(0)) {
        exit_entered(*context);
        pop_meta_context();
    }
    release_in_use();
    if (dri_retirement_waits()) {
        dri_free_daemon_context(nullptr);
    }
}

void dr_tags_access_context_c::want(const dr_page_wish_s& wish) {
    page_ = std::make_unique<dr_page_c>(wish, position_, filter_, reader_);
    walk_.set_page(page_.get());
}

// --- slices -------------------------------------------------------------------------------

int dr_tags_access_context_c::get_value(dr_context_walker_c* walker) {
    call_walk_start(*this);
    if (walker != nullptr) {
        walker_ = walker;
    }
    drend_tag_object_c* top = get_top_tag(0);
    if (top == nullptr || walker_ == nullptr) {
        return DREND_ERR;
    }
    command_tag_ = top;
    mark_in_use(top->dto_tag);
    const int status = walk_.begin(*walker_);
    return settle() ? status : DREND_DEFER;
}

dr_tags_access_context_c* dr_tags_access_context_c::defer_continue() {
    call_walk_start(*this);
    if (walker_ == nullptr) {
        return nullptr;
    }
    walk_.resume();
    if (!settle()) {
        return this;
    }
    walker_ = nullptr;
    return nullptr;
}

// Ends a slice: true when the walk is over, with everything given back that it held.
bool dr_tags_access_context_c::settle() {
    if (walk_.is_suspended()) {
        assert(in_use_ != nullptr);
        walker_->release_output();
        if (walker_->status() == 0) {
            return false;
        }
    }
    give_up();
    return true;
}

// Leaves whatever the walk is still inside of. After a walk that came to its end there is nothing.
void dr_tags_access_context_c::give_up() {
    if (walk_.abandon()) {
        for (unsigned n = 0; n < meta_depth(); ++n) {
            exit_entered(*get_top_meta_context(n));
        }
        while (get_top_tag(0) != command_tag_ && pop_tag() == 0) {
        }
    }
    command_tag_ = nullptr;
    release_in_use();
}

void dr_tags_access_context_c::exit_entered(dr_meta_context_c& context) {
    context.end_visit(); // the leaf covers what was entered
    if (const dr_meta_node_c* node = context.get_top_node()) {
        context.call_exit_proc(node->type);
    }
}

void dr_tags_access_context_c::mark_in_use(const drend_tag_c* tag) {
    release_in_use();
    dri_tags_add_inuse(tag);
    in_use_ = tag;
}

void dr_tags_access_context_c::release_in_use() {
    if (in_use_ != nullptr) {
        dri_tags_delete_inuse(in_use_);
        in_use_ = nullptr;
    }
}

// --- moving by tag ------------------------------------------------------------------------

int dr_tags_access_context_c::push_tag(const drend_tag_c* tag) {
    dr_tags_context_c::push_tag(tag);
    if (tag->source().empty()) {
        return 0;
    }
    const int status = position_.follow_source();
    if (status != DREND_OK) {
        dr_tags_context_c::pop_tag();
        if (dri_trace_on(DREND_TRACE_ERROR)) {
            trace_lost(*tag, status);
        }
    }
    return status;
}

// Says once of a tag, which may stand in a million rows, that its source leads nowhere.
void dr_tags_access_context_c::trace_lost(const drend_tag_c& tag, int status) {
    if (!lost_tags_.insert(&tag).second) {
        return;
    }
    drend_debug_trace("DR_ERROR: Couldn't push tag->dt_source:'%s':ret=%d\n",
                      tag.source().c_str(), status);
    const drend_tag_object_c* top =
        tag_depth() == 0 ? nullptr : get_top_tag(static_cast<unsigned>(tag_depth() - 1));
    const drend_tag_c& root = top == nullptr ? tag : *top->dto_tag;
    if (tag.dt_place.file != nullptr && !root.dt_commands.empty()) {
        drend_debug_trace("DR_ERROR: command '%s', tag '%s': %s:%u:%u\n",
                          (*root.dt_commands.begin())->dc_name, tag.name().c_str(),
                          tag.dt_place.file->c_str(), tag.dt_place.source.line,
                          tag.dt_place.source.column);
    }
}

int dr_tags_access_context_c::pop_tag() {
    if (tag_depth() <= 1) {
        return -1;
    }
    give_step_back();
    position_.leave();
    return 0;
}

bool dr_tags_access_context_c::has_style(const drend_tag_c* tag) const {
    const auto& styles = tag->dt_styles;
    return std::find(styles.begin(), styles.end(), requested_style) != styles.end();
}

// --- rows ---------------------------------------------------------------------------------

int dr_tags_access_context_c::get_first_element() {
    const dr_meta_object_c* object = position_.object();
    if (object == nullptr || !(object->is_list() || object->is_list_el())) {
        return DREND_ERR;
    }
    return walk_.first_row(*position_.context(0));
}

int dr_tags_access_context_c::get_next_element(dr_meta_context_c* context) {
    if (context == nullptr) {
        context = position_.context(0);
    }
    if (context == nullptr || context->get_top_object() == nullptr) {
        return DREND_ERR;
    }
    return walk_.next_row(*context);
}
