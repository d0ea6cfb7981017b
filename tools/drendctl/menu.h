// The daemon's answers to questions: which entries of its menu could come next.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "session.h"

struct menu_entry_s {
    std::string way; // all the words that lead to it
    std::string help;
};

// The entries of an answer: lines of a way, a tab and help. Lines without a tab have no help.
std::vector<menu_entry_s> menu_entries(std::string_view answer);

// One line for each, the help in a column of its own.
std::string menu_text(const std::vector<menu_entry_s>& entries);

// The last words of the ways, each once, sorted: what can be typed in place of the "?".
std::vector<std::string> menu_words(const std::vector<menu_entry_s>& entries);

// What all the words begin with.
std::string common_beginning(const std::vector<std::string>& words);

// Asks `words`, up to where the next one is typed or begun, with "?" behind it.
outcome_s ask_menu(session_c& session, const std::string& words,
                   std::chrono::milliseconds timeout, std::vector<menu_entry_s>& entries);
