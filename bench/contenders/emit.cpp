// SPDX-License-Identifier: BSD-2-Clause

#include "bench/contenders/emit.h"

#include <cstdarg>
#include <cstdio>

#include "bench/sink.h"

void emit(const char* format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    vsnprintf(line, sizeof line, format, args);
    va_end(args);
    sink_send(nullptr, "%s", line);
}
