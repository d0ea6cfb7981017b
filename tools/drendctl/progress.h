// SPDX-License-Identifier: BSD-2-Clause

// The line that says how far a long answer is, for a terminal on which nothing else is written.
//
// It does not look at the clock itself. Thread rule: one at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

class progress_c {
  public:
    using time_point_t = std::chrono::steady_clock::time_point;
    static constexpr std::chrono::milliseconds FIRST{1000}; // before that nothing is shown
    static constexpr std::chrono::milliseconds INTERVAL{250}; // between two texts

    explicit progress_c(time_point_t start) : start_(start), next_(start + FIRST) {}

    // What is to be written now that `bytes` were received: the new text of the line, or nothing.
    std::string update(std::uint64_t bytes, time_point_t now);
    // When there is something to write next.
    time_point_t next() const { return next_; }
    // The end of what arrives: what becomes of the line, with a line end when `rows` are known;
    // else it is taken away. Nothing when there is none.
    std::string finish(std::uint64_t bytes, std::optional<std::uint64_t> rows,
                       time_point_t now);

  private:
    std::string seconds_text(time_point_t now) const;

    time_point_t start_;
    time_point_t next_;
    bool is_shown_ = false;
};

// "1 row", "12 rows".
std::string rows_text(std::uint64_t rows);

// "17 bytes", "1.5 kB", "20.0 MB": powers of 1000.
std::string size_text(double bytes);
