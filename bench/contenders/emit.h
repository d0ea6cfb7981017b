// SPDX-License-Identifier: BSD-2-Clause

// What hand-written output code consists of: one formatting and one send.
#ifndef BENCH_EMIT_H
#define BENCH_EMIT_H

// Formats at most 511 bytes and sends them.
void emit(const char* format, ...) __attribute__((format(printf, 1, 2)));

#endif
