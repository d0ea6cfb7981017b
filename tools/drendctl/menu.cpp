#include "menu.h"

#include <algorithm>

#include "request_text.h"

namespace {

constexpr std::size_t ANSWER_MAX = 1 << 20; // of a menu; what is beyond is left out
constexpr std::size_t COLUMN_MAX = 48;

// In characters, as far as UTF-8 tells.
std::size_t width(std::string_view text) {
    return static_cast<std::size_t>(
        std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xc0) != 0x80; }));
}

} // namespace

std::vector<menu_entry_s> menu_entries(std::string_view answer) {
    std::vector<menu_entry_s> entries;
    while (!answer.empty()) {
        const std::string_view line = answer.substr(0, answer.find('\n'));
        answer.remove_prefix(std::min(answer.size(), line.size() + 1));
        const std::size_t tab = line.find('\t');
        if (!is_blank(line.substr(0, tab))) {
            entries.push_back({std::string(line.substr(0, tab)),
                               std::string(tab == line.npos ? "" : line.substr(tab + 1))});
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

std::vector<std::string> menu_words(const std::vector<menu_entry_s>& entries) {
    std::vector<std::string> words;
    for (const menu_entry_s& entry : entries) {
        words.push_back(entry.way.substr(entry.way.rfind(' ') + 1)); // npos + 1 is 0
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

outcome_s ask_menu(session_c& session, const std::string& words,
                   std::chrono::milliseconds timeout, std::vector<menu_entry_s>& entries) {
    const std::string question = words + "?";
    const std::string fault = request_fault(question);
    if (!fault.empty()) {
        return {outcome_e::usage, fault};
    }
    std::string answer;
    const auto collect = [&answer](std::string_view part) {
        answer += part.substr(0, ANSWER_MAX - answer.size());
        return true;
    };
    const outcome_s outcome = session.ask(question, collect, timeout);
    entries = menu_entries(answer);
    return outcome;
}
