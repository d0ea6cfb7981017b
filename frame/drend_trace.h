// SPDX-License-Identifier: BSD-2-Clause

// The trace word and the trace lines.
//
// Callers test a bit with dri_trace_on before they build a line; drend_debug_trace itself
// tests nothing but whether somebody listens.
#pragma once

#include <atomic>

#include "drend.h"

inline bool dri_trace_on(unsigned bits) {
    const std::atomic_ref<uint64_t> flags(drend_trace_flags);
    const bool is_on = (flags.load(std::memory_order_relaxed) & bits) != 0;
    return __builtin_expect(is_on, false); // nearly never, so it may cost a jump
}
