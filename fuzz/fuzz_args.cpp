// SPDX-License-Identifier: BSD-2-Clause

// Argument texts of any bytes, of requests and of subscriptions.
//
// Asserted: a search finds what parsing finds first, also before an error; a subscription is taken,
// or refused with one plain line.
#include <algorithm>
#include <string>

#include "expr/dri_args.h"
#include "fuzz_target.h"
#include "service/dr_notification.h"

namespace {

bool is_one_line(const std::string& text) {
    const bool is_plain = std::all_of(text.begin(), text.end() - 1,
                                      [](char c) { return c >= ' ' && c <= '~'; });
    return is_plain && text.starts_with("error: ") && text.ends_with("\n");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t INPUT_MAX = 4096;
    const std::string text = text_of(data, size, INPUT_MAX);
    dr_args_t pairs;
    const int count = dri_args_parse(text.c_str(), pairs);
    require(count == -1 || static_cast<size_t>(count) == pairs.size());
    for (size_t i = 0; i < std::min<size_t>(pairs.size(), 8); ++i) {
        dr_str_buf_c found;
        dr_str_buf_c expected;
        require(dri_args_find(text.c_str(), pairs[i].first, found) == 1);
        require(dri_args_field_value(pairs, pairs[i].first, expected) == 1);
        require(found == expected);
    }
    dr_event_form_s form;
    std::string refusal;
    const bool is_taken = dri_read_event_form(text.c_str(), form, refusal);
    require(is_taken ? refusal.empty() : is_one_line(refusal));
    return 0;
}
