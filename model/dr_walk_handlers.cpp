// SPDX-License-Identifier: BSD-2-Clause

// What a daemon wants to know of walks as such: that one starts or goes on, and whether it is to
// be suspended after a row. Both are asked often and installed once, hence without a lock.
#include "frame/dr_published.h"
#include "model/dr_meta_context.h"

namespace {

struct walk_handlers_s {
    drend_walk_handler_t start = nullptr;
    drend_walk_handler_t suspend = nullptr;
    void* data = nullptr;
};
dr_published_c<walk_handlers_s> walk_handlers;

} // namespace

int drend_add_walk_handlers(drend_walk_handler_t start, drend_walk_handler_t suspend,
                            void* data) {
    walk_handlers.set({start, suspend, data});
    return 0;
}

void dri_call_walk_start(dr_meta_context_s* ctx) {
    const walk_handlers_s handlers = walk_handlers.get();
    if (handlers.start != nullptr) {
        handlers.start(ctx, handlers.data);
        dri_get_meta_context(ctx)->check_memory();
    }
}

bool dri_call_walk_suspend(dr_meta_context_s* ctx) {
    if (!walk_handlers.was_set()) { // asked for every row
        return false;
    }
    const walk_handlers_s handlers = walk_handlers.get();
    return handlers.suspend != nullptr && handlers.suspend(ctx, handlers.data) != 0;
}
