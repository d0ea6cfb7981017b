// SPDX-License-Identifier: BSD-2-Clause

#include "message_writer.h"

#include <algorithm>
#include <cerrno>

#include <unistd.h>

void message_writer_c::add(std::string_view text) {
    text_ += text;
}

void message_writer_c::end_message() {
    frame();
    framed_ += is_chunked_ ? "\n##\n" : "]]>]]>";
}

void message_writer_c::frame() {
    std::string_view text = text_;
    while (is_chunked_ && !text.empty()) {
        const std::string_view chunk = text.substr(0, CHUNK_MAX);
        framed_.append("\n#").append(std::to_string(chunk.size())).append("\n");
        framed_ += chunk;
        text.remove_prefix(chunk.size());
    }
    framed_ += text;
    text_.clear();
}

bool message_writer_c::write_to(int fd) {
    frame();
    while (!framed_.empty()) {
        const ssize_t written = ::write(fd, framed_.data(), framed_.size());
        if (written < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        framed_.erase(0, static_cast<std::size_t>(written));
    }
    return true;
}
