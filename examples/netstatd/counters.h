// SPDX-License-Identifier: BSD-2-Clause

// What the daemon counts about itself. Ready-made readers show these variables directly,
// see model_self.cpp. Written and read on the daemon's thread.
#pragma once

#include <cstdint>

struct daemon_counters_s {
    std::uint64_t requests = 0;    // commands of the command line
    std::uint64_t snapshots = 0;   // snapshots that were opened
    std::uint64_t read_errors = 0; // tables that the kernel did not give
};

inline daemon_counters_s daemon_counters;
