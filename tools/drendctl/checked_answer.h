// SPDX-License-Identifier: BSD-2-Clause

// The answer to "check" as somebody wants it who mends the definitions: below each finding
// (FILE:LINE:COLUMN: error: SENTENCE) the line of the file, and a caret below the place.
//
// Takes the answer in pieces as it arrives and holds back no more than an unfinished line. The
// files are the daemon's; one that cannot be read here, or is none, is not shown. Neither is
// anything in the findings as JSON, which programs read.
#pragma once

#include <string>
#include <string_view>

#include "session.h"

// Whether a request is for the command "check", spelled out.
bool is_check(std::string_view request);

class checked_answer_c {
  public:
    // `text` takes what is to be printed.
    explicit checked_answer_c(session_c::text_fn text) : text_(std::move(text)) {}

    // False when no more is wanted.
    bool add(std::string_view part);
    // The end of the answer.
    void finish();

    // Whether there was an error among the findings.
    bool has_errors() const { return has_errors_; }

  private:
    bool take_line(std::string_view line);
    std::string source_of(std::string_view line);
    const std::string& text_of(const std::string& path);

    const session_c::text_fn text_;
    std::string begun_; // an unfinished line
    bool has_errors_ = false;
    std::string path_; // of the file that was shown last
    std::string file_; // what it holds
};
