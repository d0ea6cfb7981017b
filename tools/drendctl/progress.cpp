// SPDX-License-Identifier: BSD-2-Clause

#include "progress.h"

#include <cstdio>
#include <utility>

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
           "/s, " + seconds_text(now);
}

std::string progress_c::finish(std::uint64_t bytes, std::optional<std::uint64_t> rows,
                               time_point_t now) {
    if (!std::exchange(is_shown_, false)) {
        return "";
    }
    return rows
               ? ERASE_LINE + rows_text(*rows) + ", " +
                     size_text(static_cast<double>(bytes)) + ", " + seconds_text(now) + "\n"
               : ERASE_LINE;
}

std::string progress_c::seconds_text(time_point_t now) const {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(now - start_);
    return std::to_string(seconds.count()) + " s";
}

std::string rows_text(std::uint64_t rows) {
    return std::to_string(rows) + (rows == 1 ? " row" : " rows");
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
