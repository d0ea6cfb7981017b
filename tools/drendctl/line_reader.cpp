// SPDX-License-Identifier: BSD-2-Clause

#include "line_reader.h"

#include <cerrno>

#include <poll.h>
#include <unistd.h>

#include "interrupts.h"
#include "request_text.h"

bool line_reader_c::next(std::string& line) {
    line.clear();
    bool has_line = false;
    while (!unread_.empty() || fill()) {
        const std::size_t end = unread_.find('\n');
        if (line.size() <= REQUEST_MAX) {
            line.append(unread_, 0, end);
        }
        has_line = true;
        unread_.erase(0, end == std::string::npos ? end : end + 1);
        if (end != std::string::npos) {
            break;
        }
    }
    number_ += has_line ? 1 : 0;
    return has_line && interrupt_count() == 0 && error_ == 0;
}

// Waits for more. False at the end, after an interrupt and when reading fails.
bool line_reader_c::fill() {
    char bytes[4096];
    while (interrupt_count() == 0) {
        pollfd waits[] = {{fd_, POLLIN, 0}, {interrupt_fd(), POLLIN, 0}};
        if (poll(waits, 2, -1) < 0) {
            continue;
        }
        if (waits[1].revents != 0) {
            drain_interrupt_fd();
            continue;
        }
        const ssize_t size = read(fd_, bytes, sizeof bytes);
        if (size >= 0) {
            unread_.assign(bytes, static_cast<std::size_t>(size));
            return size > 0;
        }
        if (errno != EINTR && errno != EAGAIN) {
            error_ = errno;
            return false;
        }
    }
    return false;
}
