// SPDX-License-Identifier: BSD-2-Clause

// drend_tag_c: one output element of a definition, and the tree that its kids make.
//
//     container "interfaces"                dt_source "/interfaces"
//      +-- list "interface"                 dt_source "interface", dt_keys { name }
//           +-- leaf "name"                 dt_source "name", DT_FLAG_KEY
//           +-- leaf "oper-status"          dt_source "state", dt_map { 1 up, 2 down }
//
//  1. A tag is built by the loader, changed by the schema merge and immutable from then on. What a
//     walk would otherwise work out for every element (the source path cut into steps, the texts
//     of the opening and closing tag) is made when the tag is.
//  2. A tag owns no other tag; all of them belong to their definitions set. A tag may be a kid in
//     more than one tree: the schema merge shares what only one of its sources has.
//  3. The commands of a tag are ordered by load order.
//
// Built on the loading thread, read on the daemon's thread.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "definitions/dr_command_set.h"
#include "definitions/dr_json_places.h"
#include "definitions/dr_json_typing.h"
#include "definitions/dr_row.h"
#include "definitions/dr_scope.h"
#include "definitions/dr_table_tag.h"
#include "definitions/dr_value_map.h"
#include "model/dr_nav_path.h"

// Where a definition has a tag and its source.
struct dr_tag_place_s {
    const std::string* file = nullptr; // of the set
    dr_text_place_s tag{};
    dr_text_place_s source{};
};

enum dt_type_e : int32_t {
    DT_TYPE_NONE = 0,
    DT_TYPE_LEAF = 1,
    DT_TYPE_CONT = 2,
    DT_TYPE_LIST = 3,
    DT_TYPE_LIST_EL = 4,
    DT_TYPE_LEAF_LIST = 5,
    DT_TYPE_EMPTY = 6, // from the file word "empty"; the walk visits no tag of this type
};

// The type of a leaf's value, as definitions write it. Not the codes of dr_value_type_t.
enum dt_data_type_e : int32_t {
    DT_DATA_STRING = 1,
    DT_DATA_BOOLEAN = 2,
    DT_DATA_UINT8 = 3,
    DT_DATA_UINT16 = 4,
    DT_DATA_UINT32 = 5,
    DT_DATA_UINT64 = 6,
    DT_DATA_INT8 = 7,
    DT_DATA_INT16 = 8,
    DT_DATA_INT32 = 9,
    DT_DATA_INT64 = 10,
    DT_DATA_DECIMAL64 = 11,
    DT_DATA_BITS = 12,
    DT_DATA_BINARY = 13,
    DT_DATA_UNION = 16,
    DT_DATA_EMPTY = 17,
};

enum dt_flag_e : uint32_t {
    DT_FLAG_SOURCE_CHILD = 0x01,     // the tag or a tag below it has a source
    DT_FLAG_PRESENCE = 0x02,         // a container that its own value switches on
    DT_FLAG_COMBINED = 0x04,         // made by the schema merge
    DT_FLAG_HIDDEN = 0x08,           // not printed itself: choice, case, a merged root
    DT_FLAG_KEY = 0x10,              // named as a key by its parent
    DT_FLAG_ZERO_SUPPRESSION = 0x20, // not printed while its value is zero
    DT_FLAG_INTERNAL = 0x40,         // for the library's own use, never printed in XML
    DT_FLAG_MANDATORY = 0x80,        // printed even when empty
};

// Kinds of data.
enum dt_content_e : uint8_t {
    DT_CONTENT_CONFIG = 0x1,
    DT_CONTENT_STATE = 0x2, // all that is not configuration
    DT_CONTENT_ALL = 0x3,
};

// The pseudo-tag that carries each value of a leaf-list.
inline constexpr char DT_LEAF_LIST_VALUE[] = "__zor_leaf_list_value__";
// Names that begin so make a tag internal.
inline constexpr char DT_INTERNAL_PREFIX[] = "__zor_internal";
// The root of a notification's content, which is hidden.
inline constexpr char DT_NOTIFICATION_ROOT[] = "orvex-notification-root";

class drend_tag_c {
  public:
    using kids_t = std::vector<drend_tag_c*>;
    using commands_t = dr_command_set_c;

    drend_tag_c(std::string_view name, std::string_view source);
    // For the schema merge: shares the kids, and leaves styles, input kids and merged sources
    // empty.
    drend_tag_c(const drend_tag_c& other);
    drend_tag_c& operator=(const drend_tag_c&) = delete;
    ~drend_tag_c();

    // --- what the loader and the merge set ---

    void set_source(std::string_view source);
    // Stores a namespace text in its pasted form.
    void set_namespace(std::string_view text);
    void set_flags(uint32_t flags) { dt_flags |= flags; }
    // Says of the tag what it has below it with such a kid.
    void add_what_is_in(const drend_tag_c& kid) {
        set_flags(kid.dt_flags & DT_FLAG_SOURCE_CHILD);
        dt_content |= kid.dt_content;
    }

    // --- what walks read ---

    bool isset_flag(uint32_t flags) const { return (dt_flags & flags) != 0; }
    bool has_source_child() const { return isset_flag(DT_FLAG_SOURCE_CHILD); }
    bool has_presence() const { return isset_flag(DT_FLAG_PRESENCE); }
    bool is_combined() const { return isset_flag(DT_FLAG_COMBINED); }
    bool is_hidden() const { return isset_flag(DT_FLAG_HIDDEN); }
    bool is_internal_tag() const { return isset_flag(DT_FLAG_INTERNAL); }
    bool is_leaf_list_value() const { return is_leaf_list_value_; }
    // Whether it is a leaf whose source is a child of where its row is.
    bool is_below_row() const { return dt_type == DT_TYPE_LEAF && source_path_.is_child(); }
    bool is_decimal64() const { return dt_data_type == DT_DATA_DECIMAL64; }

    const std::string& name() const { return name_; }
    // No other tag of the process has or had the same: what is remembered about a tag outlives it.
    uint64_t serial() const { return serial_; }
    std::string get_source() const { return source_; }
    const std::string& source() const { return source_; }
    // The source cut into steps.
    const dr_nav_path_c& source_path() const { return source_path_; }
    const std::string& xmlns() const { return namespace_; }
    // "<name xmlns>" and "</name>\n".
    std::string_view open_text() const {
        return {open_line_.data(), open_line_.size() - 1};
    }
    // "<name xmlns>\n".
    const std::string& open_line() const { return open_line_; }
    const std::string& close_text() const { return close_text_; }
    // "name" in its quotes, escaped, and " : ".
    const std::string& member_text() const { return member_text_; }

    // The first kid of that name, or with that source, or null.
    drend_tag_c* find_child(std::string_view name) const;
    drend_tag_c* find_child_from_mt_source(const char* source) const;

    // What is shown for a value of this tag, as a leaf, as a key and to look-ups. A text is shown
    // as it is. Anything else is shown by a decimal64 with its digits, or as "Conversion Error"
    // when there are none, and by others as dr_value_c::text. A view into the value or `scratch`,
    // NUL-terminated.
    std::string_view value_text(const dr_value_c& value,
                                dr_value_c::scratch_t& scratch) const {
        const bool is_plain = !is_decimal64() || value.type() == DRV_STRING;
        return is_plain ? value.text(scratch) : decimal64_text(value, scratch);
    }

    // Translates a value through the value map. DREND_OK, also without a map, or DREND_ERR when
    // nothing in it matches; the value is then as it was. When the new text is an expression that
    // the definition wrote, the text form says so and the typed form, which walks use, gives the
    // expression's parts (null otherwise; none when it is malformed).
    int translate_value(str_buf_s* text, bool& is_expression) const;
    int translate_value(dr_value_c& value, const dr_map_parts_t*& expression) const;

    // What a walk needs of the kids where the daemon's data is at `node`; see dr_row_c.
    dr_row_ref_c row(const dr_meta_node_c* node, dr_row_shape_s shape) const;
    // What is in force inside the tag, where `outer` is around it.
    const dr_scope_c* scope(const dr_scope_c* outer) const {
        return namespace_.empty() && dt_module.empty() ? outer : own_scope(outer);
    }

    // --- searches by tag path ---

    // The tag that `path` names: from `root` when it begins with "/", else from `root`'s kids. Null
    // when there is none or the path is malformed.
    static const drend_tag_c* find_path(const drend_tag_c* root, const char* path);
    // For the root of a merged schema: who owns the deepest owned tag along `path`. The number of
    // entries in `out`, or a negative status when the path names nothing or is malformed.
    int find_command_from_path(const char* path, std::set<drend_command_s*>& out) const;
    // The message id of the first owner, or -1.
    int find_message_id_from_path(const char* path) const;
    int find_daemons_from_path(const char* path, std::set<std::string>& out) const;

    // Prints the tree as text, each level two blanks deeper.
    void dump(str_buf_s* out, int indent) const;

    std::string dt_prefix; // goes in front of the value
    std::string dt_help;   // of a parameter: one line
    std::string dt_module; // the YANG module that begins here; empty: none does
    int32_t dt_type = DT_TYPE_CONT;
    int32_t dt_data_type = DT_DATA_STRING;
    uint8_t dt_decimal64_fraction = 0;
    bool dt_has_data_type = false; // said by the definition
    dr_json_typing_c dt_json_typing;
    int32_t dt_fid = -1;
    uint32_t dt_flags = 0;
    bool dt_is_config = false; // said by the definition, of the tag or of one around it
    uint8_t dt_content = 0;    // dt_content_e bits: what the tag and those below it show
    std::shared_ptr<const dr_value_map_c> dt_map;   // null: values are shown as they are
    std::shared_ptr<const dr_table_tag_s> dt_table; // null: nothing is said for tables
    std::vector<std::string> dt_keys;
    std::vector<std::string> dt_styles;
    dr_tag_place_s dt_place;
    kids_t dt_kids;                          // in file order
    std::vector<drend_tag_c*> dt_input_kids; // in file order
    std::vector<drend_tag_c*>
        dt_merged_sources; // on a merged root: the roots merged into it
    commands_t dt_commands;
    mutable unsigned dt_uses = 0; // by walks; guarded by the lock of the in-use list

  private:
    void make_texts();
    const dr_scope_c* own_scope(const dr_scope_c* outer) const;
    std::string_view decimal64_text(const dr_value_c& value,
                                    dr_value_c::scratch_t& scratch) const;

    const uint64_t serial_;
    std::string name_;
    std::string source_;
    dr_nav_path_c source_path_;
    std::string namespace_;
    std::string open_line_;
    std::string close_text_;
    std::string member_text_;
    bool is_leaf_list_value_;
    mutable std::unique_ptr<dr_row_cache_c> rows_; // null until a walk asks
    mutable dr_scope_cache_c scopes_;
};

// A namespace text in the form in which it is pasted behind an element's name: a leading blank,
// double quotes. An empty text stays empty.
std::string dri_pasted_namespace(std::string_view text);

// The number of tags in existence, for diagnostics. Any thread.
int dri_get_tag_count();
