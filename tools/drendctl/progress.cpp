// SPDX-License-Identifier: BSD-2-Clause

#include "progress.h"

#include <cstdio>

namespace {
constexpr char ERASE_LINE[] = "\r\033[K";
} // namespace

std::string progress_c::update(std::uint64_t bytes, time_point_t now) {
    if (now < next_) {
        return "";
    }
    next_ = now + INTERVAL;
    is_shown_ = true;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    const auto size = static_cast<double>(bytes);
    return ERASE_LINE + size_text(size) + " received, " + size_text(size / seconds) +
           "/s, " + std::to_string(static_cast<long>(seconds)) + " s";
}

std::string progress_c::erase() {
    const bool was_shown = is_shown_;
    is_shown_ = false;
    return was_shown ? ERASE_LINE : "";
}

std::string size_text(double bytes) {
    static constexpr const char* units[] = {"bytes", "kB", "MB", "GB", "TB"};
    std::size_t unit = 0;
    while (bytes >= 999.95 && unit < 4) {
        bytes /= 1000;
        ++unit;
    }
    char text[64];
    snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", bytes, units[unit]);
    return text;
}
