// SPDX-License-Identifier: BSD-2-Clause

// A request from its arguments to the end of its answer. Whatever happens on the way, the end
// handler that belongs to a start handler is called, and the peer gets an answer.
#include "service/dr_request.h"

#include <cassert>

#include "expr/dri_args.h"
#include "render/dr_answer.h"
#include "render/dr_json_cwalker.h"
#include "render/dr_xml_cwalker.h"
#include "service/dr_derived_filter.h"

dr_request_c::dr_request_c(void* peer, const drend_tag_c* top_tag)
    : dr_tags_access_context_c(nullptr), dr_suspendable_c(peer), top_tag_(top_tag) {}

std::unique_ptr<dr_context_walker_c> dr_request_c::make_walker(int format,
                                                               bool wrap_in_data) {
    if (format == DR_FORMAT_JSON) {
        return std::make_unique<dr_json_cwalker_c>(*this, peer());
    }
    return std::make_unique<dr_xml_cwalker_c>(*this, peer(), wrap_in_data);
}

bool dr_request_c::run(int format, const char* args, bool wrap_in_data,
                       const char* filter) {
    dr_str_buf_c value;
    dr_str_buf_c given_filter;
    if (dri_args_find(args, "as-json", value) != 0) {
        format = DR_FORMAT_JSON;
    }
    if (dri_args_find(args, "filter", given_filter) != 0) {
        given_filter.strip_quotes();
        filter = given_filter;
    }
    dr_request_wish_s wish;
    if (args != nullptr) {
        wish = dri_derive_wish(*top_tag_, args);
    }
    requested_style = wish.style;
    if (!wish.filter.empty()) {
        filter = wish.filter.c_str();
    }
    output_ = make_walker(format, wrap_in_data);
    if (filter != nullptr && set_filter(dri_simplify_filter(filter).c_str()) != 0) {
        status_ = dri_send_last_line(peer(), "error: the filter is too large\n");
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
