// SPDX-License-Identifier: BSD-2-Clause

// How a daemon's event loop comes to continue what was suspended, and where a peer's cookie is:
// both are the daemon's, so both are hooks. An idle timer of its event library is the usual one.

#include "render/dr_deferral.h"

#include <atomic>

#include "frame/dr_published.h"
#include "orvex_platform/eventlib.h"
#include "render/dr_suspendable.h"

namespace {

// How long the loop has to be idle before a walk goes on: as good as at once.
constexpr long IDLE_NANOSECONDS = 100;

struct reschedule_s {
    drend_reschedule_handler_t handler = nullptr;
    void* arg = nullptr;
};
dr_published_c<reschedule_s> reschedule;

std::atomic<drend_get_cookie_method_t> get_cookie_method{nullptr};
std::atomic<drend_set_cookie_method_t> set_cookie_method{nullptr};
std::atomic<drend_cleanup_setup_method_t> cleanup_setup_method{nullptr};
std::atomic<drend_cookie_cleanup_t> cleanup_method{nullptr};

void continue_when_idle(evContext /*loop*/, void* walk, struct timespec /*due*/,
                        struct timespec /*interval*/) {
    drend_defer_continue(walk);
}

void set_idle_timer(void* event_context, void* walk) {
    evTimerID timer;
    __evSetIdleTimer(*static_cast<evContext*>(event_context), continue_when_idle, walk,
                     __evConsTime(0, IDLE_NANOSECONDS), &timer);
}

} // namespace

void drend_set_reschedule_handler(drend_reschedule_handler_t handler, void* arg) {
    reschedule.set({handler, arg});
}

void dri_set_eventlib_rescheduler(void* event_context) {
    drend_set_reschedule_handler(set_idle_timer, event_context);
}

void dri_deferred(void* handle) {
    const reschedule_s hook = reschedule.get();
    if (hook.handler != nullptr) {
        hook.handler(hook.arg, handle);
    }
}

int drend_defer_continue(void* walk) {
    const int status = dr_suspendable_c::go_on(walk);
    if (status == 1 && dr_suspendable_c::is_ready(walk)) {
        dri_deferred(walk);
    }
    return status;
}

void* drend_get_walk_peer(void* walk) {
    return dr_suspendable_c::peer_of(walk);
}

void drend_drop_walk(void* walk) {
    dr_suspendable_c::end(walk, dr_suspendable_c::end_e::DROPPED);
}

drend_get_cookie_method_t drend_set_get_cookie_method(drend_get_cookie_method_t method) {
    return get_cookie_method.exchange(method, std::memory_order_acq_rel);
}

drend_set_cookie_method_t drend_set_set_cookie_method(drend_set_cookie_method_t method) {
    return set_cookie_method.exchange(method, std::memory_order_acq_rel);
}

drend_cleanup_setup_method_t
drend_set_cleanup_setup_method(drend_cleanup_setup_method_t method) {
    return cleanup_setup_method.exchange(method, std::memory_order_acq_rel);
}

drend_cookie_cleanup_t drend_set_cleanup_cookie_method(drend_cookie_cleanup_t method) {
    return cleanup_method.exchange(method, std::memory_order_acq_rel);
}

void* dri_get_cookie(void* peer) {
    const auto method = get_cookie_method.load(std::memory_order_acquire);
    return method == nullptr ? nullptr : method(peer);
}

void dri_set_cookie(void* peer, void* cookie) {
    if (const auto method = set_cookie_method.load(std::memory_order_acquire)) {
        method(peer, cookie);
    }
}

void dri_set_cookie_cleanup(void* peer, drend_cookie_cleanup_t cleanup) {
    if (const auto method = cleanup_setup_method.load(std::memory_order_acquire)) {
        method(peer, cleanup);
    }
}

void dri_cleanup_cookie(void* cookie) {
    if (const auto method = cleanup_method.load(std::memory_order_acquire)) {
        method(cookie);
    } else {
        dr_suspendable_c::end(cookie, dr_suspendable_c::end_e::PEER_CLOSED);
    }
}

bool dri_is_answering(void* peer) {
    void* cookie = dri_get_cookie(peer);
    return cookie != nullptr && dr_suspendable_c::is_kept(cookie);
}
