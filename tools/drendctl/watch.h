// SPDX-License-Identifier: BSD-2-Clause

// A request that is asked again and again, its answer shown with what has changed since the last
// one: on a terminal as a picture that is drawn anew, elsewhere as one answer after the other.
//
// An interrupt ends it. On a terminal a daemon that goes away is waited for; elsewhere that ends
// it.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "answer_output.h"
#include "screen.h"
#include "session.h"
#include "watched_changes.h"

constexpr double WATCH_SECONDS = 2; // between two answers, unless it is said
constexpr double WATCH_SECONDS_MIN = 0.1;
constexpr double WATCH_SECONDS_MAX = 86400;

// A line "watch [SECONDS] REQUEST" that somebody typed.
struct watch_line_s {
    double seconds = WATCH_SECONDS;
    std::string_view request;
};
// Nothing when it is no such line, of which blanks end each word but the last; a number that no
// interval can be is a part of the request.
std::optional<watch_line_s> read_watch_line(std::string_view line);
// An interval as it is written, or nothing.
std::optional<double> read_watch_seconds(std::string_view text);

class watch_c {
  public:
    // `words` are the request as somebody gave it, `request` what the daemon is asked.
    watch_c(session_c& session, answer_output_c& output, std::string words,
            std::string request, double seconds);

    // `interrupted`, or why it cannot go on.
    outcome_s run();

  private:
    using clock_t = std::chrono::steady_clock;

    outcome_s ask(watched_frame_c& frame) const;
    std::string heading(const std::string& what) const;
    bool show();
    bool show_as_text();
    bool wait(clock_t::time_point until);

    session_c& session_;
    answer_output_c& output_;
    const std::string words_;
    const std::string request_;
    const double seconds_;
    const bool is_on_screen_;
    std::optional<screen_c> screen_; // once there is something to show
    watched_changes_c changes_;
    std::vector<std::string> shown_; // the picture
};
