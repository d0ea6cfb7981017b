// SPDX-License-Identifier: BSD-2-Clause

// Requests of any bytes for a command with elements of every kind, and one with parameters.
//
// The first byte chooses the command, the form and whether requests are strict; the rest is the
// argument text.
// Asserted: the answer is whole, and is a document of its form or one line of error; a request that
// comes again gets the same bytes, however often its walk is suspended, and a peer that is lost the
// first ones of them; pages lead to an end.
#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>

#include "drend.h"
#include "frame/drend_hooks.h"
#include "fuzzed_daemon.h"

namespace {

enum form_e : unsigned { XML, JSON, IETF_XML, IETF_JSON, LINES, TABLE, COUNT, FORMS };
constexpr const char* FORM_WORDS[FORMS] = {
    "",          "as-json ", "as-ietf-xml ", "as-ietf-json ", "as-json-lines ",
    "as-table ", "count "};
constexpr unsigned STRICT = 0x80;
constexpr unsigned WITH_PARAMETERS = 0x40;
constexpr size_t SENDS_MAX = 50;
constexpr char ROW_IS_GONE[] = "error: cursor: the row is not there any more\n";

constexpr char DEFINITIONS[] = R"json([
 {"dc_name": "show", "dc_app_name": "one", "dc_tag": {"dts_name": "top", "dts_source": "/top",
   "dts_namespace": "xmlns='urn:t'", "dts_module": "t", "dts_style": ["brief"],
   "dts_kids": [
   {"dts_name": "text", "dts_type": "leaf", "dts_source": "text"},
   {"dts_name": "number", "dts_type": "leaf", "dts_source": "number",
    "dts_data_type": "int32", "dts_map": [["-7", "='n'+val('../number')"], ["*", "*"]]},
   {"dts_name": "big", "dts_type": "leaf", "dts_source": "big", "dts_data_type": "uint64"},
   {"dts_name": "truth", "dts_type": "leaf", "dts_source": "truth", "dts_data_type": "boolean",
    "dts_style": ["wide"]},
   {"dts_name": "ratio", "dts_type": "leaf", "dts_source": "ratio",
    "dts_data_type": "decimal64", "dts_data_decimal64_fraction": 2},
   {"dts_name": "address", "dts_type": "leaf", "dts_source": "address", "dts_wide": "true"},
   {"dts_name": "skipped", "dts_type": "leaf", "dts_source": "skipped"},
   {"dts_name": "failing", "dts_type": "leaf", "dts_source": "failing",
    "dts_map": [["*", "none"]]},
   {"dts_name": "unset", "dts_type": "leaf", "dts_source": "unset"},
   {"dts_name": "late", "dts_type": "leaf", "dts_source": "late",
    "dts_zero_suppression": "true"},
   {"dts_name": "there", "dts_source": "truth", "dts_presence": "true"},
   {"dts_name": "row", "dts_type": "list", "dts_source": "row", "dts_key": ["name"],
    "dts_kids": [
     {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
     {"dts_name": "number", "dts_type": "leaf", "dts_source": "number",
      "dts_data_type": "int32", "dts_unit": "m", "dts_align": "right"},
     {"dts_name": "word", "dts_type": "leaf-list", "dts_source": "words", "dts_kids": [
       {"dts_name": "__zor_leaf_list_value__", "dts_type": "leaf", "dts_source": "value"}]},
     {"dts_name": "choice", "dts_type": "choice", "dts_kids": [
       {"dts_name": "case", "dts_type": "case", "dts_kids": [
         {"dts_name": "in", "dts_type": "list", "dts_source": "in",
          "dts_namespace": "xmlns='urn:i'", "dts_module": "i", "dts_kids": [
           {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]}]}]},
     {"dts_name": "fields", "dts_source": "fields", "dts_kids": [
       {"dts_name": "alpha", "dts_type": "leaf", "dts_source": "alpha"},
       {"dts_name": "beta", "dts_type": "leaf", "dts_source": "beta"}]}]},
   {"dts_name": "cell", "dts_type": "list", "dts_source": "cell", "dts_kids": [
     {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]},
   {"dts_name": "cells", "dts_type": "leaf-list", "dts_source": "cell", "dts_kids": [
     {"dts_name": "__zor_leaf_list_value__", "dts_type": "leaf", "dts_source": "name"}]},
   {"dts_name": "cell", "dts_type": "list", "dts_source": "cell", "dts_kids": [
     {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]}]}},
 {"dc_name": "show", "dc_app_name": "two", "dc_tag": {"dts_name": "other",
   "dts_source": "/top", "dts_kids": [
   {"dts_name": "number", "dts_type": "leaf", "dts_source": "number"}]}},
 {"dc_name": "ask", "dc_tag": {"dts_name": "top", "dts_source": "/top",
   "dts_input_kids": [
   {"dts_name": "name", "dts_type": "leaf", "dts_style": ["full"]},
   {"dts_name": "id", "dts_type": "leaf"}, {"dts_name": "all", "dts_type": "empty"}],
   "dts_kids": [
   {"dts_name": "row", "dts_type": "list", "dts_source": "row", "dts_kids": [
     {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
     {"dts_name": "number", "dts_type": "leaf", "dts_source": "number",
      "dts_style": ["full", "detail"]},
     {"dts_name": "choice", "dts_type": "choice", "dts_kids": [
       {"dts_name": "in", "dts_type": "list", "dts_source": "in", "dts_kids": [
         {"dts_name": "id", "dts_type": "leaf", "dts_source": "name"}]}]}]}]}}])json";

// Of an answer by lines: each is a document.
bool is_lines(const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!is_json_document(line)) {
            return false;
        }
    }
    return text.ends_with('\n');
}

bool is_printed(const std::string& text) {
    return std::none_of(text.begin(), text.end(), [](char c) {
        return (c >= 0 && c < ' ' && c != '\n') || c == 0x7F;
    });
}

bool is_of_form(const std::string& text, unsigned form) {
    switch (form) {
    case XML:
    case IETF_XML:
        return is_xml_content(text);
    case JSON:
        return is_json_document(text.starts_with('{') ? text : "{" + text + "}");
    case IETF_JSON:
        return is_json_document(text);
    case LINES:
        return is_lines(text);
    default:
        return is_printed(text);
    }
}

// Whether the argument text may ask for another form than the word in front of it.
bool asks_for_a_form(const char* argument) {
    return strstr(argument, "as-") != nullptr || strstr(argument, "count") != nullptr ||
           strstr(argument, "color") != nullptr || strstr(argument, "fields") != nullptr;
}

// The menu entry of a command.
unsigned subcode_of(const char* command) {
    unsigned subcode = 0;
    while (strcmp(drend_menu_get_command_string(subcode), command) != 0) {
        ++subcode;
    }
    return subcode;
}

// From the last answer's end on; of an argument that is given twice the first one counts.
void turn_pages(unsigned subcode, const std::string& form_word, const std::string& rest) {
    constexpr int PAGES_MAX = 32; // there are fewer rows
    for (int pages = 0; !last_cursor().empty(); ++pages) {
        require(pages < PAGES_MAX);
        std::string argument = form_word;
        argument.append("limit=2 cursor=").append(last_cursor()).append(" ").append(rest);
        // A filter with an empty step may hide on one page what it shows on another.
        const std::string answer = answer_of(subcode, argument.c_str());
        if (answer == ROW_IS_GONE) {
            require(!dri_is_strict());
            return;
        }
        require(!answer.starts_with("error: "));
    }
}

bool start() {
    serve_fuzzed_data();
    require(define_fuzzed(DEFINITIONS));
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    [[maybe_unused]] static const bool started = start();
    constexpr size_t INPUT_MAX = 4096;
    if (size == 0) {
        return 0;
    }
    static const unsigned plain = subcode_of("show");
    static const unsigned with_parameters = subcode_of("ask");
    const unsigned subcode = (*data & WITH_PARAMETERS) != 0 ? with_parameters : plain;
    const unsigned form = (*data & (WITH_PARAMETERS - 1U)) % FORMS;
    std::string rest = text_of(data + 1, size - 1, INPUT_MAX);
    rest.resize(strlen(rest.c_str()));
    const std::string argument = FORM_WORDS[form] + rest;
    drend_set_strict((*data & STRICT) != 0 ? 1 : 0);

    const std::string answer = answer_of(subcode, argument.c_str());
    if (answer.starts_with("error: ")) {
        require(answer.find('\n') == answer.size() - 1 && is_printed(answer));
    } else if (answer != "210\n" && !asks_for_a_form(rest.c_str())) {
        require(is_of_form(answer, form));
    }
    require(answer_of(subcode, argument.c_str(), {.suspends = true}) == answer);
    const std::string of_lost =
        answer_of(subcode, argument.c_str(),
                  {.suspends = size % 2 == 0, .sends = static_cast<int>(size % SENDS_MAX)});
    require(answer.starts_with(of_lost));
    answer_of(subcode, argument.c_str());
    turn_pages(subcode, FORM_WORDS[form], rest);
    dri_reset_xpath_cache(); // every input starts from the same state
    return 0;
}
