// SPDX-License-Identifier: BSD-2-Clause

// What has become of an answer since the one before: its lines as they are shown, with what has
// changed marked.
//
//       name  state   octets  octets/s
//       p1    up*       2048     512.0      a value that has changed
//     + p2    up           0         -      a row that came
//     - p3    down        17         -      one that went: shown once more
//
// On a terminal changed values are in reverse and what went is faint; elsewhere a value has a "*".
// Rates are those of counters that have not gone back, over the time between the answers.
//
// Where an answer is only the beginning of what there is, what comes into it or leaves it at its
// end is not marked.
#pragma once

#include <chrono>
#include <string>
#include <unordered_map>
#include <vector>

#include "watched_frame.h"

class watched_changes_c {
  public:
    using time_point_t = std::chrono::steady_clock::time_point;

    explicit watched_changes_c(bool is_terminal) : is_terminal_(is_terminal) {}

    // The lines of the next answer, asked for at `time`. `is_cut`: there is more of it.
    using lines_t = std::vector<watched_line_s>;
    std::vector<std::string> next(lines_t lines, bool is_cut, time_point_t time);

  private:
    // The lines that went, by the identity of the line that they stood behind; empty: of none.
    using gone_t = std::unordered_map<std::string, std::vector<const watched_line_s*>>;

    std::vector<std::string> shown_lines(const lines_t& lines, bool is_cut) const;
    const watched_line_s* before(const watched_line_s& line) const;
    gone_t gone(const lines_t& lines, bool is_cut) const;
    std::size_t came_until(const lines_t& lines) const;
    void add_gone(const gone_t& gone, const std::string& behind,
                  std::vector<std::string>& picture) const;
    std::string shown(const watched_line_s& line, const watched_line_s* old) const;
    std::string marked(const watched_field_s& field, bool gives_way) const;
    std::string rate_of(const watched_field_s& counter, const watched_field_s* last) const;

    const bool is_terminal_;
    bool is_first_ = true;
    bool was_cut_ = false;
    double seconds_ = 0; // between the last two
    time_point_t time_;
    lines_t last_;
    std::unordered_map<std::string, std::size_t> by_identity_; // in those lines
};
