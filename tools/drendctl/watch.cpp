// SPDX-License-Identifier: BSD-2-Clause

#include "watch.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <ctime>
#include <utility>

#include <poll.h>

#include "interrupts.h"
#include "progress.h"

namespace {

constexpr std::string_view BLANKS = " \t";

std::string_view take_word(std::string_view& text) {
    const std::string_view word = text.substr(0, text.find_first_of(BLANKS));
    text.remove_prefix(word.size());
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    return word;
}

std::string time_of_day() {
    const std::time_t now = std::time(nullptr);
    std::tm local = {};
    char text[16];
    const bool is_known = localtime_r(&now, &local) != nullptr;
    return std::string(text,
                       is_known ? strftime(text, sizeof text, "%H:%M:%S", &local) : 0);
}

} // namespace

std::optional<double> read_watch_seconds(std::string_view text) {
    double seconds = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool is_interval = read.ec == std::errc() &&
                             read.ptr == text.data() + text.size() &&
                             seconds >= WATCH_SECONDS_MIN && seconds <= WATCH_SECONDS_MAX;
    return is_interval ? std::optional(seconds) : std::nullopt;
}

std::optional<watch_line_s> read_watch_line(std::string_view line) {
    watch_line_s watch;
    const std::string_view word = take_word(line);
    if (word != "watch" || line.data() == word.data() + word.size()) {
        return std::nullopt; // or not yet
    }
    std::string_view behind = line;
    const std::string_view number = take_word(behind);
    const std::optional<double> seconds = read_watch_seconds(number);
    if (seconds && number.size() < line.size()) {
        watch.seconds = *seconds;
        line = behind;
    }
    watch.request = line;
    return watch;
}

watch_c::watch_c(session_c& session, answer_output_c& output, std::string words,
                 std::string request, double seconds)
    : session_(session), output_(output), words_(std::move(words)),
      request_(std::move(request)), seconds_(seconds),
      is_on_screen_(output.is_terminal() && screen_c::is_possible()),
      changes_(is_on_screen_) {}

outcome_s watch_c::run() {
    const auto interval = std::chrono::duration_cast<clock_t::duration>(
        std::chrono::duration<double>(seconds_));
    for (bool is_first = true;; is_first = false) {
        const clock_t::time_point asked = clock_t::now();
        watched_frame_c frame(is_on_screen_ ? screen_c::rows()
                                            : watched_frame_c::LINES_MAX);
        outcome_s outcome = ask(frame);
        const bool is_answer =
            outcome.what == outcome_e::answered || outcome.what == outcome_e::nothing;
        if (outcome.what == outcome_e::interrupted) {
            return {outcome_e::interrupted, ""};
        }
        if (!is_answer && (is_first || !is_on_screen_)) {
            return outcome;
        }
        if (is_answer) {
            const bool is_cut = frame.is_cut() || !outcome.cursor.empty();
            shown_ = changes_.next(frame.take_lines(), is_cut, asked);
            const std::string rows = outcome.rows ? rows_text(*outcome.rows) : "";
            shown_.insert(shown_.begin(),
                          {heading(is_cut ? rows + ", and more" : rows), ""});
        } else if (!shown_.empty()) {
            shown_[0] = heading(escaped_controls(outcome.error));
        }
        if (!show()) {
            return unwritten(output_);
        }
        if (!wait(asked + interval)) {
            return {outcome_e::interrupted, ""};
        }
    }
}

// An answer that needs to be no longer is one, although its rest is not taken.
outcome_s watch_c::ask(watched_frame_c& frame) const {
    outcome_s outcome =
        session_.ask(request_, [&frame](std::string_view part) { return frame.add(part); });
    frame.finish();
    if (outcome.what == outcome_e::not_wanted && frame.is_cut()) {
        outcome.what = outcome_e::answered;
    }
    return outcome;
}

std::string watch_c::heading(const std::string& what) const {
    char interval[32];
    snprintf(interval, sizeof interval, "  every %g s  ", seconds_);
    return escaped_controls(words_) + interval + time_of_day() +
           (what.empty() ? "" : "  " + what);
}

bool watch_c::show() {
    if (!is_on_screen_) {
        return show_as_text();
    }
    if (!screen_) {
        screen_.emplace();
    }
    return screen_->show(shown_);
}

bool watch_c::show_as_text() {
    output_.begin(true, false);
    bool is_shown = true;
    for (const std::string& line : shown_) {
        is_shown = is_shown && output_.write(line + "\n");
    }
    return output_.write("\n") && output_.finish() && is_shown;
}

// False after an interrupt.
bool watch_c::wait(clock_t::time_point until) {
    int left = 0;
    while (interrupt_count() == 0 && (left = milliseconds_until(until)) != 0) {
        pollfd signal = {interrupt_fd(), POLLIN, 0};
        if (poll(&signal, 1, left) > 0) {
            drain_interrupt_fd();
        }
        if (take_terminal_change() && screen_ && interrupt_count() == 0) {
            screen_->show(shown_);
        }
    }
    return interrupt_count() == 0;
}
