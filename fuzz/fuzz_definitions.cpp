// SPDX-License-Identifier: BSD-2-Clause

// Definition files of any bytes: loaded, merged, checked, rendered, loaded again and given up.
//
// The data is that of fuzzed_daemon.h. Asserted: whatever was wrong with a file, its commands give
// whole answers that are documents; loading it again finds the same; a set that nobody uses is
// gone.
#include <algorithm>
#include <cstring>
#include <string>

#include "definitions/drend_load.h"
#include "drend.h"
#include "fuzzed_daemon.h"

namespace {

constexpr unsigned COMMANDS_MAX = 4;

// One line: nothing to show, or that the command cannot be run.
bool is_no_document(const std::string& text) {
    return text == "210\n" ||
           (text.starts_with("error: ") && text.find('\n') == text.size() - 1);
}

bool is_xml_form(const std::string& text) {
    return is_no_document(text) || is_xml_content(text);
}

bool is_json_form(const std::string& text) {
    return is_no_document(text) ||
           is_json_document(text.starts_with('{') ? text : "{" + text + "}");
}

void render(unsigned command) {
    require(is_xml_form(answer_of(command, nullptr)));
    require(is_json_form(answer_of(command, "as-json")));
    require(is_xml_form(answer_of(command, "as-ietf-xml")));
    require(is_json_form(answer_of(command, "as-ietf-json")));
    answer_of(command, "as-json-lines");
    answer_of(command, "as-table wide");
    answer_of(command, "count");
    answer_of(command, "filter=\"/top/row[name='a']\" limit=1");
}

// "check" and the tag tree go through all that was loaded; their answers are of no form.
void ask_about(const char* fixed_command, const char* argument) {
    const char* word = nullptr;
    for (unsigned i = 0; (word = drend_menu_get_command_string(i)) != nullptr; ++i) {
        if (strcmp(word, fixed_command) == 0) {
            answer_of(i, argument);
        }
    }
}

// Strict requests are told where others get nothing.
bool start() {
    serve_fuzzed_data();
    require(drend_add_service_commands() == 0);
    drend_set_strict(1);
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    [[maybe_unused]] static const bool started = start();
    constexpr size_t INPUT_MAX = 16384;
    const std::string file = text_of(data, size, INPUT_MAX);
    define_fuzzed(file);
    const unsigned commands = dri_get_count();
    for (unsigned command = 0; command < std::min(commands, COMMANDS_MAX); ++command) {
        render(command);
    }
    ask_about("check", nullptr);
    ask_about("dump-render-tree", nullptr);
    define_fuzzed(file);
    require(dri_get_count() == commands && dri_get_set_count() == 1);
    dri_release_daemon_context();
    require(dri_get_set_count() == 0 && dri_inuse_count() == 0);
    return 0;
}
