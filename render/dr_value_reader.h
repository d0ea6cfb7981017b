// SPDX-License-Identifier: BSD-2-Clause

// dr_value_reader_c: the values of leaves where a walk is, as output shows them.
//
// A value map translates what the daemon gave; an expression in it reads other leaves. Look-ups do
// not suspend: a DREND_DEFER is a failed read, as is a procedure that sets no value. Belongs to one
// walk on the daemon's thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "definitions/dr_position.h"
#include "expr/dr_map_expr.h"

class dr_value_reader_c {
  public:
    explicit dr_value_reader_c(dr_position_c& position) : position_(position) {}

    // The text of the leaf that the tag path leads to ("": the leaf on top), valid until the next
    // read. 0, or DREND_ERR with `out` untouched.
    int read(std::string_view path, std::string_view& out);
    // The same with a copy of the text.
    int get_text(std::string_view path, dr_str_buf_c& out);
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
    dr_meta_node_c* visitable_leaf(const drend_tag_c& tag) const;
    int read_leaf(dr_meta_context_c* context, const drend_tag_c& tag,
                  std::string_view& out);
    int eval_terms(const std::vector<dr_map_term_s>& terms, std::string& out);
    int append_raw(const char* path, std::string& out);

    dr_position_c& position_;
    dr_value_c value_; // of the last read; keeps its memory
    dr_value_c::scratch_t scratch_;
};
