// SPDX-License-Identifier: BSD-2-Clause

#include "menu.h"

#include <algorithm>

#include "control_escaper.h"
#include "request_text.h"

namespace {

constexpr std::size_t ANSWER_MAX = 1 << 18; // of a menu
constexpr std::size_t COLUMN_MAX = 48;
constexpr std::string_view BLANKS = " \t";

std::vector<std::string_view> words_of(std::string_view text) {
    std::vector<std::string_view> words;
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find_first_of(BLANKS));
        text.remove_prefix(std::min(text.size(), word.size() + 1));
        if (!word.empty()) {
            words.push_back(word);
        }
    }
    return words;
}

// A line as it is typed: whole words, and one that is begun, which may be empty.
struct typed_s {
    explicit typed_s(std::string_view text)
        : begun(begun_word(text)),
          whole(words_of(text.substr(0, text.size() - begun.size()))) {}

    std::string_view begun;
    std::vector<std::string_view> whole;
};

// The word of `way` that goes on from `typed` if the word of `way` at `first` is the first one
// that is typed. Empty when it is not.
std::string_view word_from(const std::vector<std::string_view>& way, std::size_t first,
                           const typed_s& typed) {
    const std::size_t at = first + typed.whole.size();
    bool goes_on = at < way.size() && way[at].starts_with(typed.begun);
    for (std::size_t i = 0; goes_on && i < typed.whole.size(); ++i) {
        goes_on = way[first + i].starts_with(typed.whole[i]);
    }
    return goes_on ? way[at] : "";
}

// A first word may be one of a sub-menu: the menu's own is left out. To begin with, what is wanted
// is what can be run, the last word.
std::string_view next_word(const std::vector<std::string_view>& way, const typed_s& typed) {
    const bool is_first = typed.whole.empty() && !way.empty();
    const std::string_view word = word_from(way, is_first ? way.size() - 1 : 0, typed);
    return word.empty() ? word_from(way, is_first ? 0 : 1, typed) : word;
}

std::vector<std::string_view> columns_of(std::string_view line) {
    std::vector<std::string_view> columns;
    for (std::size_t tab = 0; tab != std::string_view::npos;) {
        tab = line.find('\t');
        columns.push_back(line.substr(0, tab));
        line.remove_prefix(
            std::min(line.size(), tab == std::string_view::npos ? 0 : tab + 1));
    }
    return columns;
}

bool is_given(std::string_view name, const typed_s& typed) {
    return std::any_of(typed.whole.begin(), typed.whole.end(), [&](std::string_view word) {
        return name.ends_with('=') ? word.starts_with(name) : word == name;
    });
}

// An argument of the command, NAME= or a word, or its values where its name is typed already.
void add_argument(const std::vector<std::string_view>& columns, const typed_s& typed,
                  std::vector<menu_entry_s>& entries) {
    const std::string name(columns[0]);
    if (name.empty() || is_given(name, typed)) {
        return;
    }
    if (name.ends_with('=') && typed.begun.starts_with(name)) {
        for (const std::string_view value : words_of(columns[3])) {
            const std::string word = name + std::string(value);
            if (word.starts_with(typed.begun)) {
                entries.push_back({word, "", word});
            }
        }
    } else if (name.starts_with(typed.begun)) {
        std::string help(columns[1]);
        const bool is_type =
            columns[2] != "value" && columns[2] != "form" && columns[2] != "empty";
        if (is_type) {
            help += (help.empty() ? "" : ", ") + std::string(columns[2]);
        }
        help += columns[3].empty() ? "" : ": " + std::string(columns[3]);
        entries.push_back({name, help, name});
    }
}

// In characters, as far as UTF-8 tells.
std::size_t width(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

} // namespace

std::vector<menu_entry_s> menu_entries(std::string_view answer, std::string_view typed) {
    const typed_s begun(typed);
    std::vector<menu_entry_s> entries;
    while (!answer.empty()) {
        const std::string_view line = answer.substr(0, answer.find('\n'));
        answer.remove_prefix(std::min(answer.size(), line.size() + 1));
        const std::size_t tab = line.find('\t');
        const std::vector<std::string_view> columns = columns_of(line);
        if (columns.size() == 4) {
            add_argument(columns, begun, entries);
            continue;
        }
        const std::string_view way = line.substr(0, tab);
        const std::string_view word = next_word(words_of(way), begun);
        if (!word.empty()) {
            const std::string_view help =
                tab == std::string_view::npos ? "" : line.substr(tab + 1);
            entries.push_back({std::string(way), std::string(help), std::string(word)});
        }
    }
    return entries;
}

std::string menu_text(const std::vector<menu_entry_s>& entries) {
    std::size_t column = 0;
    for (const menu_entry_s& entry : entries) {
        column = std::max(column, std::min(width(entry.way), COLUMN_MAX));
    }
    std::string text;
    for (const menu_entry_s& entry : entries) {
        text += entry.way;
        if (!entry.help.empty()) {
            const std::size_t used = width(entry.way);
            text.append(used < column ? column - used : 0, ' ');
            text += "  " + entry.help;
        }
        text += '\n';
    }
    return text;
}

std::string_view begun_word(std::string_view typed) {
    return typed.substr(typed.find_last_of(BLANKS) + 1); // npos + 1 is 0
}

std::vector<std::string> menu_words(const std::vector<menu_entry_s>& entries) {
    std::vector<std::string> words;
    for (const menu_entry_s& entry : entries) {
        if (entry.word == escaped_controls(entry.word)) {
            words.push_back(entry.word);
        }
    }
    std::sort(words.begin(), words.end());
    words.erase(std::unique(words.begin(), words.end()), words.end());
    return words;
}

std::string common_beginning(const std::vector<std::string>& words) {
    std::string common = words.empty() ? "" : words.front();
    for (const std::string& word : words) {
        const auto [end, other] =
            std::mismatch(common.begin(), common.end(), word.begin(), word.end());
        common.erase(end, common.end());
    }
    return common;
}

namespace {

// Of an answer no more than a menu may be long.
outcome_s ask_question(session_c& session, const std::string& question,
                       const patience_s& patience, std::string& answer) {
    const auto collect = [&answer](std::string_view part) {
        answer += part.substr(0, ANSWER_MAX + 1 - answer.size());
        return answer.size() <= ANSWER_MAX;
    };
    outcome_s outcome = session.ask(question, collect, patience);
    return answer.size() > ANSWER_MAX
               ? outcome_s{outcome_e::lost, "the menu is longer than " +
                                                std::to_string(ANSWER_MAX) + " bytes"}
               : outcome;
}

} // namespace

outcome_s ask_parameters(session_c& session, const std::string& request,
                         const patience_s& patience, std::string& lines) {
    outcome_s greeted = session.greet(patience);
    if (greeted.what != outcome_e::answered) {
        return greeted;
    }
    return session.protocol() == protocol_e::status
               ? ask_question(session, request + " ?", patience, lines)
               : outcome_s{outcome_e::nothing, ""};
}

outcome_s ask_menu(session_c& session, const std::string& typed,
                   patience_s::time_point_t deadline, std::vector<menu_entry_s>& entries) {
    // Only a first word is never taken for an argument: a later one could run the command.
    const std::size_t whole = typed.size() - begun_word(typed).size();
    const std::string question =
        typed.substr(0, whole == 0 ? std::string::npos : whole) + "?";
    const std::string fault = request_fault(question);
    if (!fault.empty()) {
        return {outcome_e::usage, fault};
    }
    std::string answer;
    outcome_s outcome = ask_question(session, question, {{}, deadline}, answer);
    if (outcome.what != outcome_e::lost) {
        entries = menu_entries(answer, typed);
    }
    return outcome;
}
