// SPDX-License-Identifier: BSD-2-Clause

// A client of the management socket: one connection, blocking.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

class socket_client_c {
  public:
    static constexpr int PATIENCE_MS = 60000; // only a fault lasts so long
    // What an answer ends in that did not come to its own end.
    static constexpr char LOST[] = "<connection lost>";
    static constexpr char LATE[] = "<no answer>";
    static constexpr char MALFORMED[] = "<malformed frame>";

    explicit socket_client_c(const std::string& path)
        : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            hang_up();
        }
    }
    ~socket_client_c() { hang_up(); }
    socket_client_c(const socket_client_c&) = delete;
    socket_client_c& operator=(const socket_client_c&) = delete;

    bool is_connected() const { return fd_ >= 0; }
    void hang_up() {
        if (fd_ >= 0) {
            close(fd_);
        }
        fd_ = -1;
    }
    void end_requests() { shutdown(fd_, SHUT_WR); }

    // False when the server does not take it any more.
    bool send_bytes(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t sent = send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent < 0) {
                return false;
            }
            bytes.remove_prefix(static_cast<size_t>(sent));
        }
        return true;
    }

    // Sends what the server takes at once; 0 when that is nothing.
    size_t send_some(std::string_view bytes) {
        const ssize_t sent =
            send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        return sent < 0 ? 0 : static_cast<size_t>(sent);
    }

    // Reads up to `size` bytes as they come. False when none come.
    bool receive(size_t size) {
        pollfd waiting{fd_, POLLIN, 0};
        if (poll(&waiting, 1, PATIENCE_MS) != 1) {
            end_ = LATE;
            return false;
        }
        char bytes[65536];
        const ssize_t received = recv(fd_, bytes, std::min(size, sizeof bytes), 0);
        if (received <= 0) {
            end_ = LOST;
            return false;
        }
        input_.append(bytes, static_cast<size_t>(received));
        return true;
    }

    // What has come and was not taken yet, framing and all.
    const std::string& unread() const { return input_; }

    // Hands the next answer piece by piece to `take(std::string_view)`, and what is no text of it
    // to `note(char tag, std::string_view)`.
    template <typename Take>
    void answer_to(Take take) {
        answer_to(take, [&](char, std::string_view) { take(MALFORMED); });
    }
    template <typename Take, typename Note>
    void answer_to(Take take, Note note) {
        for (;;) {
            if (input_.starts_with("\n##\n")) {
                input_.erase(0, 4);
                return;
            }
            const size_t end = input_.find('\n', 1);
            if (input_.size() > 2 && end != std::string::npos) {
                const bool is_note = input_[2] == 't' || input_[2] == 's';
                const size_t length = chunk_length(is_note ? 3 : 2, end);
                if (length == 0) {
                    take(MALFORMED);
                    return;
                }
                if (input_.size() > end + length) {
                    const auto piece = std::string_view(input_).substr(end + 1, length);
                    is_note ? note(input_[2], piece) : take(piece);
                    input_.erase(0, end + 1 + length);
                    continue;
                }
            }
            if (!receive(65536)) {
                take(end_);
                return;
            }
        }
    }
    // The next answer; of protocol 2 its type in parentheses, its text, its status in brackets.
    std::string answer() {
        std::string text;
        answer_to([&](std::string_view piece) { text += piece; },
                  [&](char tag, std::string_view note) {
                      text += tag == 't' ? "(" : "[";
                      text.append(note).append(tag == 't' ? ")" : "]");
                  });
        return text;
    }
    std::string ask(const std::string& request) {
        send_bytes(request + "\n");
        return answer();
    }

  private:
    // Of the chunk whose header has its digits from `begin` to `end`; 0 when it is malformed.
    size_t chunk_length(size_t begin, size_t end) const {
        const std::string digits = input_.substr(begin, end - begin);
        const size_t length =
            input_.starts_with("\n#") ? strtoul(digits.c_str(), nullptr, 10) : 0;
        return std::to_string(length) == digits ? length : 0;
    }

    int fd_;
    const char* end_ = LOST;
    std::string input_;
};
