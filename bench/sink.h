// SPDX-License-Identifier: BSD-2-Clause

// Where every contender's bytes go: a buffer of 64 KiB that is written out when it is full.
//
// By default it is written to /dev/null, so that the copy is all that a byte costs.
#ifndef BENCH_SINK_H
#define BENCH_SINK_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

void sink_open(int descriptor);
void sink_write(std::string_view text);
// The send method of a daemon: `format` is "%s", the text is the only argument.
int sink_send(void* peer, const char* format, ...);
void sink_flush();
// What `render` writes, instead of the file.
std::string sink_capture(const std::function<void()>& render);
// The bytes written since the start.
uint64_t sink_total();

#endif
