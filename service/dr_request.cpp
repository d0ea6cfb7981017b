#include "service/dr_request.h"

#include "expr/dri_args.h"
#include "render/dr_json_cwalker.h"
#include "render/dr_xml_cwalker.h"
#include "service/dr_answer.h"
#include "service/dr_derived_filter.h"

dr_request_c::dr_request_c(void* peer, const drend_tag_c* top_tag)
    : dr_tags_access_context_c(nullptr), cookie_(peer), top_tag_(top_tag) {
    delete_when_done = 1;
}

dr_context_walker_c* dr_request_c::make_walker(int format, bool wrap_in_data) {
    if (format == DR_FORMAT_JSON) {
        return new dr_json_cwalker_c(*this, cookie_.peer());
    }
    return new dr_xml_cwalker_c(*this, cookie_.peer(), wrap_in_data);
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
    own_walker(output_);
    if (filter != nullptr && set_filter(dri_simplify_filter(filter).c_str()) != 0) {
        status_ = dri_send_error(cookie_.peer(), "error: the filter is too large\n");
        return true;
    }
    output_->initialize();
    dri_call_cmd_start(nullptr, "");
    if (push_tag(top_tag_) == 0 && get_value(output_) == DREND_DEFER) {
        return false;
    }
    finish_output(*output_);
    return true;
}

void dr_request_c::finish_output(dr_context_walker_c& walker) {
    dri_call_cmd_end(top_tag_);
    status_ = walker.status();
    if (cookie_.is_gone()) {
        return;
    }
    walker.finalize();
    if (sends_code_ && status_ != DREND_PEER_LOST && walker.sends() == 0) {
        drend_send(cookie_.peer(), "%d\n", DR_NOTHING_SENT_CODE);
        drend_flush(cookie_.peer());
    }
}

dr_request_c* dr_request_c::defer_continue() {
    is_running_ = true;
    if (dr_tags_access_context_c::defer_continue() == nullptr) {
        return nullptr; // this request is gone
    }
    is_running_ = false;
    return this;
}

void dr_request_c::end_without_memory() {
    cookie_.send_no_memory();
    delete this;
}

void dr_request_c::abandon() {
    cookie_.peer_is_gone();
    if (is_running_) {
        output_->peer_is_lost(); // the slice notices at its next tag
    } else {
        delete this;
    }
}
