// SPDX-License-Identifier: BSD-2-Clause

// What is traced while a test listens.
#pragma once

#include <cstdarg>
#include <string>

#include "drend.h"
#include "frame/drend_trace.h"
#include "frame/str_util.h"

class traced_c {
  public:
    explicit traced_c(unsigned flags) {
        text.clear();
        drend_set_debugtrace_cb([](const char* format, va_list args) {
            return static_cast<int>(str_vappend(text, format, args));
        });
        drend_set_trace_flag(flags);
    }
    ~traced_c() {
        drend_set_trace_flag(0);
        drend_set_debugtrace_cb(nullptr);
    }
    traced_c(const traced_c&) = delete;
    traced_c& operator=(const traced_c&) = delete;

    static inline std::string text;
};
