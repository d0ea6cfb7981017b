// SPDX-License-Identifier: BSD-2-Clause

// The distance of two words, row by row of the usual table, of which three rows are kept. Words are
// bounded, so that a file cannot make the comparison dear.
#include "definitions/dr_nearest.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace {

constexpr size_t LONGEST = 64;
using row_t = std::array<size_t, LONGEST + 1>;

size_t distance(std::string_view a, std::string_view b) {
    row_t above_that{};
    row_t above{};
    row_t row{};
    for (size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (size_t i = 1; i <= a.size(); ++i) {
        above_that = above;
        above = row;
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = above[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({above[j] + 1, row[j - 1] + 1, changed});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                row[j] = std::min(row[j], above_that[j - 2] + 1);
            }
        }
    }
    return row[b.size()];
}

} // namespace

dr_nearest_c::dr_nearest_c(std::string_view word)
    : word_(word), distance_(std::max<size_t>(1, word.size() / 3) + 1) {}

void dr_nearest_c::offer(std::string_view known) {
    if (word_.size() > LONGEST || known.size() > LONGEST) {
        return;
    }
    const size_t found = distance(word_, known);
    if (found < distance_) {
        distance_ = found;
        found_ = known;
    }
}
