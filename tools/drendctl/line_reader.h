// SPDX-License-Identifier: BSD-2-Clause

// The lines of a file descriptor, for requests that are written one to a line.
#pragma once

#include <string>

class line_reader_c {
  public:
    explicit line_reader_c(int fd) : fd_(fd) {}

    // Reads the next line, without its line feed. Of a line that is longer than a request may
    // be only a part is kept, which is longer as well. False at the end, after an interrupt and
    // when reading fails.
    bool next(std::string& line);
    // The number of the line that was read last, from 1.
    unsigned long number() const { return number_; }
    // errno of the read that failed, or 0.
    int error() const { return error_; }

  private:
    bool fill();

    const int fd_;
    unsigned long number_ = 0;
    int error_ = 0;
    std::string unread_;
};
