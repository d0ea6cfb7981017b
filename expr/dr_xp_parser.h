// The parser of expressions and of paths with predicates.
//
//     path        step { "/" step }                  a leading "/" makes an empty first step
//     step        name { "[" expression "]" }
//     expression  operand { operator operand }       "and", "or", "<", "=", ">": all of one
//                                                    precedence, from left to right
//     operand     "(" expression ")" | literal | word [ "(" arguments ")" ]
//     arguments   expressions, with or without commas between them
//
// What nests deeper than XP_MAX_NESTING does not parse. Operators count, too: each one encloses
// everything to its left. Time and memory are proportional to the text.
//
// Parsed paths are kept in a cache of at most 1,024 entries and 128 KiB of text, which is emptied
// when it is full; texts of more than 4 KiB are parsed each time. It has no lock: paths are parsed
// on the daemon's thread only. A parsed path itself never changes and may be read anywhere.
#pragma once

#include <memory>
#include <vector>

#include "expr/xp_node.h"

// One predicate of a path and what a walk asks about it again and again.
struct dr_xp_predicate_s {
    const xp_node_c* node; // the root of its tree
    bool calls_local_name; // the function local_name is called somewhere in it
    bool holds_bare_word;  // some name in it has to be looked up
};

class dr_xpath_c {
  public:
    explicit dr_xpath_c(std::vector<xp_node_c> steps);
    dr_xpath_c(const dr_xpath_c&) = delete;
    dr_xpath_c& operator=(const dr_xpath_c&) = delete;

    // At least one, possibly with an empty name.
    const std::vector<xp_node_c>& steps() const { return steps_; }
    // The predicates of all steps, in the order in which they were written.
    const std::vector<dr_xp_predicate_s>& predicates() const { return predicates_; }

  private:
    void add_predicate(const xp_node_c& root);

    const std::vector<xp_node_c> steps_;
    std::vector<dr_xp_predicate_s> predicates_;
};

// The parsed path, shared with the cache; null when it does not parse. A literal that is never
// closed ends the path there, unless it lies in a predicate.
std::shared_ptr<const dr_xpath_c> dri_xpath_get(const char* text);

// The same, as a copy. 0, or -1 with `steps` as it was.
int dri_xpath_parse(const char* text, std::vector<xp_node_c>& steps);

// Parses the expression at `cursor` and leaves the cursor behind it. 0 with the tree in `node`,
// whose text stays, or -1 with `node` as it was and the cursor somewhere in the expression.
int dri_xp_parse_expr(const char*& cursor, xp_node_c& node);

// Empties the cache.
void dri_forget_paths();
