// SPDX-License-Identifier: BSD-2-Clause

// How long the daemon is waited for.
#pragma once

#include <chrono>

struct patience_s {
    using steady_clock_t = std::chrono::steady_clock;
    using time_point_t = steady_clock_t::time_point;

    std::chrono::milliseconds silence{0};        // without a byte; 0 is for ever
    time_point_t deadline = time_point_t::max(); // whatever arrives until then

    // When it ends, the last byte having arrived at `last_arrival`.
    time_point_t end(time_point_t last_arrival) const;
};

// From now on, for poll: -1 for the end of time, an hour at most.
int milliseconds_until(patience_s::time_point_t time);
