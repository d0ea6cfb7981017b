// SPDX-License-Identifier: BSD-2-Clause

// The trace word is a plain global that daemons may also write themselves; the library reads and
// writes it atomically, so that switching the trace on from another thread is no data race.
#include "frame/drend_trace.h"

uint64_t drend_trace_flags = 0;

namespace {
std::atomic<drend_debugtrace_cb_t> trace_callback{nullptr};
std::atomic<uint64_t> lines_left{0}; // 0: any number

// The last line that was asked for switches the trace off.
void count_line() {
    uint64_t left = lines_left.load(std::memory_order_relaxed);
    while (left > 0 && !lines_left.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 1) {
        drend_set_trace_flag(0);
    }
}

} // namespace

void drend_set_trace_flag(unsigned int flags) {
    lines_left.store(0, std::memory_order_relaxed);
    std::atomic_ref<uint64_t>(drend_trace_flags).store(flags, std::memory_order_relaxed);
}

void dri_trace_for(unsigned flags, uint64_t lines) {
    drend_debugtrace_cb_t nobody = nullptr;
    trace_callback.compare_exchange_strong(nobody, drend_debug_trace_stderr);
    drend_set_trace_flag(flags);
    lines_left.store(flags == 0 ? 0 : lines, std::memory_order_relaxed);
}

uint64_t dri_trace_lines_left() {
    return lines_left.load(std::memory_order_relaxed);
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
    count_line();
}
