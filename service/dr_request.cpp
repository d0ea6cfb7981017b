// SPDX-License-Identifier: BSD-2-Clause

// A request from its arguments to the end of its answer. Whatever happens on the way, the end
// handler that belongs to a start handler is called, and the peer gets an answer.
#include "service/dr_request.h"

#include <cassert>

#include "render/dr_answer.h"
#include "service/dr_request_meaning.h"

dr_request_c::dr_request_c(const dr_request_s& asked)
    : dr_tags_access_context_c(nullptr), dr_suspendable_c(asked.peer),
      top_tag_(asked.top_tag) {}

// Makes the walker and sets filter and style. What the peer is told when that cannot be, or an
// empty text.
std::string dr_request_c::apply(const dr_request_s& asked) {
    const auto meaning = dri_meaning_of(*top_tag_, asked.args);
    const dr_form_s& form =
        meaning->form == nullptr ? dri_form(asked.format) : *meaning->form;
    dr_form_options_s options = meaning->options;
    options.wrap_in_data = asked.wrap_in_data;
    output_ = form.make_walker(*this, peer(), options);
    dr_page_wish_s page = meaning->page;
    page.rows_only = !output_->wants_leaves();
    if (!page.is_everything()) {
        want(page);
    }
    media_type_ = form.media_type;
    std::string refusal = meaning->refusal;
    requested_style = meaning->style;
    dr_filter_t filter = meaning->filter;
    if (filter == nullptr && refusal.empty()) {
        filter = asked.filter == nullptr
                     ? nullptr
                     : dri_read_filter(*top_tag_, asked.filter, refusal);
        filter =
            dri_filter_of_content(*top_tag_, std::move(filter), meaning->content, refusal);
    }
    set_filter(std::move(filter));
    return refusal;
}

bool dr_request_c::run(const dr_request_s& asked) {
    const std::string refusal = apply(asked);
    if (!refusal.empty()) {
        status_ = dri_refuse(peer(), "invalid-request", refusal);
        return true;
    }
    dri_answer_begins(peer(), media_type_);
    output_->initialize();
    dri_call_cmd_start(nullptr, "");
    return end_slice(push_tag(top_tag_) == 0 && get_value(output_.get()) == DREND_DEFER);
}

void dr_request_c::finish() {
    assert(output_ != nullptr); // once
    dri_call_cmd_end(top_tag_);
    if (has_lost_cursor() && output_->status() == 0) {
        output_->release_output();
        status_ = dri_give_up(peer(), output_->sends() > 0, "cursor-lost",
                              "cursor: the row is not there any more");
        output_.reset();
        return;
    }
    output_->finalize();
    status_ = output_->status();
    // A page of rows that print nothing is followed by others all the same.
    const std::string& cursor = output_->cursor();
    const bool is_nothing = sends_code_ && output_->sends() == 0;
    const drend_answer_end_s end = {DREND_ANSWER_COMPLETE,
                                    is_nothing ? "nothing" : nullptr,
                                    nullptr,
                                    cursor.empty() ? nullptr : cursor.c_str(),
                                    has_lists() ? 1 : 0,
                                    rows_shown()};
    if (status_ == 0 && is_nothing) {
        status_ = dri_end_with_line(peer(), end, DR_NOTHING_SENT);
    } else if (status_ == 0) {
        dri_answer_ends(peer(), end);
    }
    output_.reset();
}
