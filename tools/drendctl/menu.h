// SPDX-License-Identifier: BSD-2-Clause

// The daemon's answers to questions: which entries of its menu could come next.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "session.h"

struct menu_entry_s {
    std::string way; // all the words that lead to it
    std::string help;
    std::string word; // the one of them that can stand where the "?" was asked
};

// The entries of an answer, lines of a way, a tab and help, that can go on from where `typed` ends:
// in the word that it ends with, or behind its last blank. Whatever the answer, the ways have the
// words of `typed`. Lines without a tab have no help. A line with four columns is an argument of
// the command that `typed` begins with (NAME= or a word, help, type, values): it is left out when
// `typed` has it already; behind "NAME=" its values can go on.
std::vector<menu_entry_s> menu_entries(std::string_view answer, std::string_view typed);

// One line for each, the help in a column of its own.
std::string menu_text(const std::vector<menu_entry_s>& entries);

// The last word of `typed`, empty behind a blank.
std::string_view begun_word(std::string_view typed);

// What can be typed in place of the "?", each word once, sorted: none with control characters.
std::vector<std::string> menu_words(const std::vector<menu_entry_s>& entries);

// What all the words begin with.
std::string common_beginning(const std::vector<std::string>& words);

// How long a menu is waited for: somebody is typing.
constexpr std::chrono::milliseconds MENU_PATIENCE{800};

// Asks which arguments the command of `request` takes; `lines` are none of a daemon that knows
// protocol 1 alone.
outcome_s ask_parameters(session_c& session, const std::string& request,
                         const patience_s& patience, std::string& lines);

// Asks what can stand where `typed` ends.
outcome_s ask_menu(session_c& session, const std::string& typed,
                   patience_s::time_point_t deadline, std::vector<menu_entry_s>& entries);
