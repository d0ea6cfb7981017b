// SPDX-License-Identifier: BSD-2-Clause

// dr_table_tag_s: what a definition says of a tag for tables alone: how a column looks, and how the
// rows of a list stand below the row that they belong to.
//
// Most tags have none of it and keep no such record. Constant once read.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

enum class dr_align_e : uint8_t {
    BY_TYPE, // numbers right, all else left
    LEFT,
    RIGHT,
};

// How a list's rows are shown.
enum class dr_rows_e : uint8_t {
    BLOCKS, // as lines of a table of their own, indented below the row that they belong to
    REPEATED, // as lines that begin with the columns of that row
    SECTIONS, // each as lines "name: value"
};

// What a value says of how things are.
enum class dr_state_e : uint8_t { NONE, GOOD, WARNING, BAD };

// Whether a value is a count of something that goes on, so that its change per second says
// something.
enum class dr_counter_e : uint8_t { BY_TYPE, YES, NO };

struct dr_table_tag_s {
    // That of the first pair for `shown`, or for "*", which stands for every text.
    dr_state_e state_of(std::string_view shown) const {
        for (const auto& [text, state] : states) {
            if (text == shown || text == "*") {
                return state;
            }
        }
        return dr_state_e::NONE;
    }

    std::string heading{}; // empty: the tag's name
    std::string unit{};
    int width = 0;  // in characters; 0: that of the first rows
    int column = 0; // its place among the columns; 0: behind those that have one
    dr_align_e align = dr_align_e::BY_TYPE;
    dr_rows_e rows = dr_rows_e::BLOCKS;
    dr_counter_e counter = dr_counter_e::BY_TYPE;
    bool is_wide = false; // shown on wish alone
    std::vector<std::pair<std::string, dr_state_e>> states{};
};
