// SPDX-License-Identifier: BSD-2-Clause

// The evaluator: computes every node of a tree as text, and finds what a tree says about keys.
//
// Truth is "true" or "false". An operand of "and" and "or" is false when it is "false", "0" or
// empty; a whole expression when it is "false" or empty, so that a lone 0 holds. "<" and ">"
// compare 32-bit numbers, saturated, 0 for what is none; "=" compares texts byte for byte. Both
// operands are always evaluated. Unknown names and functions give the empty text, but a number that
// is nobody's name stands for itself.
//
// A tree that the parser made needs at most 200 KiB of stack (optimised or not, but for
// sanitizers), besides what the lookup and the C library's regular expressions take. Safe from any
// thread with a lookup of its own.
#pragma once

#include <map>
#include <string>

#include "expr/drend_value_lookup.h"
#include "expr/xp_node.h"

// Evaluates a tree; further predicates of a step are trees of their own. 1 with "true" in `result`,
// or 0 with "false".
int dri_eval_expr(const xp_node_c& node, drend_value_lookup_c& lookup,
                  dr_str_buf_c& result);

// The same without the text: whether it is "true".
bool dri_holds(const xp_node_c& node, drend_value_lookup_c& lookup);

// Collects the equalities, a name on the left and a literal on the right, that hold whenever the
// tree does, so that a list procedure can seek by them: only those that stand alone or are joined
// by "and", and never one with the empty text. `out` gets the literal under the daemon's name for
// the name; a later equality replaces an earlier one, what else is in the map stays.
void dri_gather_filter_expr(const xp_node_c& node, drend_value_lookup_c& lookup,
                            std::map<std::string, std::string>& out);
