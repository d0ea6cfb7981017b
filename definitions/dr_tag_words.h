// SPDX-License-Identifier: BSD-2-Clause

// The words of definition files and what they stand for, one table each, for the loader and
// for everything that checks or prints definitions.
//
// Constant; any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "definitions/drend_tag.h"

// A word of `dts_type`. Unknown words are containers.
struct dr_type_word_s {
    std::string_view word;
    int32_t type;   // dt_type_e
    uint32_t flags; // dt_flag_e bits that come with the word
};

inline constexpr dr_type_word_s DR_TYPE_WORDS[] = {
    {"leaf", DT_TYPE_LEAF, 0},
    {"container", DT_TYPE_CONT, 0},
    {"list", DT_TYPE_LIST, 0},
    {"leaf-list", DT_TYPE_LEAF_LIST, 0},
    {"choice", DT_TYPE_CONT, DT_FLAG_HIDDEN},
    {"case", DT_TYPE_CONT, DT_FLAG_HIDDEN},
    {"empty", DT_TYPE_EMPTY, 0},
};

// A word of `dts_data_type`. Unknown words are strings.
struct dr_data_type_word_s {
    std::string_view word;
    int32_t code; // dt_data_type_e
};

inline constexpr dr_data_type_word_s DR_DATA_TYPE_WORDS[] = {
    {"string", DT_DATA_STRING},       {"boolean", DT_DATA_BOOLEAN},
    {"uint8", DT_DATA_UINT8},         {"uint16", DT_DATA_UINT16},
    {"uint32", DT_DATA_UINT32},       {"uint64", DT_DATA_UINT64},
    {"int8", DT_DATA_INT8},           {"int16", DT_DATA_INT16},
    {"int32", DT_DATA_INT32},         {"int64", DT_DATA_INT64},
    {"decimal64", DT_DATA_DECIMAL64}, {"bits", DT_DATA_BITS},
    {"binary", DT_DATA_BINARY},       {"union", DT_DATA_UNION},
    {"empty", DT_DATA_EMPTY},
};

// The flags that a tag's name brings.
constexpr uint32_t dri_name_flags(std::string_view name) {
    return (name == DT_NOTIFICATION_ROOT ? DT_FLAG_HIDDEN : 0U) |
           (name.starts_with(DT_INTERNAL_PREFIX) ? DT_FLAG_INTERNAL : 0U);
}

// The row of a word in one of the tables above, or null.
template <typename Row, size_t Count>
constexpr const Row* dri_find_word(const Row (&table)[Count], std::string_view word) {
    for (const Row& row : table) {
        if (row.word == word) {
            return &row;
        }
    }
    return nullptr;
}
