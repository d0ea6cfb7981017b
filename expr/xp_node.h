// SPDX-License-Identifier: BSD-2-Clause

// xp_node_c: one node of an expression tree, and also one step of a parsed path.
//
//     a[name = 'x']      step: text "a", type equal -+- left:  value, kind word,    "name"
//                                                    `- right: value, kind literal, "x"
//
//  1. A node owns its children, its arguments and, when it is a step, the predicates that follow
//     its first one; copies are deep.
//  2. The root of a predicate's tree has no text of its own, so a step is the root of its first
//     predicate's tree and keeps its name as text.
//  3. Trees that the parser made are at most XP_NODE_MAX_HEIGHT nodes high; whoever builds one by
//     hand keeps to that, because copying, printing, evaluating and freeing recurse.
//
// Not safe for concurrent changes of one tree; reading needs no lock.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "expr/dr_xp_pattern.h"
#include "expr/dr_xp_value.h"
#include "frame/dr_str_buf.h"

// What a node stands for. db_dump_expr prints the text beside it.
enum xp_node_type_e : int {
    XP_NODE_NONE = 0,    // "none:"   a step without a predicate
    XP_NODE_EXPR = 1,    // "expr:"   the left child alone
    XP_NODE_VALUE = 2,   // "value:"  a bare word or a literal
    XP_NODE_AND = 3,     // "and"
    XP_NODE_OR = 4,      // "or"
    XP_NODE_LESS = 5,    // "<"
    XP_NODE_GREATER = 6, // ">"
    XP_NODE_EQUAL = 7,   // "="
    XP_NODE_CALL = 8,    // "call:"   the function that the text names
};

class xp_node_c {
  public:
    xp_node_c() = default;
    xp_node_c(const xp_node_c& other);
    xp_node_c(xp_node_c&& other) noexcept = default;
    ~xp_node_c() = default;
    // The source may be a part of this node.
    xp_node_c& operator=(const xp_node_c& other);
    xp_node_c& operator=(xp_node_c&& other) noexcept;
    // A copy of `*other`; null resets.
    xp_node_c& operator=(const xp_node_c* other);

    // Makes the node what a new one is.
    void reset();

    // Makes a new node a value. There is no other way to make one.
    void set_value(int kind_, std::string text_);

    std::string text;        // a step's name, a value's text or a function's name
    int kind = 0;            // of a value: XP_TOKEN_WORD or XP_TOKEN_LITERAL
    int type = XP_NODE_NONE; // an xp_node_type_e
    dr_xp_number_s number;   // of a value: what its text is as a number
    unsigned slot = 0;       // of a bare word in a dr_xpath_c: its number there
    std::unique_ptr<xp_node_c> left;
    std::unique_ptr<xp_node_c> right;
    std::vector<std::unique_ptr<xp_node_c>> args; // of a call
    std::shared_ptr<const dr_xp_pattern_c>
        pattern; // of a call of match(), which copies share
    std::vector<std::unique_ptr<xp_node_c>> more_predicates; // of a step, in their order
};

// Parentheses, argument lists and operators that lie within one another, at most.
inline constexpr int XP_MAX_NESTING = 256;
// An argument list is two nodes high, its call and its expression.
inline constexpr int XP_NODE_MAX_HEIGHT = 2 * XP_MAX_NESTING + 2;

// Makes `out` the path as text, every operation in parentheses and every predicate in its own
// brackets. A quote inside a literal is printed as it is.
void dri_xpath_dump(const std::vector<xp_node_c>& steps, dr_str_buf_c& out);

// What a node holds outside itself: texts and everything below it; in bytes, about. A pattern
// counts as a place to compile one for: what is compiled is bounded by itself.
size_t dri_memory_below(const xp_node_c& node);

// Traces a tree, one node a line and two blanks for each level: type, text, and below them
// arguments and children.
void db_dump_expr(const xp_node_c& node);
