// SPDX-License-Identifier: BSD-2-Clause

// The table of suspended answers.
//
// It owns them, and hands out numbers instead of addresses: what is left of an answer that has gone
// may be a timer that fires much later, or a cookie, when another answer already lies at the same
// address.
#include "render/dr_suspendable.h"

#include <bit>
#include <cassert>
#include <cstdint>
#include <new>
#include <unordered_map>
#include <utility>

#include "drend.h"
#include "render/dr_answer.h"
#include "render/dr_deferral.h"

namespace {

// Never destroyed: a process may end with answers under way, whose accessors are not to be called
// by then.
auto& kept_answers() {
    static auto& answers =
        *new std::unordered_map<void*, std::unique_ptr<dr_suspendable_c>>;
    return answers;
}

// Odd, as no object's address is.
void* new_handle() {
    static uintptr_t last = 1;
    last += 2;
    return std::bit_cast<void*>(last);
}

} // namespace

dr_suspendable_c* dr_suspendable_c::find(void* handle) {
    const auto found = kept_answers().find(handle);
    return found == kept_answers().end() ? nullptr : found->second.get();
}

size_t dr_suspendable_c::kept_count() {
    return kept_answers().size();
}

bool dr_suspendable_c::is_ready(void* handle) {
    const dr_suspendable_c* answer = find(handle);
    return answer != nullptr && answer->state_ == state_e::SUSPENDED && answer->has_more();
}

void* dr_suspendable_c::peer_of(void* handle) {
    const dr_suspendable_c* answer = find(handle);
    return answer == nullptr ? nullptr : answer->peer_;
}

void* dr_suspendable_c::keep(std::unique_ptr<dr_suspendable_c> answer, keeper_e keeper) {
    assert(answer->state_ == state_e::SUSPENDED && !answer->is_cookie_);
    void* const handle = new_handle();
    auto& place = kept_answers()[handle];
    assert(place == nullptr);
    place = std::move(answer);
    if (keeper == keeper_e::PEER) {
        place->is_cookie_ = true;
        dri_set_cookie_cleanup(place->peer_, dri_cleanup_cookie);
        dri_set_cookie(place->peer_, handle);
    }
    return handle;
}

void dr_suspendable_c::let_go(void* handle) {
    const auto node = kept_answers().extract(handle);
    dr_suspendable_c& answer = *node.mapped();
    answer.state_ = state_e::GONE;
    if (answer.is_cookie_) {
        dri_set_cookie(answer.peer_, nullptr);
    }
}

int dr_suspendable_c::go_on(void* handle) {
    dr_suspendable_c* answer = find(handle);
    if (answer == nullptr || answer->state_ != state_e::SUSPENDED) {
        return DREND_ERR;
    }
    answer->state_ = state_e::RUNNING;
    if (!answer->run_slice()) {
        return 1;
    }
    let_go(handle);
    return 0;
}

bool dr_suspendable_c::run_slice() {
    if (data_) {
        data_->begin_slice();
    }
    try {
        return end_slice(resume());
    } catch (const std::bad_alloc&) {
        if (!is_gone()) {
            dri_send_no_memory(peer_);
        }
        return true;
    }
}

bool dr_suspendable_c::end_slice(bool suspends) {
    if (suspends && !is_gone()) {
        state_ = state_e::SUSPENDED;
        return false;
    }
    finish();
    return true;
}

void dr_suspendable_c::end(void* handle, end_e why) {
    dr_suspendable_c* answer = find(handle);
    if (answer == nullptr) {
        return;
    }
    if (why == end_e::PEER_CLOSED) {
        answer->is_cookie_ = false;
    }
    if (answer->state_ == state_e::SUSPENDED) {
        let_go(handle);
        return;
    }
    answer->state_ = state_e::GONE;
    answer->cut_short();
}
