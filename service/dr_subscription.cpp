// SPDX-License-Identifier: BSD-2-Clause

// The subscriptions of all peers, and how each sends what waits for it.
//
// A slice is short in bytes, not in time: what a peer does not take fills its connection and then
// its queue, and never the daemon's memory.
#include "service/dr_subscription.h"

#include <algorithm>
#include <utility>

#include "frame/drend_hooks.h"
#include "render/dr_deferral.h"

namespace {

constexpr size_t SLICE = 16384; // bytes

// Never destroyed: a process may end with subscribers.
auto& subscriptions() {
    static auto& all = *new std::vector<dr_subscription_c*>;
    return all;
}

// Has room for the handles of all: waking them needs no memory.
auto& handles_to_wake() {
    static auto& handles = *new std::vector<void*>;
    return handles;
}

} // namespace

dr_subscription_c::dr_subscription_c(void* peer, dr_event_form_s form)
    : dr_suspendable_c(peer, reads_e::NOTHING), form_(std::move(form)) {
    handles_to_wake().reserve(subscriptions().size() + 1);
    subscriptions().push_back(this);
}

dr_subscription_c::~dr_subscription_c() {
    std::erase(subscriptions(), this);
}

bool dr_subscription_c::begin(void* peer, const dr_event_form_s& form) {
    auto subscription = std::make_unique<dr_subscription_c>(peer, form);
    dr_subscription_c& kept = *subscription;
    kept.end_slice(true);
    void* const handle = keep(std::move(subscription), keeper_e::PEER);
    kept.handle_ = handle;
    if (dri_get_cookie(peer) != handle) {
        end(handle, end_e::DROPPED);
        return false;
    }
    return true;
}

const std::vector<dr_subscription_c*>& dr_subscription_c::all() {
    return subscriptions();
}

void dr_subscription_c::wake_all() {
    std::vector<void*>& to_wake = handles_to_wake();
    const auto& all = subscriptions();
    std::for_each(all.rbegin(), all.rend(), [&](dr_subscription_c* subscription) {
        if (subscription->has_more() && !subscription->is_awake_) {
            to_wake.push_back(subscription->handle_);
            subscription->is_awake_ = true;
        }
    });
    // Who is called may end any of them, or announce something: that wakes all that are left here.
    while (!to_wake.empty()) {
        void* const handle = to_wake.back();
        to_wake.pop_back();
        dri_deferred(handle);
    }
}

dr_subscription_c::text_t dr_subscription_c::gap() const {
    return std::make_shared<const std::string>(dri_own_notification(
        form_, dri_event_time(), "events-dropped", "count", std::to_string(dropped_)));
}

void dr_subscription_c::push(text_t text) {
    const size_t size = text->size();
    queue_.push_back(std::move(text));
    waiting_ += size;
}

void dr_subscription_c::offer(const text_t& text) {
    const text_t before = dropped_ > 0 ? gap() : nullptr;
    const size_t size =
        (text == nullptr ? 0 : text->size()) + (before == nullptr ? 0 : before->size());
    if (text == nullptr || waiting_ + size > QUEUE_MAX) {
        drop();
        return;
    }
    if (before != nullptr) {
        push(before);
        dropped_ = 0;
    }
    push(text);
}

bool dr_subscription_c::resume() {
    size_t sent = 0;
    while (has_more() && sent < SLICE) {
        if (queue_.empty()) {
            push(gap());
            dropped_ = 0;
        }
        const text_t text = std::move(queue_.front());
        queue_.pop_front();
        waiting_ -= text->size();
        sent += text->size();
        if (dri_send_text(peer(), text->c_str(), text->size()) < 0) {
            return false;
        }
    }
    drend_flush(peer());
    is_awake_ = has_more();
    return true;
}
