// SPDX-License-Identifier: BSD-2-Clause

// One answer of a request that is asked again and again: its lines, and which line and cell is the
// same as which of another such answer.
//
//     US t ports                          a title
//         US h name  US h octets          the headings
//         US k p1    US c 17    US r -    a row: its key, a counter, room for the counter's rate
//     US n host:  US v r1                 a name and its value
//
// Tables with fields (docs/output-forms.md) say where cells begin. A line's identity is what it is
// in: titles, and rows that it is indented below, by their keys; and its own keys or name. Rows
// without keys are known by their place. Of any other text the lines have no identity.
//
// Everything in it is safe for a terminal, the colours of tables included. Bounded: of an answer
// with more lines it keeps the first ones.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

struct watched_field_s {
    char kind = 'v';   // as in the table; 0: a line's beginning, or text
    std::string text;  // as it is shown, with blanks and colours
    std::string name;  // of a value: its heading or name
    std::string value; // its text alone
    bool is_cell() const { return kind == 'v' || kind == 'c'; }
};

struct watched_line_s {
    std::string identity; // empty: none
    std::vector<watched_field_s> fields;
    bool is_heading = false; // a title or headings

    // Whether it can be told from other lines: a row, or a name and its value.
    bool is_known() const { return !identity.empty() && !is_heading; }
    bool is_pair() const { return fields.size() > 1 && fields[1].kind == 'n'; }
    // The value of that name; null when there is none.
    const watched_field_s* find(std::string_view name) const;
    std::string text() const;
};

class watched_frame_c {
  public:
    static constexpr std::size_t LINES_MAX = 10000;
    static constexpr std::size_t BYTES_MAX = 4 << 20;

    explicit watched_frame_c(std::size_t lines_max = LINES_MAX) : lines_max_(lines_max) {}

    // Takes a part of an answer. False when no more of it needs to come.
    bool add(std::string_view part);
    // The answer has ended.
    void finish();

    // Its lines, which it has no longer then.
    std::vector<watched_line_s> take_lines() { return std::move(lines_); }
    // Whether there was more than it keeps.
    bool is_cut() const { return is_cut_; }

  private:
    // What following lines are in, from the outside in.
    struct place_s {
        std::size_t
            level; // three to a column of indentation: keys of a section, title, row
        std::string text;
    };

    void take_line(std::string_view text);
    void identify(watched_line_s& line, std::size_t indent);
    void identify_pair(watched_line_s& line, std::size_t level);
    void name_cells(watched_line_s& line, std::size_t indent);
    void leave(std::size_t level);
    std::string way() const;

    const std::size_t lines_max_;
    std::size_t bytes_ = 0;
    bool is_cut_ = false;
    std::string begun_; // an unfinished line
    std::vector<watched_line_s> lines_;
    std::vector<place_s> places_;
    bool is_in_keys_ = false; // the line before was a key of a section
    std::unordered_map<std::size_t, std::vector<std::string>> headings_; // by indentation
    std::unordered_map<std::string, unsigned> times_;                    // identities
};
