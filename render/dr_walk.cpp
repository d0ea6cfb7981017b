// SPDX-License-Identifier: BSD-2-Clause

// The loop over frames and its steps. A step never calls the loop: a kid that is a container or
// list gets a frame, and its parent goes on when that frame is gone. So the walk needs no stack of
// its thread for the depth of a definition, and a resumed walk is where a fresh one would be.

#include "render/dr_walk.h"

#include <algorithm>
#include <cassert>

#include "frame/drend_trace.h"
#include "render/dr_deferral.h"
#include "render/dr_dynamic_kids.h"
#include "render/dr_page.h"
#include "render/dr_tags_access_context.h"
#include "render/drend_context_walker.h"

int dtc_ignore_defer = 0;

namespace {

// Whether somebody wants to see every tag.
bool is_watched() {
    return dri_trace_on(DREND_TRACE_WALK) || dri_has_cmd_start();
}

} // namespace

// --- the loop -------------------------------------------------------------------------------

int dr_walk_c::begin(dr_context_walker_c& walker) {
    walker_ = &walker;
    status_ = DREND_OK;
    ++slice_;
    if (walker.status() == 0) {
        watch_top();
        visit_top();
    }
    return run();
}

int dr_walk_c::resume() {
    status_ = DREND_OK;
    ++slice_;
    return run();
}

bool dr_walk_c::abandon() {
    const bool had_frames = !frames_.empty();
    while (!frames_.empty()) {
        frames_.pop();
    }
    return had_frames;
}

int dr_walk_c::run() {
    while (!frames_.empty() && !must_stop()) {
        [[maybe_unused]] const size_t depth = frames_.size();
        const dr_defer_context_c& frame = *frames_.from_top(0);
        switch (frame.kind) {
        case dr_defer_context_c::LEAF:
            walk_leaf(frame.tobj);
            break;
        case dr_defer_context_c::CONT:
            walk_cont(frame.tobj);
            break;
        default:
            walk_list(frame.tobj);
        }
        assert(frames_.size() != depth || must_stop()); // a step gets somewhere
    }
    return walker_->status() != 0 ? walker_->status() : status_;
}

bool dr_walk_c::must_stop() const {
    return status_ == DREND_DEFER || walker_->status() != 0;
}

// Ends what the frame on top stands for. The tag goes with it, unless the frame is that of a row,
// whose list goes on, or that of the command.
void dr_walk_c::close_frame() {
    const drend_tag_object_c* tobj = frames_.from_top(0)->tobj;
    assert(tobj == position_.tag(0));
    frames_.pop();
    if (!frames_.empty() && frames_.from_top(0)->tobj != tobj) {
        context_.pop_tag();
    }
}

// Tells those who watch of the tag on top, which is visited next.
void dr_walk_c::watch_top() const {
    if (dri_trace_on(DREND_TRACE_WALK)) {
        trace_position(position_.tag(0));
    }
    if (dri_has_cmd_start()) {
        dri_call_cmd_start(&context_, "");
    }
}

// Visits the tag on top: prints a leaf, opens a container or a list.
void dr_walk_c::visit_top() {
    drend_tag_object_c* tobj = position_.tag(0);
    status_ = DREND_OK;
    if (!tobj->dto_tag->has_source_child()) {
        return;
    }
    const dr_meta_object_c* object = position_.object();
    switch (tobj->type()) {
    case DT_TYPE_CONT:
        open_cont(tobj);
        break;
    case DT_TYPE_LIST:
    case DT_TYPE_LEAF_LIST:
        // A source that selects its row by key has positioned the walk on it already.
        if (object != nullptr && object->is_list_el()) {
            open_selected_row(tobj);
        } else {
            open_list(tobj);
        }
        break;
    case DT_TYPE_LEAF:
        visit_leaf(tobj);
        break;
    default:
        break;
    }
}

void dr_walk_c::trace_position(const drend_tag_object_c* tobj) const {
    drend_debug_trace("DR_TAGS_ACCESS: tag-type: %d\n", tobj->type());
    drend_debug_trace("DR_TAGS_ACCESS: -----------------------------------\n");
    drend_debug_trace("DR_TAGS_ACCESS: top_tag:\n");
    db_print_top_tag(&context_);
    drend_debug_trace("DR_TAGS_ACCESS: top_mc_stack:\n");
    db_print_mc_stack(&context_);
}

// --- leaves ---------------------------------------------------------------------------------

void dr_walk_c::visit_leaf(drend_tag_object_c* tobj) {
    if (tobj->source().empty() || !filter_.match(tobj) ||
        !context_.style_match(tobj->dto_tag)) {
        return;
    }
    show_leaf(tobj);
    if (status_ == DREND_DEFER) {
        frames_.push(tobj, dr_defer_context_c::LEAF);
    }
}

// Asks a leaf again that was suspended.
void dr_walk_c::walk_leaf(drend_tag_object_c* tobj) {
    show_leaf(tobj);
    if (status_ != DREND_DEFER) {
        close_frame();
    }
}

void dr_walk_c::show_leaf(const drend_tag_object_c* tobj) {
    if (!read_leaf(*position_.context(0), *tobj->dto_tag)) {
        return;
    }
    walker_->leaf({tobj->dto_tag}, value_);
    if (dri_trace_on(DREND_TRACE_WALK)) {
        dr_str_buf_c text;
        drend_debug_trace("DR_TAGS_ACCESS: value: %s\n", value_.c_str(text.buf()));
    }
}

// Reads the leaf that `context` is at and translates its value. Whether it is to be shown.
inline bool dr_walk_c::read_leaf(dr_meta_context_c& context, const drend_tag_c& tag) {
    if (dtc_ignore_defer == 0 && walker_->defer_walker()) {
        status_ = DREND_DEFER;
        return false;
    }
    value_.clear();
    status_ = context.call_leaf_proc(value_);
    const bool is_shown_as_read =
        status_ == DREND_OK && tag.dt_map == nullptr && dri_skip_if_empty_leaf == 0;
    return is_shown_as_read || judge_leaf(tag);
}

// Whether a leaf is to be shown for which there is more to say than its value.
bool dr_walk_c::judge_leaf(const drend_tag_c& tag) {
    status_ = dri_unless_ignored(status_);
    if (status_ != DREND_OK && !dr_value_reader_c::has_substitute(tag, status_)) {
        return false;
    }
    if (tag.dt_map != nullptr && !walker_->need_meta_value() && !reader_.is_raw) {
        if (const int failure = reader_.translate(tag, value_)) {
            status_ = failure;
            return false;
        }
    }
    return dri_skip_if_empty_leaf == 0 || !is_suppressed(tag);
}

// Whether a daemon's wish to leave empty leaves out applies to this one.
bool dr_walk_c::is_suppressed(const drend_tag_c& tag) const {
    if (tag.dt_data_type == DT_DATA_EMPTY || tag.isset_flag(DT_FLAG_MANDATORY)) {
        return false;
    }
    dr_value_c::scratch_t scratch;
    std::string_view text;
    return value_.get_text(text, scratch) && text.empty();
}

// --- containers and rows --------------------------------------------------------------------

void dr_walk_c::open_cont(drend_tag_object_c* tobj) {
    const drend_tag_c& tag = *tobj->dto_tag;
    if (!filter_.match(tobj)) {
        return;
    }
    if (tag.has_presence() && tag.dt_type == DT_TYPE_CONT) {
        if (!reader_.presence_on(tag)) {
            return;
        }
        if (tobj->dto_filter == nullptr || !tobj->dto_filter->is_passage) {
            tobj->set_flags(DTO_FLAG_PRESENT);
        }
    }
    begin_kids(tobj);
}

// Begins the content of a container, or of a row, whose list has judged it already.
void dr_walk_c::begin_kids(drend_tag_object_c* tobj) {
    status_ = DREND_OK;
    tobj->dto_kid = 0;
    tobj->dto_dynamic.reset();
    frames_.push(tobj, dr_defer_context_c::CONT);
    if (!tobj->dto_tag->is_hidden()) {
        walker_->push(tobj);
    }
    enter_kids(*tobj);
    if (page_ != nullptr) {
        page_->restrict(*tobj);
    }
}

void dr_walk_c::enter_kids(drend_tag_object_c& tobj) {
    dr_meta_context_c* context = position_.context(0);
    if (context == nullptr) {
        return;
    }
    // A tag without a source shares its parent's context and leaves the entering to it.
    if (!tobj.source().empty()) {
        context->call_enter_proc(DMN_TYPE_CONT);
    }
    if (context->get_top_node()->cont_proc != nullptr) {
        tobj.dto_dynamic = std::make_unique<dr_dynamic_kids_s>();
        tobj.dto_dynamic->inherited_ref = context->get_element_offset(0);
        tobj.dto_dynamic->visited.resize(tobj.dto_tag->dt_kids.size());
        context->set_attribute_ref(nullptr);
    }
}

void dr_walk_c::walk_cont(drend_tag_object_c* tobj) {
    const bool is_dynamic = tobj->dto_dynamic != nullptr && !tobj->dto_dynamic->finished;
    if ((is_dynamic && !walk_dynamic_kids(tobj)) || !walk_static_kids(tobj)) {
        return;
    }
    if (!tobj->source().empty() && position_.context(0) != nullptr) {
        position_.context(0)->call_exit_proc(DMN_TYPE_CONT);
    }
    if (!tobj->dto_tag->is_hidden()) {
        walker_->pop(tobj);
    }
    close_frame();
}

// Walks the kid on top of the tag stack, of which watchers know. Whether it is done with; else it
// has a frame, or the walk has to stop.
bool dr_walk_c::walk_kid() {
    const size_t depth = frames_.size();
    visit_top();
    if (frames_.size() > depth || must_stop()) {
        return false;
    }
    context_.pop_tag();
    return true;
}

// Whether the request wants less than this kid.
bool dr_walk_c::passes_over(const drend_tag_object_c& tobj, const drend_tag_c& kid) const {
    return page_ != nullptr && page_->passes_over(*tobj.dto_tag, kid);
}

// The kids that the daemon names. Whether all of them are done with.
bool dr_walk_c::walk_dynamic_kids(drend_tag_object_c* tobj) {
    const auto& kids = tobj->dto_tag->dt_kids;
    const void* inherited = tobj->dto_dynamic->inherited_ref;
    const drend_tag_c* kid = nullptr;
    while (dri_next_dynamic_kid(*position_.context(0), inherited, *tobj->dto_tag, kid)) {
        if (kid == nullptr || passes_over(*tobj, *kid) || context_.push_tag(kid) != 0) {
            continue;
        }
        const auto at = std::find(kids.begin(), kids.end(), kid) - kids.begin();
        tobj->dto_dynamic->visited[static_cast<size_t>(at)] = true;
        watch_top();
        if (!walk_kid()) {
            return false;
        }
    }
    tobj->dto_dynamic->finished = true;
    return true;
}

// Moves to a kid, of which `in_row` says more if it is not null, and tells watchers of it. Whether
// its source leads anywhere.
bool dr_walk_c::push_kid(const drend_tag_c* tag, const dr_row_kid_s* in_row) {
    const bool is_prepared = in_row != nullptr && in_row->node != nullptr &&
                             tag->dt_type != DT_TYPE_LEAF && !is_watched() &&
                             !context_.has_steps_left(); // of which it would take one
    if (is_prepared) {
        position_.push_child(tag, in_row->node);
    } else if (context_.push_tag(tag) != 0) {
        return false;
    }
    position_.tag(0)->dto_in_row = in_row;
    if (!is_prepared) {
        watch_top();
    }
    return true;
}

// The kids in the definition's order, from the next one on. Whether all of them are done with.
bool dr_walk_c::walk_static_kids(drend_tag_object_c* tobj) {
    const auto& kids = tobj->dto_tag->dt_kids;
    const dr_row_c* row = tobj->dto_kid == kids.size() ? nullptr : prepared_row(tobj);
    for (;;) {
        if (row != nullptr) {
            walk_plain_kids(tobj, *row);
        }
        if (must_stop() || tobj->dto_kid == kids.size()) {
            return !must_stop();
        }
        const size_t kid = tobj->dto_kid++;
        const bool is_done =
            tobj->dto_dynamic != nullptr &&
            (tobj->dto_dynamic->visited[kid] || passes_over(*tobj, *kids[kid]));
        const dr_row_kid_s* in_row = row == nullptr ? nullptr : &row->kids()[kid];
        if (!is_done && push_kid(kids[kid], in_row) && !walk_kid()) {
            return false;
        }
    }
}

// --- plain kids -----------------------------------------------------------------------------

// The row of the container on top, or null where its kids have to be walked one by one.
const dr_row_c* dr_walk_c::prepared_row(drend_tag_object_c* tobj) {
    if (position_.context(0) == nullptr || tobj->dto_dynamic != nullptr || is_watched()) {
        return nullptr;
    }
    // A trace of errors shows kids that lead nowhere, hidden ones, too.
    if (context_.has_steps_left() && dri_trace_on(DREND_TRACE_ERROR)) {
        return nullptr;
    }
    const dr_meta_node_c* node = position_.node();
    const dr_row_shape_s shape = walker_->row_shape();
    if (tobj->dto_row.get() == nullptr || !tobj->dto_row->fits(node, shape)) {
        tobj->dto_row = tobj->dto_tag->row(node, shape);
    }
    return tobj->dto_row.get();
}

// Prints plain kids until another one comes, the walk has to stop or somebody begins to watch.
void dr_walk_c::walk_plain_kids(drend_tag_object_c* tobj, const dr_row_c& row) {
    dr_meta_context_c& context = *position_.context(0);
    dr_context_walker_c& walker = *walker_;
    const dr_row_kid_s* const first = row.kids().data();
    const dr_row_kid_s* kid = first + tobj->dto_kid;
    const dr_row_kid_s* const end = first + row.kids().size();
    const dr_kid_choice_e* const choices =
        context_.has_steps_left()
            ? dr_row_filter_c::choose(tobj, context_.current_step()).data()
            : nullptr;
    bool goes_on = true;
    for (; goes_on && kid != end && !is_watched(); ++kid) {
        const auto choice =
            choices == nullptr ? dr_kid_choice_e::SHOWN : choices[kid - first];
        if (choice == dr_kid_choice_e::HIDDEN) {
            status_ = DREND_OK;
            continue;
        }
        if (choice == dr_kid_choice_e::ASK || !kid->is_plain() || !kid->node->is_leaf()) {
            break;
        }
        if (!context_.style_match(kid->tag)) {
            status_ = DREND_OK;
            continue;
        }
        context.visit_leaf(kid->node, position_.element_ref());
        if (read_leaf(context, *kid->tag)) {
            walker.leaf(*kid, value_);
        }
        goes_on = !must_stop();
    }
    tobj->dto_kid = static_cast<size_t>(kid - row.kids().data());
    if (status_ == DREND_DEFER && context.is_visiting()) {
        suspend_visit((kid - 1)->tag);
    } else {
        context.end_visit();
    }
}

// Gives the leaf that is being visited what every suspended leaf has: a tag object and a frame.
void dr_walk_c::suspend_visit(const drend_tag_c* leaf) {
    position_.push_tag_alone(leaf);
    position_.tag(0)->dto_is_visit = true;
    frames_.push(position_.tag(0), dr_defer_context_c::LEAF);
}
