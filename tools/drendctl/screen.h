// SPDX-License-Identifier: BSD-2-Clause

// The terminal as one picture that is drawn anew, on its second screen: what was there before is
// there again afterwards, also when a signal ends or stops the process.
//
// One at a time, on the standard output and, for what is typed meanwhile, the standard input.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

class screen_c {
  public:
    screen_c();
    ~screen_c();
    screen_c(const screen_c&) = delete;
    screen_c& operator=(const screen_c&) = delete;

    // Whether standard output is a terminal that can be drawn on.
    static bool is_possible();
    static std::size_t rows();

    // Draws as much of the lines as fits. They have no control characters but sequences ESC [ ...
    // m. False when it cannot be written.
    bool show(const std::vector<std::string>& lines);
};

// As much of a line as fits into so many columns, and all of its sequences.
std::string cropped(const std::string& line, std::size_t columns);
