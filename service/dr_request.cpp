// SPDX-License-Identifier: BSD-2-Clause

// A request from its arguments to the end of its answer. Whatever happens on the way, the end
// handler that belongs to a start handler is called, and the peer gets an answer.
#include "service/dr_request.h"

#include <cassert>

#include "render/dr_answer.h"
#include "render/dr_json_cwalker.h"
#include "render/dr_xml_cwalker.h"
#include "service/dr_request_meaning.h"

dr_request_c::dr_request_c(const dr_request_s& asked)
    : dr_tags_access_context_c(nullptr), dr_suspendable_c(asked.peer),
      top_tag_(asked.top_tag) {}

std::unique_ptr<dr_context_walker_c> dr_request_c::make_walker(int format,
                                                               bool wrap_in_data) {
    if (format == DR_FORMAT_JSON) {
        return std::make_unique<dr_json_cwalker_c>(*this, peer());
    }
    return std::make_unique<dr_xml_cwalker_c>(*this, peer(), wrap_in_data);
}

// Makes the walker and sets filter and style. What the peer is told when that cannot be, or an
// empty text.
std::string dr_request_c::apply(const dr_request_s& asked) {
    const auto meaning = dri_meaning_of(*top_tag_, asked.args);
    const int format = meaning->as_json ? static_cast<int>(DR_FORMAT_JSON) : asked.format;
    std::string refusal = meaning->refusal;
    output_ = make_walker(format, asked.wrap_in_data);
    requested_style = meaning->style;
    if (meaning->filter != nullptr) {
        set_filter(meaning->filter);
    } else if (asked.filter != nullptr && refusal.empty()) {
        set_filter(dri_read_filter(*top_tag_, asked.filter, refusal));
    }
    return refusal;
}

bool dr_request_c::run(const dr_request_s& asked) {
    const std::string refusal = apply(asked);
    if (!refusal.empty()) {
        status_ = dri_send_last_line(peer(), refusal.c_str());
        return true;
    }
    output_->initialize();
    dri_call_cmd_start(nullptr, "");
    return end_slice(push_tag(top_tag_) == 0 && get_value(output_.get()) == DREND_DEFER);
}

void dr_request_c::finish() {
    assert(output_ != nullptr); // once
    dri_call_cmd_end(top_tag_);
    output_->finalize();
    status_ = output_->status();
    if (sends_code_ && status_ == 0 && output_->sends() == 0) {
        status_ = dri_send_last_line(peer(), DR_NOTHING_SENT);
    }
    output_.reset();
}
