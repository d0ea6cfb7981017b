// SPDX-License-Identifier: BSD-2-Clause

// One sentence, whoever says it: a wrong path is answered alike wherever paths are taken.

#include "frame/dr_no_such.h"

#include "frame/str_util.h"

namespace {

// A line, not a page.
constexpr size_t LISTED = 24;
constexpr size_t SHOWN = 256; // bytes of the word that is wrong

std::string listed(const std::vector<std::string>& names) {
    const size_t count = names.size() < LISTED ? names.size() : LISTED;
    std::string text;
    str_join(std::vector<std::string>(names.begin(),
                                      names.begin() + static_cast<ptrdiff_t>(count)),
             text, ", ");
    return text + (count < names.size() ? ", ..." : "");
}

} // namespace

std::string dri_without_controls(std::string_view word) {
    std::string shown;
    for (const char c : word) {
        const auto byte = static_cast<unsigned char>(c);
        const bool is_plain = byte >= ' ' && byte < 0x7f;
        str_append(shown, is_plain ? "%c" : "\\x%02x", byte);
    }
    return shown;
}

std::string dri_quoted_word(std::string_view word) {
    return "'" + dri_without_controls(word.substr(0, SHOWN)) +
           (word.size() > SHOWN ? "...'" : "'");
}

std::string dri_no_such(std::string_view name, std::string_view place,
                        const std::vector<std::string>& there_are) {
    std::string text = "no " + dri_quoted_word(name);
    if (!place.empty()) {
        text.append(" below ").append(place);
    }
    text += there_are.empty() ? "; there is nothing" : "; there are " + listed(there_are);
    return text;
}
