// SPDX-License-Identifier: BSD-2-Clause

// Words come from requests, so a line keeps its length and its characters whatever they are.
#include "frame/dr_names.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace {

constexpr size_t WORD_MAX = 64;
constexpr size_t NAMES_MAX = 40;

// How many characters have to be put in, left out or replaced.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < a.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < b.size(); ++j) {
            const size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

} // namespace

const std::string* dri_nearest(std::string_view word, const dr_names_t& names) {
    if (word.size() > WORD_MAX) {
        return nullptr;
    }
    const std::string* nearest = nullptr;
    size_t least = std::max<size_t>(word.size() / 3, 1) + 1;
    for (const std::string& name : names) {
        const size_t changes = name.size() > 2 * WORD_MAX ? least : distance(word, name);
        if (changes < least) {
            least = changes;
            nearest = &name;
        }
    }
    return nearest;
}

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
