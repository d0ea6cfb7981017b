// SPDX-License-Identifier: BSD-2-Clause

// The trace word and the trace lines.
//
// Callers test a bit with dri_trace_on before they build a line; drend_debug_trace itself
// tests nothing but whether somebody listens.
#pragma once

#include <atomic>

#include "drend.h"

// Replaces the trace word for that many lines, 0 for any number of them, and has the lines written
// to standard error when no daemon receives them.
void dri_trace_for(unsigned flags, uint64_t lines);
// How many are left; 0 for any number.
uint64_t dri_trace_lines_left();

inline bool dri_trace_on(unsigned bits) {
    const std::atomic_ref<uint64_t> flags(drend_trace_flags);
    const bool is_on = (flags.load(std::memory_order_relaxed) & bits) != 0;
    return __builtin_expect(is_on, false); // nearly never, so it may cost a jump
}
