// SPDX-License-Identifier: BSD-2-Clause

// Argument texts of any bytes, of requests and of subscriptions.
//
// Asserted: a search finds what parsing finds first, also before an error; a subscription is taken,
// or refused with one plain line; what it gets of an event is a document of its form, or nothing.
#include <algorithm>
#include <string>

#include "definitions/drend_lookup.h"
#include "expr/dri_args.h"
#include "fuzzed_daemon.h"
#include "service/dr_notification.h"

namespace {

bool is_one_line(const std::string& text) {
    const bool is_plain = std::all_of(text.begin(), text.end() - 1,
                                      [](char c) { return c >= ' ' && c <= '~'; });
    return is_plain && text.starts_with("error: ") && text.ends_with("\n");
}

constexpr char DEFINITIONS[] = R"json([
 {"dc_external_notify_name": "happened", "dc_internal_notify_name": "E",
  "dc_tag": {"dts_name": "happened", "dts_source": "/top", "dts_namespace": "xmlns='urn:e'",
   "dts_module": "e", "dts_kids": [
   {"dts_name": "text", "dts_type": "leaf", "dts_source": "text"},
   {"dts_name": "row", "dts_type": "list", "dts_source": "row", "dts_key": ["name"],
    "dts_kids": [
     {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
     {"dts_name": "number", "dts_type": "leaf", "dts_source": "number",
      "dts_data_type": "int32"}]}]}}])json";

bool start() {
    serve_fuzzed_data();
    return define_fuzzed(DEFINITIONS);
}

bool is_document(const dr_event_form_s& form, const std::string& text) {
    return form.is_json ? is_json_document(text) : is_xml_content(text);
}

void announce(const dr_event_form_s& form) {
    constexpr size_t LIMIT = 1024;
    const dri_used_tag_t tag(dri_acquire_event_tag("E", nullptr));
    require(tag != nullptr);
    for (const bool is_empty : {false, true}) {
        const auto text = dri_notification(
            form, "now", {"happened", " xmlns='urn:e'", is_empty ? nullptr : tag.get()},
            LIMIT);
        require(!text.has_value() || text->size() <= LIMIT);
        require(!text.has_value() || (text->empty() && form.has_filter) ||
                is_document(form, *text));
    }
    require(is_document(form, dri_own_notification(form, "now", "a", "b", form.args)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    [[maybe_unused]] static const bool started = start();
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
    if (is_taken) {
        announce(form);
    }
    return 0;
}
