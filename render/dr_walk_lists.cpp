// SPDX-License-Identifier: BSD-2-Clause

// Lists of the walk: from row to row, past those that are hidden, to the end of the list or of the
// page.

#include "frame/drend_trace.h"
#include "render/dr_deferral.h"
#include "render/dr_page.h"
#include "render/dr_walk.h"
#include "render/drend_context_walker.h"

void dr_walk_c::open_list(drend_tag_object_c* tobj) {
    if (tobj->source().empty() || !filter_.match(tobj)) {
        return;
    }
    frames_.push(tobj, dr_defer_context_c::LIST);
    frames_.from_top(0)->is_outermost = note_list(*tobj);
    filter_.gather_names(tobj);
    if (page_ != nullptr) {
        page_->list_begins(*tobj);
    }
    walker_->list_start(tobj);
    dr_meta_context_c& context = *position_.context(0);
    context.call_enter_proc(DMN_TYPE_LIST);
    dr_row_filter_c::hand_off(tobj, context);
}

// Whether the list on top is printed and in no other one: its rows count then.
bool dr_walk_c::note_list(const drend_tag_object_c& tobj) {
    const auto is_list = [](const drend_tag_object_c& other) {
        return other.type() == DT_TYPE_LIST && !other.dto_tag->is_hidden();
    };
    bool is_outermost = is_list(tobj);
    for (size_t n = 1; n < position_.tag_depth() && is_outermost; ++n) {
        is_outermost = !is_list(*position_.tag(n));
    }
    has_lists_ = has_lists_ || is_outermost;
    return is_outermost;
}

// The one row that its source selects.
void dr_walk_c::open_selected_row(drend_tag_object_c* tobj) {
    const size_t depth = frames_.size();
    const bool is_outermost = note_list(*tobj);
    open_cont(tobj);
    rows_shown_ += is_outermost && frames_.size() > depth ? 1 : 0;
}

void dr_walk_c::walk_list(drend_tag_object_c* tobj) {
    const size_t depth = frames_.size();
    while (end_row(tobj) && begin_row(tobj)) {
        walk_cont(tobj);
        if (frames_.size() > depth) {
            return;
        }
    }
}

// Tells the walker of the end of the row that was walked last, if it began in this slice. Whether
// the list goes on.
bool dr_walk_c::end_row(drend_tag_object_c* tobj) {
    dr_defer_context_c& frame = *frames_.from_top(0);
    if (frame.row_slice == slice_) {
        frame.row_slice = 0;
        status_ = walker_->list_element_walk_stop(tobj, frame.row_status);
    }
    return !must_stop();
}

// Goes to the next row that is shown and begins it. False at the end of the list, which is closed
// then, and when the walk has to stop.
bool dr_walk_c::begin_row(drend_tag_object_c* tobj) {
    dr_defer_context_c& frame = *frames_.from_top(0);
    for (;;) {
        if (frame.predicate == 0 && !fetch_row(tobj)) {
            return false;
        }
        const int judged = judge_row(tobj);
        if (page_ != nullptr && page_->is_over()) {
            end_early(tobj);
            return false;
        }
        if (judged == DREND_OK) {
            frame.row_slice = slice_;
            rows_shown_ += frame.is_outermost ? 1 : 0;
            begin_kids(tobj);
            return true;
        }
        if (judged == DREND_DEFER) {
            frame.row_status = DREND_OK;
            status_ = DREND_DEFER;
            return false;
        }
        // A suspension asked for on a hidden row passes unheeded, unless the daemon wants it.
        status_ = walker_->list_element_walk_stop(
            tobj, dri_suspends_on_hidden_rows != 0 ? frame.row_status : DREND_OK);
        if (must_stop()) {
            return false;
        }
    }
}

// What filter and page say of the row.
int dr_walk_c::judge_row(drend_tag_object_c* tobj) {
    const int judged = filter_.judge_row(tobj, frames_.from_top(0)->predicate);
    const bool is_wanted =
        judged != DREND_OK || page_ == nullptr || page_->wants_row(*tobj);
    return is_wanted ? judged : static_cast<int>(DREND_NO_EL);
}

// Ends the walk at a row of the list on top.
void dr_walk_c::end_early(drend_tag_object_c* tobj) {
    walker_->goes_on_at(page_->cursor());
    status_ = DREND_NO_EL;
    close_list(tobj);
}

// What is open is closed, nothing else is visited.
void dr_walk_c::skip_rest() {
    for (size_t n = 0; n < frames_.size(); ++n) {
        dr_defer_context_c& frame = *frames_.from_top(n);
        if (frame.kind == dr_defer_context_c::CONT) {
            frame.tobj->dto_kid = frame.tobj->dto_tag->dt_kids.size();
            if (frame.tobj->dto_dynamic != nullptr) {
                frame.tobj->dto_dynamic->finished = true;
            }
        }
    }
}

// Has the daemon step to the next row. False as begin_row.
bool dr_walk_c::fetch_row(drend_tag_object_c* tobj) {
    if (page_ != nullptr && page_->is_over()) {
        status_ = DREND_NO_EL;
        close_list(tobj);
        return false;
    }
    status_ = walker_->list_element_walk_start(tobj);
    if (status_ == DREND_DEFER) {
        return false;
    }
    status_ = step_to_row(*position_.context(0));
    if (status_ != DREND_OK && status_ != DREND_DEFER) {
        close_list(tobj);
        return false;
    }
    frames_.from_top(0)->row_status = status_;
    if (walker_->status() != 0) {
        walker_->list_element_walk_stop(tobj, walker_->status());
        return false;
    }
    return true;
}

void dr_walk_c::close_list(drend_tag_object_c* tobj) {
    if (page_ != nullptr) {
        page_->list_ends(*tobj);
        if (page_->is_over()) {
            skip_rest();
        }
    }
    status_ = walker_->list_element_walk_stop(tobj, status_);
    position_.context(0)->call_exit_proc(DMN_TYPE_LIST);
    walker_->list_stop(tobj);
    close_frame();
}

int dr_walk_c::first_row(dr_meta_context_c& context) {
    context.set_top_element(nullptr);
    filter_.gather_names(position_.tag(0));
    dr_row_filter_c::hand_off(position_.tag(0), context);
    const int status = dri_unless_ignored(context.call_list_proc());
    if ((status == DREND_OK || status == DREND_DEFER) &&
        context.get_element_offset(0) != nullptr) {
        context.set_top_type(DMN_TYPE_LIST_EL);
    }
    return status;
}

int dr_walk_c::next_row(dr_meta_context_c& context) {
    dr_row_filter_c::hand_off(position_.tag(0), context);
    return step_to_row(context);
}

// The same where the list procedure knows already what it may seek by.
int dr_walk_c::step_to_row(dr_meta_context_c& context) {
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: %s: pre: element_ref[%p] \n", "get_next_element",
                          context.get_element_offset(0));
    }
    const int status = dri_unless_ignored(context.call_list_proc());
    const void* row = context.get_element_offset(0);
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: %s: post:element_ref[%p] \n", "get_next_element",
                          row);
    }
    if (status != DREND_OK && status != DREND_DEFER) {
        context.set_top_type(DMN_TYPE_LIST);
        return status;
    }
    context.set_top_type(row == nullptr ? DMN_TYPE_LIST : DMN_TYPE_LIST_EL);
    return row == nullptr ? DREND_NO_EL : status;
}
