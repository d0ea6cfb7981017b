// SPDX-License-Identifier: BSD-2-Clause

#include "answer_output.h"

#include <algorithm>
#include <utility>

#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include "interrupts.h"

bool answer_output_c::write(std::string_view text) {
    if (text.empty() || error_ != 0) {
        return error_ == 0;
    }
    last_ = text.back();
    if (!is_terminal_ && !has_colours_) {
        return write_all(text);
    }
    std::string safe;
    escaper_.add(text, safe);
    std::string bytes;
    shown(safe, bytes);
    return write_all(bytes);
}

void answer_output_c::shown(std::string_view text, std::string& out) {
    if (has_colours_) {
        highlighter_.add(text, out);
    } else {
        out += text;
    }
}

bool answer_output_c::finish() {
    std::string safe;
    escaper_.finish(safe);
    std::string bytes;
    shown(safe, bytes);
    highlighter_.finish(bytes);
    if (is_terminal_ && last_ != '\n') {
        bytes += '\n';
    }
    write_last(bytes);
    last_ = '\n';
    highlighter_ = highlighter_c();
    return std::exchange(is_whole_, true);
}

// After an interrupt what is not taken at once is dropped: the terminal takes it.
void answer_output_c::write_last(std::string_view bytes) {
    pollfd room = {fd_, POLLOUT, 0};
    if (interrupt_count() == 0) {
        write_all(bytes);
    } else if (!bytes.empty() && poll(&room, 1, 0) == 1) {
        [[maybe_unused]] const ssize_t written = ::write(fd_, bytes.data(), bytes.size());
    }
}

// A pipe that has room takes PIPE_BUF bytes without making the writer wait.
bool answer_output_c::write_all(std::string_view bytes) {
    while (!bytes.empty() && error_ == 0 && interrupt_count() == 0) {
        pollfd waits[] = {{fd_, POLLOUT, 0}, {interrupt_fd(), POLLIN, 0}};
        if (poll(waits, 2, -1) < 0) {
            continue;
        }
        if (waits[1].revents != 0) {
            drain_interrupt_fd();
            continue;
        }
        const ssize_t written =
            ::write(fd_, bytes.data(), std::min<std::size_t>(bytes.size(), PIPE_BUF));
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR && errno != EAGAIN) {
            error_ = errno;
        }
    }
    is_whole_ = is_whole_ && bytes.empty();
    return error_ == 0;
}
