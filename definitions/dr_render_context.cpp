// SPDX-License-Identifier: BSD-2-Clause

// The count of contexts ever made. It tells a daemon's developer how many requests were rendered.
#include "definitions/dr_render_context.h"

#include <atomic>

#include "drend.h"

int drc_count = 0;

int dri_get_drc_count() {
    return std::atomic_ref<int>(drc_count).load(std::memory_order_relaxed);
}

dr_render_context_c::dr_render_context_c() {
    std::atomic_ref<int>(drc_count).fetch_add(1, std::memory_order_relaxed);
}
