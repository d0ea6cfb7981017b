// SPDX-License-Identifier: BSD-2-Clause

// A connection to the management socket: opened, written and read without waiting for more than the
// socket is ready for. Waiting is for whoever uses it, on fd().
//
// Owns its file descriptor; one thread at a time.
#pragma once

#include <string>
#include <string_view>

#include "patience.h"

class connection_c {
  public:
    connection_c() = default;
    ~connection_c() { close(); }
    connection_c(const connection_c&) = delete;
    connection_c& operator=(const connection_c&) = delete;

    // Connects to the socket at `path`. False, with a line in `error`, when nobody answers there.
    bool open(const std::string& path, const patience_s& patience, std::string& error);
    void close();

    bool is_open() const { return fd_ >= 0; }
    enum class unread_e { nothing, bytes, end };
    // What the next read would come by. An error is an end.
    unread_e unread() const;
    int fd() const { return fd_; }

    // Sends no more, and waits for the daemon to do the same, but not beyond `deadline` or an
    // interrupt. False when it sends a byte before that.
    bool ends(patience_s::time_point_t deadline);

    // Writes what the socket has room for and takes it from `bytes`. False when the daemon takes no
    // more, though it may still have something to say.
    bool send(std::string& bytes);

    enum class read_e { some, nothing_yet, end };
    // Reads what is there into `bytes`; it is valid until the next read.
    read_e read(std::string_view& bytes);

  private:
    int fd_ = -1;
    char buffer_[16384];
};
