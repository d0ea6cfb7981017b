// SPDX-License-Identifier: BSD-2-Clause

// Words come from requests, so a line keeps its length and its characters whatever they are.
#include "frame/dr_names.h"

#include <algorithm>

namespace {

constexpr size_t WORD_MAX = 64;
constexpr size_t NAMES_MAX = 40;

} // namespace

std::string dri_there_are(const dr_names_t& names) {
    if (names.empty()) {
        return "there is nothing";
    }
    std::string text = names.size() == 1 ? "there is " : "there are ";
    for (size_t i = 0; i < std::min(names.size(), NAMES_MAX); ++i) {
        text.append(i == 0 ? "" : ", ").append(names[i]);
    }
    return text + (names.size() > NAMES_MAX ? " and more" : "");
}

std::string dri_word_shown(std::string_view word) {
    std::string shown = "'";
    shown += word.substr(0, WORD_MAX);
    std::replace_if(
        shown.begin(), shown.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    return shown + (word.size() > WORD_MAX ? "...'" : "'");
}
