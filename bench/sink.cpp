// SPDX-License-Identifier: BSD-2-Clause

#include "bench/sink.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace {

char buffer[65536];
size_t used = 0;
uint64_t flushed = 0;
int output = -1;
std::string* captured = nullptr;

void write_out(std::string_view text) {
    while (!text.empty()) {
        const ssize_t length = write(output, text.data(), text.size());
        if (length < 0) {
            perror("sink");
            exit(1);
        }
        text.remove_prefix(static_cast<size_t>(length));
    }
}

} // namespace

void sink_open(int descriptor) {
    memset(buffer, 0, sizeof buffer); // its memory is no contender's
    output = descriptor;
}

void sink_flush() {
    if (captured != nullptr) {
        captured->append(buffer, used);
    } else {
        write_out({buffer, used});
    }
    flushed += used;
    used = 0;
}

std::string sink_capture(const std::function<void()>& render) {
    sink_flush();
    std::string text;
    captured = &text;
    render();
    sink_flush();
    captured = nullptr;
    text.shrink_to_fit();
    return text;
}

void sink_write(std::string_view text) {
    while (text.size() > sizeof buffer - used) {
        const size_t room = sizeof buffer - used;
        memcpy(buffer + used, text.data(), room);
        text.remove_prefix(room);
        used = sizeof buffer;
        sink_flush();
    }
    memcpy(buffer + used, text.data(), text.size());
    used += text.size();
}

int sink_send(void* /*peer*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    sink_write(va_arg(args, const char*));
    va_end(args);
    return 0;
}

uint64_t sink_total() {
    return flushed + used;
}
