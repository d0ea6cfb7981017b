// SPDX-License-Identifier: BSD-2-Clause

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
// everything to its left. Time and memory are proportional to the text, and bounded: whoever parses
// several paths that belong together counts them together, and parsing stops where they hold too
// much.
//
// Parsed paths are kept in a cache of at most 192 KiB, nodes included (dr_text_cache_c). It has no
// lock: paths are parsed on the daemon's thread only. A parsed path itself never changes and may be
// read anywhere.
#pragma once

#include <memory>
#include <vector>

#include "expr/xp_node.h"

inline constexpr size_t XP_NODES_MAX = 4096;
inline constexpr size_t XP_PATTERNS_MAX = 256;
inline constexpr size_t XP_KEPT_MEMORY = size_t{192} * 1024;
// As much as one pattern of 1,024 characters.
inline constexpr size_t XP_PATTERN_WORK_MAX = size_t{1024} * 1024;

// How much paths hold.
struct dr_xp_size_s {
    size_t nodes = 0;        // of trees, and steps
    size_t patterns = 0;     // calls of match()
    size_t pattern_work = 0; // see dri_pattern_work; of patterns that are literals

    bool is_too_much() const {
        return nodes > XP_NODES_MAX || patterns > XP_PATTERNS_MAX ||
               pattern_work > XP_PATTERN_WORK_MAX;
    }
    void add(const dr_xp_size_s& other) {
        nodes += other.nodes;
        patterns += other.patterns;
        pattern_work += other.pattern_work;
    }
};

// One predicate of a path and what a walk asks about it again and again.
struct dr_xp_predicate_s {
    const xp_node_c* node; // the root of its tree
    bool calls_local_name; // the function local_name is called somewhere in it
    bool holds_bare_word;  // some name in it has to be looked up
};

class dr_xpath_c {
  public:
    dr_xpath_c(std::vector<xp_node_c> steps, const dr_xp_size_s& size);
    dr_xpath_c(const dr_xpath_c&) = delete;
    dr_xpath_c& operator=(const dr_xpath_c&) = delete;

    // At least one, possibly with an empty name.
    const std::vector<xp_node_c>& steps() const { return steps_; }
    // The predicates of all steps, in the order in which they were written.
    const std::vector<dr_xp_predicate_s>& predicates() const { return predicates_; }
    const dr_xp_size_s& size() const { return size_; }
    // The number of bare words in them, function names excluded: what slots are numbered from.
    unsigned words() const { return words_; }
    // In bytes, about, with everything below it.
    size_t memory() const;

  private:
    void add_predicate(xp_node_c& root);

    std::vector<xp_node_c> steps_;
    const dr_xp_size_s size_;
    std::vector<dr_xp_predicate_s> predicates_;
    unsigned words_ = 0;
};

// The parsed path; null when it does not parse or is too much together with what was counted
// `so_far`, to which it is added. A literal that is never closed ends the path there, unless it
// lies in a predicate.
std::shared_ptr<const dr_xpath_c> dri_xpath_make(const char* text, dr_xp_size_s& so_far);

// The same for a path that is counted alone, shared with the cache.
std::shared_ptr<const dr_xpath_c> dri_xpath_get(const char* text);

// The same, as a copy. 0, or -1 with `steps` as it was.
int dri_xpath_parse(const char* text, std::vector<xp_node_c>& steps);

// Parses the expression at `cursor`, counted alone, and leaves the cursor behind it. 0 with the
// tree in `node`, whose text stays, or -1 with `node` as it was and the cursor at the token that
// does not fit.
int dri_xp_parse_expr(const char*& cursor, xp_node_c& node);

// Empties the cache.
void dri_forget_paths();
// How often that was done: what was made of parsed paths is to be forgotten with them.
unsigned dri_times_paths_forgotten();
