// SPDX-License-Identifier: BSD-2-Clause

// The trace word is a plain global that daemons may also write themselves; the library reads and
// writes it atomically, so that switching the trace on from another thread is no data race.
#include "frame/drend_trace.h"

uint64_t drend_trace_flags = 0;

namespace {
std::atomic<drend_debugtrace_cb_t> trace_callback{nullptr};
}

void drend_set_trace_flag(unsigned int flags) {
    std::atomic_ref<uint64_t>(drend_trace_flags).store(flags, std::memory_order_relaxed);
}

void drend_set_debugtrace_cb(drend_debugtrace_cb_t callback) {
    trace_callback.store(callback, std::memory_order_release);
}

int drend_debug_trace_stderr(const char* format, va_list args) {
    return vfprintf(stderr, format, args);
}

void drend_debug_trace(const char* format, ...) {
    const auto callback = trace_callback.load(std::memory_order_acquire);
    if (callback == nullptr) {
        return;
    }
    va_list args;
    va_start(args, format);
    callback(format, args);
    va_end(args);
}
