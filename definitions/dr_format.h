// SPDX-License-Identifier: BSD-2-Clause

// The format of definition files, in one table: members, their JSON types, their words, what they
// mean and what they need.
//
// The reader, its checks, the JSON Schema and the reference in docs/render-files.md are made of it.
// Meanings are sentences of that reference, with its links.
//
// Constant; any thread.
#pragma once

#include <cstdint>
#include <iterator>
#include <string_view>

#include "definitions/drend_tag.h"

// The type of a member's value. One of another type counts as absent.
enum class dr_json_kind_e : uint8_t {
    TEXT,
    INTEGER,
    TEXTS, // array of texts
    PAIRS, // array of arrays of two texts
    TAG,   // object
    TAGS,  // array of objects
};

// What a text may be.
enum class dr_words_e : uint8_t {
    ANY,
    TYPES,
    DATA_TYPES,
    TRUE,
    ALIGNS,
    ROWS,
    STATES,
    COUNTERS,
    CONFIGS
};

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): columns in the order of reading
struct dr_member_s {
    std::string_view name;
    dr_json_kind_e kind;
    std::string_view
        absent; // what counts then, in words; empty: it must be there, or nothing does
    std::string_view meaning;
    dr_words_e words = dr_words_e::ANY; // of pairs: what the second text may be
    // What an integer may be; any when both are 0.
    int least = 0;
    int most = 0;
};

// --- entries ---

inline constexpr dr_member_s DR_COMMAND_MEMBERS[] = {
    {"dc_name", dr_json_kind_e::TEXT, "",
     "the command's name, by which it is run and by which definitions merge"},
    {"dc_tag", dr_json_kind_e::TAG, "no tag",
     "the tag at the top of the answer; a command without it cannot be run"},
    {"dc_tag_of", dr_json_kind_e::TEXT, "none",
     "[a command of the same application](#tags-of-another-command) whose tags it has, "
     "too"},
    {"dc_full_command", dr_json_kind_e::TEXT, "empty", "the command as operators write it"},
    {"dc_cli_command", dr_json_kind_e::TEXT, "empty", "its word in a command-line menu"},
    {"dc_cli_merge_tag", dr_json_kind_e::TEXT, "empty", "its merge tag in that menu"},
    {"dc_top_of_output", dr_json_kind_e::TEXT, "empty", "what stands above its output"},
    {"dc_help", dr_json_kind_e::TEXT, "empty", "one line of help"},
    {"dc_app_name", dr_json_kind_e::TEXT, "empty", "the daemon that serves the command"},
    {"dc_message_id", dr_json_kind_e::INTEGER, "-1",
     "the number of the message that asks for it"},
};

inline constexpr dr_member_s DR_NOTIFICATION_MEMBERS[] = {
    {"dc_external_notify_name", dr_json_kind_e::TEXT, "",
     "the name that the outside knows"},
    {"dc_internal_notify_name", dr_json_kind_e::TEXT, "empty",
     "the name that the daemon uses"},
    {"dc_app_name", dr_json_kind_e::TEXT, "empty", "the daemon that sends it"},
    {"dc_namespace", dr_json_kind_e::TEXT, "empty",
     "a namespace, written like that of a tag"},
    {"dc_tag", dr_json_kind_e::TAG, "no tag", "the tag at the top of its content"},
};

inline constexpr dr_member_s DR_NOTIFICATION_LEAF_MEMBERS[] = {
    {"dc_notify_leaf", dr_json_kind_e::TEXT, "", "the leaf"},
    {"dc_internal_notify_name", dr_json_kind_e::TEXTS, "none",
     "internal names that are added, in order, to those of that leaf; if one of them is no "
     "text, "
     "none is"},
    {"dc_app_name", dr_json_kind_e::TEXT, "empty", "not used"},
};

// --- tags ---

// Common ones first.
enum dr_tag_member_e : unsigned {
    DR_MEMBER_NAME,
    DR_MEMBER_TYPE,
    DR_MEMBER_SOURCE,
    DR_MEMBER_KIDS,
    DR_MEMBER_DATA_TYPE,
    DR_MEMBER_FRACTION,
    DR_MEMBER_KEY,
    DR_MEMBER_MAP,
    DR_MEMBER_PRESENCE,
    DR_MEMBER_ZERO_SUPPRESSION,
    DR_MEMBER_MANDATORY,
    DR_MEMBER_NAMESPACE,
    DR_MEMBER_MODULE,
    DR_MEMBER_CONFIG,
    DR_MEMBER_PREFIX,
    DR_MEMBER_STYLE,
    DR_MEMBER_FID,
    DR_MEMBER_HEADING,
    DR_MEMBER_UNIT,
    DR_MEMBER_COLUMN,
    DR_MEMBER_WIDTH,
    DR_MEMBER_ALIGN,
    DR_MEMBER_WIDE,
    DR_MEMBER_STATE,
    DR_MEMBER_COUNTER,
    DR_MEMBER_ROWS,
    DR_MEMBER_INPUT_KIDS,
    DR_MEMBER_HELP,
    DR_MEMBER_COUNT,
};

// In the order of dr_tag_member_e.
inline constexpr dr_member_s DR_TAG_MEMBERS[] = {
    {"dts_name", dr_json_kind_e::TEXT, "empty", "the element's name"},
    {"dts_type", dr_json_kind_e::TEXT, "container", "[what kind of element it is](#kinds)",
     dr_words_e::TYPES},
    {"dts_source", dr_json_kind_e::TEXT, "empty",
     "[the way](#sources) from its parent's place in the data to its own"},
    {"dts_kids", dr_json_kind_e::TAGS, "none",
     "the elements inside, in the order in which they are printed"},
    {"dts_data_type", dr_json_kind_e::TEXT, "string",
     "[the type of a leaf's value](#data-types)", dr_words_e::DATA_TYPES},
    {"dts_data_decimal64_fraction", dr_json_kind_e::INTEGER, "",
     "digits behind the point of a \"decimal64\" leaf", dr_words_e::ANY, 1, 18},
    {"dts_key", dr_json_kind_e::TEXTS, "none",
     "[the key leaves](#lists-and-keys) of a list"},
    {"dts_map", dr_json_kind_e::PAIRS, "none",
     "[what is shown](#value-maps) for which value"},
    {"dts_presence", dr_json_kind_e::TEXT, "empty",
     "any text: [a container that is there or not](#presence)"},
    {"dts_zero_suppression", dr_json_kind_e::TEXT, "empty",
     "exactly \"true\": [zeros are left out](#leaves)", dr_words_e::TRUE},
    {"dts_is_mandatory", dr_json_kind_e::TEXT, "empty",
     "exactly \"true\": [shown even when empty](#leaves)", dr_words_e::TRUE},
    {"dts_namespace", dr_json_kind_e::TEXT, "empty",
     "[attributes](#namespaces-and-prefixes) of the opening tag"},
    {"dts_module", dr_json_kind_e::TEXT, "that of the tag around it",
     "[the YANG module](#modules) that the element and those inside belong to"},
    {"dts_config", dr_json_kind_e::TEXT, "that of the tag around it; at the top \"false\"",
     "\"true\" or \"false\": whether the element and those inside are "
     "[configuration](#configuration-and-state)",
     dr_words_e::CONFIGS},
    {"dts_prefix", dr_json_kind_e::TEXT, "empty",
     "[what stands in front](#namespaces-and-prefixes) of the value"},
    {"dts_style", dr_json_kind_e::TEXTS, "none",
     "[the styles](#styles) that a leaf belongs to"},
    {"dts_fid", dr_json_kind_e::INTEGER, "-1",
     "a number for the field, kept for the daemon's use"},
    {"dts_heading", dr_json_kind_e::TEXT, "its name",
     "what stands [above its column](#tables), or in front of its value"},
    {"dts_unit", dr_json_kind_e::TEXT, "empty", "the unit of its values in a table"},
    {"dts_column", dr_json_kind_e::INTEGER, "",
     "its place among the columns of its table, from 1", dr_words_e::ANY, 1, 1000},
    {"dts_width", dr_json_kind_e::INTEGER, "that of the first rows",
     "how many characters its column has", dr_words_e::ANY, 1, 200},
    {"dts_align", dr_json_kind_e::TEXT, "numbers right, others left",
     "the side on which its values stand", dr_words_e::ALIGNS},
    {"dts_wide", dr_json_kind_e::TEXT, "empty",
     "exactly \"true\": tables show it on wish alone", dr_words_e::TRUE},
    {"dts_state", dr_json_kind_e::PAIRS, "none",
     "which shown value is [good, a warning or bad](#tables)", dr_words_e::STATES},
    {"dts_counter", dr_json_kind_e::TEXT, "\"true\" of the type uint64",
     "\"true\" or \"false\": whether it counts what goes on, and "
     "[its change per second](#tables) is worth showing",
     dr_words_e::COUNTERS},
    {"dts_rows", dr_json_kind_e::TEXT, "blocks",
     "[how a table shows](#tables) the rows of a list", dr_words_e::ROWS},
    {"dts_input_kids", dr_json_kind_e::TAGS, "none",
     "[the command's parameters](#input-parameters); they print nothing"},
    {"dts_help", dr_json_kind_e::TEXT, "empty",
     "of a parameter: one line of help for who types a request"},
};
static_assert(std::size(DR_TAG_MEMBERS) == DR_MEMBER_COUNT);

// --- words ---

// A word of `dts_type`. Unknown words are containers.
struct dr_type_word_s {
    std::string_view word;
    int32_t type;   // dt_type_e
    uint32_t flags; // dt_flag_e bits that come with the word
    std::string_view meaning;
};

inline constexpr dr_type_word_s DR_TYPE_WORDS[] = {
    {"container", DT_TYPE_CONT, 0, "groups its kids"},
    {"list", DT_TYPE_LIST, 0, "is printed once for each row"},
    {"leaf", DT_TYPE_LEAF, 0, "one value"},
    {"leaf-list", DT_TYPE_LEAF_LIST, 0, "a list of bare values"},
    {"choice", DT_TYPE_CONT, DT_FLAG_HIDDEN, "not printed itself, only its kids"},
    {"case", DT_TYPE_CONT, DT_FLAG_HIDDEN, "the same"},
    {"empty", DT_TYPE_EMPTY, 0, "accepted and never printed"},
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

// Words of members for tables.
struct dr_align_word_s {
    std::string_view word;
    dr_align_e align;
};

inline constexpr dr_align_word_s DR_ALIGN_WORDS[] = {
    {"left", dr_align_e::LEFT},
    {"right", dr_align_e::RIGHT},
};

struct dr_rows_word_s {
    std::string_view word;
    dr_rows_e rows;
    std::string_view meaning;
};

inline constexpr dr_rows_word_s DR_ROWS_WORDS[] = {
    {"blocks", dr_rows_e::BLOCKS,
     "a line each, in a table of their own that is indented below the row that they belong "
     "to"},
    {"repeated", dr_rows_e::REPEATED,
     "a line each, which begins with the columns of that row"},
    {"sections", dr_rows_e::SECTIONS, "each as lines \"name: value\""},
};

struct dr_state_word_s {
    std::string_view word;
    dr_state_e state;
};

inline constexpr dr_state_word_s DR_STATE_WORDS[] = {
    {"good", dr_state_e::GOOD},
    {"warning", dr_state_e::WARNING},
    {"bad", dr_state_e::BAD},
};

struct dr_counter_word_s {
    std::string_view word;
    dr_counter_e counter;
};

inline constexpr dr_counter_word_s DR_COUNTER_WORDS[] = {
    {"true", dr_counter_e::YES},
    {"false", dr_counter_e::NO},
};

struct dr_config_word_s {
    std::string_view word;
    bool is_config;
};

inline constexpr dr_config_word_s DR_CONFIG_WORDS[] = {
    {"true", true},
    {"false", false},
};

// The word of a dt_data_type_e; "string" for a number that is none.
constexpr std::string_view dri_data_type_word(int32_t code) {
    for (const dr_data_type_word_s& row : DR_DATA_TYPE_WORDS) {
        if (row.code == code) {
            return row.word;
        }
    }
    return "string";
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

// Calls `use` with each word that a text of that kind may be.
template <typename Use>
constexpr void dri_for_each_word(dr_words_e words, Use use) {
    const auto use_each = [&](const auto& table) {
        for (const auto& row : table) {
            use(row.word);
        }
    };
    switch (words) {
    case dr_words_e::ANY:
        break;
    case dr_words_e::TYPES:
        use_each(DR_TYPE_WORDS);
        break;
    case dr_words_e::DATA_TYPES:
        use_each(DR_DATA_TYPE_WORDS);
        break;
    case dr_words_e::TRUE:
        use("true");
        break;
    case dr_words_e::ALIGNS:
        use_each(DR_ALIGN_WORDS);
        break;
    case dr_words_e::ROWS:
        use_each(DR_ROWS_WORDS);
        break;
    case dr_words_e::STATES:
        use_each(DR_STATE_WORDS);
        break;
    case dr_words_e::COUNTERS:
        use_each(DR_COUNTER_WORDS);
        break;
    case dr_words_e::CONFIGS:
        use_each(DR_CONFIG_WORDS);
        break;
    }
}

// --- what a member needs ---

// A tag whose member `when` is the text `is` needs `needs`.
// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): columns in the order of reading
struct dr_need_s {
    dr_tag_member_e when;
    std::string_view is;
    dr_tag_member_e needs;
    std::string_view otherwise; // what becomes of it
};

inline constexpr dr_need_s DR_NEEDS[] = {
    {DR_MEMBER_TYPE, "list", DR_MEMBER_SOURCE, "it has no rows"},
    {DR_MEMBER_TYPE, "leaf-list", DR_MEMBER_SOURCE, "it has no rows"},
    {DR_MEMBER_TYPE, "leaf", DR_MEMBER_SOURCE, "it has no value"},
    {DR_MEMBER_DATA_TYPE, "decimal64", DR_MEMBER_FRACTION, "no value can be shown"},
};

// The kinds of tags for which a member means something.
struct dr_home_s {
    dr_tag_member_e member;
    int32_t type; // dt_type_e
    std::string_view kind;
    int32_t or_type = DT_TYPE_NONE;
};

inline constexpr std::string_view DR_CELL_KIND = "a leaf or leaf-list";

inline constexpr dr_home_s DR_HOMES[] = {
    {DR_MEMBER_KEY, DT_TYPE_LIST, "a list"},
    {DR_MEMBER_PRESENCE, DT_TYPE_CONT, "a container"},
    {DR_MEMBER_ZERO_SUPPRESSION, DT_TYPE_LEAF, "a leaf"},
    {DR_MEMBER_UNIT, DT_TYPE_LEAF, DR_CELL_KIND, DT_TYPE_LEAF_LIST},
    {DR_MEMBER_COLUMN, DT_TYPE_LEAF, DR_CELL_KIND, DT_TYPE_LEAF_LIST},
    {DR_MEMBER_WIDTH, DT_TYPE_LEAF, DR_CELL_KIND, DT_TYPE_LEAF_LIST},
    {DR_MEMBER_ALIGN, DT_TYPE_LEAF, DR_CELL_KIND, DT_TYPE_LEAF_LIST},
    {DR_MEMBER_WIDE, DT_TYPE_LEAF, DR_CELL_KIND, DT_TYPE_LEAF_LIST},
    {DR_MEMBER_STATE, DT_TYPE_LEAF, DR_CELL_KIND, DT_TYPE_LEAF_LIST},
    {DR_MEMBER_COUNTER, DT_TYPE_LEAF, "a leaf"},
    {DR_MEMBER_ROWS, DT_TYPE_LIST, "a list"},
};

// The flags that a tag's name brings.
constexpr uint32_t dri_name_flags(std::string_view name) {
    return (name == DT_NOTIFICATION_ROOT ? DT_FLAG_HIDDEN : 0U) |
           (name.starts_with(DT_INTERNAL_PREFIX) ? DT_FLAG_INTERNAL : 0U);
}
