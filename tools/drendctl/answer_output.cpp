// SPDX-License-Identifier: BSD-2-Clause

#include "answer_output.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <limits.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "interrupts.h"

void answer_output_c::begin(bool is_table, bool may_be_paged) {
    is_table_ = is_table;
    is_holding_ = has_pager_ && may_be_paged;
    was_left_ = false;
    escaper_ = control_escaper_c(is_table);
}

bool answer_output_c::write(std::string_view text) {
    if (text.empty() || error_ != 0) {
        return error_ == 0;
    }
    last_ = text.back();
    if (!is_terminal_ && !has_colours_) {
        return pass_on(text);
    }
    std::string safe;
    escaper_.add(text, safe);
    std::string bytes;
    shown(safe, bytes);
    return pass_on(bytes);
}

bool answer_output_c::pass_on(std::string_view bytes) {
    return is_holding_ ? hold(bytes) : write_all(bytes);
}

// Holds what may still fit on the screen. What does not goes to the pager, with all that follows.
bool answer_output_c::hold(std::string_view bytes) {
    held_ += bytes;
    winsize screen = {};
    const bool has_size = ioctl(fd_, TIOCGWINSZ, &screen) == 0 && screen.ws_row > 1;
    const auto lines = std::count(held_.begin(), held_.end(), '\n');
    const std::size_t screenful = std::size_t{screen.ws_row} * screen.ws_col;
    if (has_size && lines < screen.ws_row && held_.size() < 4 * screenful) {
        return true;
    }
    if (has_size) {
        pager_.start(fd_);
    }
    show_held();
    return error_ == 0;
}

void answer_output_c::show_held() {
    if (!held_.empty()) {
        is_holding_ = false;
        write_all(std::exchange(held_, {}));
    }
}

void answer_output_c::shown(std::string_view text, std::string& out) {
    if (has_colours_ && !is_table_) {
        highlighter_.add(text, out);
    } else {
        out += text;
    }
}

bool answer_output_c::finish() {
    show_held();
    std::string safe;
    escaper_.finish(safe);
    std::string bytes;
    shown(safe, bytes);
    highlighter_.finish(bytes);
    if (is_terminal_ && last_ != '\n') {
        bytes += '\n';
    }
    write_last(bytes);
    was_left_ = pager_.is_running() && error_ == EPIPE;
    pager_.finish();
    if (was_left_) {
        error_ = 0;
        is_whole_ = true;
    }
    last_ = '\n';
    highlighter_ = highlighter_c();
    return std::exchange(is_whole_, true);
}

// After an interrupt what is not taken at once is dropped: the terminal takes it.
void answer_output_c::write_last(std::string_view bytes) {
    const int fd = target();
    pollfd room = {fd, POLLOUT, 0};
    if (interrupt_count() == 0) {
        write_all(bytes);
    } else if (!bytes.empty() && poll(&room, 1, 0) == 1) {
        [[maybe_unused]] const ssize_t written = ::write(fd, bytes.data(), bytes.size());
    }
}

// A pipe that has room takes PIPE_BUF bytes without making the writer wait.
bool answer_output_c::write_all(std::string_view bytes) {
    while (!bytes.empty() && error_ == 0 && interrupt_count() == 0) {
        pollfd waits[] = {{target(), POLLOUT, 0}, {interrupt_fd(), POLLIN, 0}};
        if (poll(waits, 2, -1) < 0) {
            continue;
        }
        if (waits[1].revents != 0) {
            drain_interrupt_fd();
            continue;
        }
        const ssize_t written =
            ::write(target(), bytes.data(), std::min<std::size_t>(bytes.size(), PIPE_BUF));
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            error_ = errno;
        }
    }
    is_whole_ = is_whole_ && bytes.empty();
    return error_ == 0;
}

outcome_s unwritten(const answer_output_c& output) {
    return output.error() == 0 || output.has_lost_reader()
               ? outcome_s{outcome_e::not_wanted, ""}
               : outcome_s{outcome_e::lost,
                           std::string("cannot write: ") + strerror(output.error())};
}
