// SPDX-License-Identifier: BSD-2-Clause

#include "connection.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include "interrupts.h"

namespace {

// Also after a signal, unless that was an interrupt.
bool connect_to(int fd, const sockaddr_un& address) {
    int status = 0;
    do {
        status = connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    } while (status != 0 && errno == EINTR && interrupt_count() == 0);
    return status == 0;
}

// How long connecting may take is a property of the socket; afterwards nothing waits on it.
void limit_waiting(int fd, const patience_s& patience) {
    const int most = milliseconds_until(patience.end(patience_s::steady_clock_t::now()));
    const int milliseconds = most < 0 ? 0 : std::max(most, 1); // 0 waits for ever
    timeval limit = {};
    limit.tv_sec = milliseconds / 1000;
    limit.tv_usec = milliseconds % 1000 * 1000L;
    // Without it connecting waits longer than it may, and that is all.
    (void)setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
}

bool stop_waiting(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

} // namespace

bool connection_c::open(const std::string& path, const patience_s& patience,
                        std::string& error) {
    close();
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        error = "no path of a socket: '" + path + "'";
        return false;
    }
    memcpy(address.sun_path, path.data(), path.size());
    fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd_ >= 0) {
        limit_waiting(fd_, patience);
    }
    if (fd_ < 0 || !connect_to(fd_, address) || !stop_waiting(fd_)) {
        error = "cannot connect to " + path + ": " +
                (errno == EAGAIN ? "timed out" : strerror(errno));
        close();
        return false;
    }
    return true;
}

void connection_c::close() {
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

connection_c::unread_e connection_c::unread() const {
    char byte = 0;
    const ssize_t size = recv(fd_, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    if (size > 0) {
        return unread_e::bytes;
    }
    return size < 0 && (errno == EAGAIN || errno == EINTR) ? unread_e::nothing
                                                           : unread_e::end;
}

bool connection_c::ends(patience_s::time_point_t deadline) {
    shutdown(fd_, SHUT_WR);
    int left = 0;
    while (unread() == unread_e::nothing && interrupt_count() == 0 &&
           (left = milliseconds_until(deadline)) != 0) {
        pollfd waits[] = {{fd_, POLLIN, 0}, {interrupt_fd(), POLLIN, 0}};
        if (poll(waits, 2, left) > 0 && waits[1].revents != 0) {
            drain_interrupt_fd();
        }
    }
    return unread() != unread_e::bytes;
}

bool connection_c::send(std::string& bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent < 0 && (errno == EAGAIN || errno == EINTR)) {
            return true;
        }
        if (sent < 0) {
            shutdown(fd_, SHUT_WR); // the daemon is not to wait for the rest
            return false;
        }
        bytes.erase(0, static_cast<std::size_t>(sent));
    }
    return true;
}

connection_c::read_e connection_c::read(std::string_view& bytes) {
    const ssize_t size = recv(fd_, buffer_, sizeof buffer_, 0);
    if (size > 0) {
        bytes = std::string_view(buffer_, static_cast<std::size_t>(size));
        return read_e::some;
    }
    const bool later = size < 0 && (errno == EAGAIN || errno == EINTR);
    return later ? read_e::nothing_yet : read_e::end;
}
