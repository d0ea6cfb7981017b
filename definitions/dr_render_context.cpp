#include "definitions/dr_render_context.h"

#include <atomic>

#include "drend.h"

int drc_count = 0;

namespace {

// The noted contexts, linked through themselves so that noting one cannot fail.
dr_render_context_c* noted_head = nullptr;

} // namespace

int dri_get_drc_count() {
    return std::atomic_ref<int>(drc_count).load(std::memory_order_relaxed);
}

dr_render_context_c::dr_render_context_c() {
    std::atomic_ref<int>(drc_count).fetch_add(1, std::memory_order_relaxed);
}

dr_render_context_c::~dr_render_context_c() {
    if (!noted_) {
        return;
    }
    (previous_noted_ == nullptr ? noted_head : previous_noted_->next_noted_) = next_noted_;
    if (next_noted_ != nullptr) {
        next_noted_->previous_noted_ = previous_noted_;
    }
}

void dr_render_context_c::note_suspended() {
    if (noted_) {
        return;
    }
    noted_ = true;
    next_noted_ = noted_head;
    if (noted_head != nullptr) {
        noted_head->previous_noted_ = this;
    }
    noted_head = this;
}

dr_render_context_c* dr_render_context_c::find_suspended(void* address) {
    dr_render_context_c* context = noted_head;
    while (context != nullptr && context != address) {
        context = context->next_noted_;
    }
    return context;
}
