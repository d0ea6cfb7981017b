// SPDX-License-Identifier: BSD-2-Clause

// Basic regular expressions from filters, which anybody may have written.
//
// The C library compiles and runs them, but it takes exponential time or gigabytes for some short
// patterns, and its search starts anew at every byte of the text. Therefore
//
//  1. a pattern is measured before it is compiled. It matches nothing when it is longer than
//     1,024 bytes, holds a back-reference or has more than 1,024 characters once its intervals are
//     written out; nor does one that does not compile. One ^ in front and one $ at the end (of a
//     pattern without alternatives outside parentheses) are free; with other anchors it is 128
//     characters, 16 anchors and no repeated group;
//  2. a search is a single match of ".*" and the pattern, from the first byte on, and once more
//     from behind each byte that is no character of the locale, which no "." passes. A text is
//     searched up to the first such byte when their number times its length is more than 1 MiB;
//  3. compiled patterns belong to the expressions that use them, one to each call of match(). They
//     keep every state that a text took them through; when all of them together are estimated at
//     64 MiB they are forgotten, and compiled again when needed. A text for which that would not
//     suffice (20 KiB and more, when the pattern is longer than a word) is not matched.
//
// Safe from any thread.
#pragma once

#include <string_view>

// The place in an expression that a pattern is compiled for. It keeps the last one.
class dr_xp_pattern_c {
  public:
    dr_xp_pattern_c() = default;
    ~dr_xp_pattern_c();
    dr_xp_pattern_c(const dr_xp_pattern_c&) = delete;
    dr_xp_pattern_c& operator=(const dr_xp_pattern_c&) = delete;

    // Whether the POSIX basic regular expression matches somewhere in the text.
    bool match(std::string_view pattern, std::string_view text) const;
};

// What compiling a pattern takes at most, in no unit: the square of its size, or sixteen times that
// when what is repeated holds repetitions. 0 for one that matches nothing.
size_t dri_pattern_work(std::string_view pattern);

// Forgets the compiled patterns of every place.
void dri_forget_patterns();
