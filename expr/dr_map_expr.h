// SPDX-License-Identifier: BSD-2-Clause

// Value-map expressions: what a definition maps a value to when the text begins with "=".
//
//     ='up since '+val('uptime')
//
// is the sum of terms, each a literal or the raw value of the leaf at a path. Parsing knows
// nothing of the data; whoever walks it evaluates the terms.
//
// No state; safe from any thread.
#pragma once

#include <string>
#include <vector>

struct dr_map_term_s {
    bool is_val;      // the value of a leaf, not a literal
    std::string text; // the leaf's path, or the literal's text
};

// Parses an expression; its first token must be "=". 0 with the terms, of which there is at least
// one, or -1 with `terms` as it was. The expression ends at the first token after a term that is
// not "+", whatever follows.
int dri_map_expr_parse(const char* text, std::vector<dr_map_term_s>& terms);
