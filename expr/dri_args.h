// SPDX-License-Identifier: BSD-2-Clause

// The argument text of a request: names, with or without values.
//
//     filter='a b' as-json, x=1     (filter, 'a b' with its quotes) (as-json, empty) (x, 1)
//
// White space and commas separate; in a quoted value they do not, and the value keeps its quotes,
// while a backslash before a quote in it goes. A name may begin with a quoted text, to which what
// follows directly is added, "=" too: 'a'=b is the name a=b, and 'a' alone is nothing. A quote
// inside a name and one that is never closed are errors.
//
// No state; safe from any thread.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/dr_str_buf.h"

struct dr_argument_s {
    std::string name;
    std::string value; // with its quotes
};

// What is wrong with an argument text.
struct dr_args_fault_s {
    const char* what; // null: nothing
    const char* at;   // in the text
    bool is_error;    // otherwise what is there was dropped, and the rest was read
};

// Reads all arguments in one pass. What was read before an error is in `out` in any case. Of what
// is wrong the error is told, or else what was dropped first.
dr_args_fault_s dri_read_args(const char* text, std::vector<dr_argument_s>& out);
// The first argument of that name, or null.
const dr_argument_s* dri_find_arg(const std::vector<dr_argument_s>& args,
                                  std::string_view name);

using dr_args_t = std::vector<std::pair<dr_str_buf_c, dr_str_buf_c>>;

// Replaces `out` by the (name, value) pairs in their order. Their number, or -1 after an error;
// the pairs before it are in `out` then.
int dri_args_parse(const char* text, dr_args_t& out);

// The value of the first argument of that name, as far as the text is free of errors. 1, or 0 with
// `value` as it was. `text` may be null.
int dri_args_find(const char* text, const char* name, dr_str_buf_c& value);

// The same among parsed arguments.
int dri_args_field_value(const dr_args_t& pairs, const char* name, dr_str_buf_c& value);
