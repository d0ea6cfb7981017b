// SPDX-License-Identifier: BSD-2-Clause

// Fields keep the width that the daemon gave them: a mark takes the place of a blank, a rate has
// room that was left for it.

#include "watched_changes.h"

#include <charconv>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

namespace {

constexpr char UNCHANGED[] = "  ";
constexpr char CAME[] = "+ ";
constexpr char WENT[] = "- ";
constexpr char REVERSE[] = "\033[7m";
constexpr char FAINT[] = "\033[2m";
constexpr char BOLD[] = "\033[1m";
constexpr char PLAIN[] = "\033[0m";
constexpr char NO_RATE[] = "-";

std::optional<std::uint64_t> number_of(const std::string& text) {
    std::uint64_t number = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool is_number = read.ec == std::errc() && !text.empty();
    return is_number ? std::optional(number) : std::nullopt;
}

// On the right of the room that a field has for it.
std::string on_right(const std::string& text, std::size_t room) {
    return std::string(room > text.size() ? room - text.size() : 2, ' ') + text;
}

} // namespace

std::vector<std::string> watched_changes_c::next(lines_t lines, bool is_cut,
                                                 time_point_t time) {
    seconds_ = std::chrono::duration<double>(time - time_).count();
    std::vector<std::string> picture = shown_lines(lines, is_cut);
    is_first_ = false;
    was_cut_ = is_cut;
    time_ = time;
    last_ = std::move(lines);
    by_identity_.clear();
    for (std::size_t i = 0; i < last_.size(); ++i) {
        by_identity_.emplace(last_[i].identity, i);
    }
    return picture;
}

std::vector<std::string> watched_changes_c::shown_lines(const lines_t& lines,
                                                        bool is_cut) const {
    const gone_t gone_lines = gone(lines, is_cut);
    const std::size_t marked_until = came_until(lines);
    std::vector<std::string> picture;
    bool has_begun = false;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const watched_line_s& line = lines[i];
        if (line.is_known() && !std::exchange(has_begun, true)) {
            add_gone(gone_lines, "", picture);
        }
        const watched_line_s* old = before(line);
        const bool has_come = line.is_known() && old == nullptr && i < marked_until;
        picture.push_back((has_come ? CAME : UNCHANGED) + shown(line, old));
        if (line.is_known()) {
            add_gone(gone_lines, line.identity, picture);
        }
    }
    if (!has_begun) {
        add_gone(gone_lines, "", picture);
    }
    return picture;
}

const watched_line_s* watched_changes_c::before(const watched_line_s& line) const {
    const auto found =
        line.is_known() ? by_identity_.find(line.identity) : by_identity_.end();
    return found == by_identity_.end() ? nullptr : &last_[found->second];
}

watched_changes_c::gone_t watched_changes_c::gone(const lines_t& lines, bool is_cut) const {
    std::set<std::string_view> there;
    for (const watched_line_s& line : lines) {
        there.insert(line.identity);
    }
    gone_t gone_lines;
    std::string_view behind;
    for (const watched_line_s& line : last_) {
        if (!line.is_known()) {
            continue;
        }
        if (there.contains(line.identity)) {
            behind = line.identity;
        } else {
            gone_lines[std::string(behind)].push_back(&line);
        }
    }
    if (is_cut) {
        gone_lines.erase(std::string(behind)); // perhaps pushed out at the end
    }
    return gone_lines;
}

// Behind the last line that was there before everything may be new because there was no more then.
std::size_t watched_changes_c::came_until(const lines_t& lines) const {
    std::size_t until = is_first_ ? 0 : lines.size();
    while (was_cut_ && until > 0 && before(lines[until - 1]) == nullptr) {
        --until;
    }
    return until;
}

void watched_changes_c::add_gone(const gone_t& gone, const std::string& behind,
                                 std::vector<std::string>& picture) const {
    const auto found = gone.find(behind);
    if (found == gone.end()) {
        return;
    }
    for (const watched_line_s* line : found->second) {
        const std::string text = WENT + line->text();
        picture.push_back(is_terminal_ ? FAINT + text + PLAIN : text);
    }
}

std::string watched_changes_c::shown(const watched_line_s& line,
                                     const watched_line_s* old) const {
    if (line.is_heading && is_terminal_) {
        return BOLD + line.text() + PLAIN;
    }
    std::string text;
    std::string rate = NO_RATE; // of the counter that came last
    bool is_marked = false;     // a mark stands where the next field begins
    for (const watched_field_s& field : line.fields) {
        const watched_field_s* last = old == nullptr ? nullptr : old->find(field.name);
        if (field.kind == 'r') {
            text += on_right(rate, field.text.size() - (is_marked ? 1 : 0));
            is_marked = false;
            continue;
        }
        const bool has_changed =
            field.is_cell() && last != nullptr && last->value != field.value;
        const bool gives_way = is_marked && field.text.starts_with(' ');
        text +=
            has_changed ? marked(field, gives_way) : field.text.substr(gives_way ? 1 : 0);
        is_marked = has_changed && !is_terminal_;
        rate = field.kind == 'c' ? rate_of(field, last) : rate;
    }
    return line.is_pair() && rate != NO_RATE ? text + "  " + rate + "/s" : text;
}

// The value in reverse, or with a star behind it, and what is around it as it was.
std::string watched_changes_c::marked(const watched_field_s& field, bool gives_way) const {
    const std::size_t begin = field.text.find_first_not_of(' ');
    const std::size_t end = field.text.find_last_not_of(' ') + 1;
    const std::string before =
        field.text.substr(gives_way ? 1 : 0, begin - (gives_way ? 1 : 0));
    const std::string value = field.text.substr(begin, end - begin);
    return is_terminal_ ? before + REVERSE + value + PLAIN + field.text.substr(end)
                        : before + value + "*" + field.text.substr(end);
}

std::string watched_changes_c::rate_of(const watched_field_s& counter,
                                       const watched_field_s* last) const {
    const std::optional<std::uint64_t> now = number_of(counter.value);
    const std::optional<std::uint64_t> then =
        last == nullptr ? std::nullopt : number_of(last->value);
    if (!now || !then || *now < *then || seconds_ <= 0) {
        return NO_RATE;
    }
    const double rate = static_cast<double>(*now - *then) / seconds_;
    char text[32];
    snprintf(text, sizeof text, rate > 0 && rate < 100 ? "%.1f" : "%.0f", rate);
    return text;
}
