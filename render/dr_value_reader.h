// SPDX-License-Identifier: BSD-2-Clause

// dr_value_reader_c: the values of leaves where a walk is, as output shows them.
//
// A value map translates what the daemon gave; an expression in it reads other leaves. Look-ups do
// not suspend: a DREND_DEFER is a failed read, as is a procedure that sets no value.
//
// Leaves of the row on top are read by a visit of its context, others by moving there. Who reads
// several leaves one after the other leaves the visit open between them.
//
// Belongs to one walk on the daemon's thread.
#pragma once

#include <cassert>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "definitions/dr_position.h"
#include "expr/dr_xp_value.h"
#include "frame/drend_trace.h"

class dr_value_reader_c {
  public:
    explicit dr_value_reader_c(dr_position_c& position) : position_(position) {}

    // The text of the leaf that the tag path leads to ("": the leaf on top), valid until the next
    // read. 0, or DREND_ERR with `out` untouched.
    int read(std::string_view path, std::string_view& out);
    // The same of a kid of the tag on top.
    int read(const drend_tag_c& kid, std::string_view& out);
    // The same with a copy of the text.
    int get_text(std::string_view path, dr_str_buf_c& out);
    // The type of the value that was read last.
    dr_value_type_t type_read() const { return value_.type(); }
    // The same for an expression, which may leave a visit open; end_visit ends it. The first one
    // knows the leaf below the row that `path` names. False with `out` untouched.
    bool find(const drend_tag_c& leaf, std::string_view path, dr_xp_value_c& out) {
        if (!visit(leaf)) {
            return find(path, out);
        }
        if (!fetch_leaf(*visited_, leaf)) {
            return false;
        }
        show(leaf, out);
        return true;
    }
    bool find(std::string_view path, dr_xp_value_c& out);
    void end_visit() {
        if (visited_ != nullptr) {
            std::exchange(visited_, nullptr)->end_visit();
        }
    }
    // The value of the leaf on top and its text, as an answer shows them, valid until the next
    // read. What the leaf's procedure or its map said; DREND_ERR without a value or a leaf.
    int read_top(const dr_value_c*& value, std::string_view& text);
    // Whether there is something to show for a value that could not be read, as its status says: a
    // map with a wildcard translates it.
    static bool has_substitute(const drend_tag_c& tag, int status) {
        const bool failed =
            status != DREND_OK && status != DREND_DEFER && status != DREND_SKIP_LEAF;
        return failed && tag.dt_map != nullptr && tag.dt_map->has_wildcard();
    }
    // Replaces a value by what its tag's map says. DREND_OK, or what failed.
    int translate(const drend_tag_c& tag, dr_value_c& value);
    // Replaces a text "=..." by its value. 0, also for other texts, or -1 with the text untouched.
    int eval_expression(str_buf_s* text);
    // Whether the container on top is present: unless its procedure gives a text other than "true".
    bool presence_on(const drend_tag_c& tag);

    // While set, values are as the daemon gives them, without the value map and without the digits
    // of a decimal64.
    bool is_raw = false;

  private:
    const drend_tag_c* fetch(std::string_view path);
    const drend_tag_c* fetch_kid(const drend_tag_c& kid);
    const drend_tag_c* fetch_by_moving(std::string_view path);
    int give(const drend_tag_c* leaf, std::string_view& out);
    bool visit(const drend_tag_c& leaf);
    bool fetch_leaf(dr_meta_context_c& context, const drend_tag_c& tag);
    const drend_tag_c* fetch_top();
    std::string_view text_of(const drend_tag_c& tag);
    void show(const drend_tag_c& leaf, dr_xp_value_c& out);
    int eval_parts(const dr_map_parts_t& parts, std::string& out);
    int append_raw(const dr_map_part_s& part, std::string& out);

    dr_position_c& position_;
    // While a visit is open: of which context, and the node of its row.
    dr_meta_context_c* visited_ = nullptr;
    const dr_meta_node_c* row_ = nullptr;
    dr_value_c value_; // of the last read; keeps its memory
    dr_value_c::scratch_t scratch_;
};

// --- inline, for a predicate reads its leaves in every row -----------------------------------

// Moves the visit of the context on top to a leaf below its row, or begins it. False, with the
// visit as it was, where the leaf has to be moved to.
inline bool dr_value_reader_c::visit(const drend_tag_c& leaf) {
    assert(leaf.is_below_row());
    dr_meta_context_c* context = position_.context(0);
    if (visited_ == nullptr) {
        // A trace shows a context for each source.
        if (context == nullptr || context->is_visiting() ||
            dri_trace_on(DREND_TRACE_WALK)) {
            return false;
        }
        row_ = context->get_top_node();
    }
    dr_meta_node_c* node = leaf.source_path().child_of(row_);
    if (node == nullptr || !node->is_leaf()) {
        return false;
    }
    assert(visited_ == nullptr || visited_ == context);
    visited_ = context;
    context->visit_leaf(node, position_.element_ref());
    return true;
}

// Whether `value_` is what is shown for the leaf that `context` is at.
[[gnu::always_inline]] inline bool dr_value_reader_c::fetch_leaf(dr_meta_context_c& context,
                                                                 const drend_tag_c& tag) {
    value_.clear();
    return context.call_leaf_proc(value_) == DREND_OK && value_.type() != DRV_NONE &&
           (is_raw || tag.dt_map == nullptr || translate(tag, value_) == DREND_OK);
}

inline void dr_value_reader_c::show(const drend_tag_c& leaf, dr_xp_value_c& out) {
    int64_t number = 0;
    if (value_.get_whole(number) && (is_raw || !leaf.is_decimal64())) {
        out.set_number(number);
    } else {
        out.set_passing(text_of(leaf));
    }
}
