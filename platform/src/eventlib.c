// SPDX-License-Identifier: BSD-2-Clause
/*
 * Idle timers over libevent 2.1.
 *
 * A timer is a libevent timeout with the lowest priority of its base: ready events of a
 * higher priority run first. Within one priority, which is all that most bases have,
 * libevent runs events in the order in which they became ready; a timer that comes due
 * therefore goes to the end of that queue once and fires when it is reached there. Waiting
 * until the queue is empty was rejected: two idle timers would wait for each other.
 *
 * The base owns pending timers; they are found again by the callback that they all share,
 * so that no table of timers has to be kept beside the base.
 */
#include "orvex_platform/eventlib.h"

#include <assert.h>
#include <errno.h>
#include <event2/event.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdlib.h>

enum {
    NANOSECONDS_PER_SECOND = 1000000000,
    NANOSECONDS_PER_MICROSECOND = 1000,
    PRIORITIES = 3, /* what comes first, what sets none, peers and idle timers */
};

struct idle_timer {
    struct event* event;
    evContext ctx;
    evTimerFunc func;
    void* uap;
    struct timespec due;
    struct timespec inter;
    bool has_let_others_pass;
};

struct timespec __evConsTime(time_t sec, long nsec) {
    const struct timespec time = {.tv_sec = sec, .tv_nsec = nsec};
    return time;
}

static bool is_interval(struct timespec time) {
    return time.tv_sec >= 0 && time.tv_sec <= INT32_MAX && time.tv_nsec >= 0 &&
           time.tv_nsec < NANOSECONDS_PER_SECOND;
}

static struct timespec from_now(struct timespec interval) {
    struct timespec due;
    clock_gettime(CLOCK_REALTIME, &due);
    due.tv_sec += interval.tv_sec;
    due.tv_nsec += interval.tv_nsec;
    if (due.tv_nsec >= NANOSECONDS_PER_SECOND) {
        due.tv_sec += 1;
        due.tv_nsec -= NANOSECONDS_PER_SECOND;
    }
    return due;
}

/* Rounded up, so that a timer never fires early. */
static struct timeval to_timeval(struct timespec interval) {
    const long microseconds =
        (interval.tv_nsec + NANOSECONDS_PER_MICROSECOND - 1) / NANOSECONDS_PER_MICROSECOND;
    const struct timeval result = {.tv_sec = interval.tv_sec + microseconds / 1000000,
                                   .tv_usec = microseconds % 1000000};
    return result;
}

static void free_timer(struct idle_timer* timer) {
    if (timer->event)
        event_free(timer->event);
    free(timer);
}

/* The timer is freed before its function runs: the function may end in any way it likes. */
static void on_idle_timer(evutil_socket_t unused_socket, short unused_what,
                          void* argument) {
    (void)unused_socket;
    (void)unused_what;
    struct idle_timer* timer = argument;
    if (!timer->has_let_others_pass) {
        timer->has_let_others_pass = true;
        event_active(timer->event, EV_TIMEOUT, 1);
        return;
    }
    const struct idle_timer fired = *timer;
    free_timer(timer);
    fired.func(fired.ctx, fired.uap, fired.due, fired.inter);
}

/* Has `timer` wait for `interval` in its base. 0, or -1. */
static int start_timer(struct idle_timer* timer, struct timespec interval) {
    struct event_base* base = timer->ctx.opaque;
    timer->event = event_new(base, -1, EV_TIMEOUT, on_idle_timer, timer);
    if (!timer->event)
        return -1;
    const struct timeval wait = to_timeval(interval);
    if (event_priority_set(timer->event, event_base_get_npriorities(base) - 1) != 0)
        return -1;
    return event_add(timer->event, &wait);
}

int __evSetIdleTimer(evContext ctx, evTimerFunc func, void* uap, struct timespec max_idle,
                     evTimerID* id) {
    assert(ctx.opaque && func);
    if (!is_interval(max_idle)) {
        errno = EINVAL;
        return -1;
    }
    struct idle_timer* timer = calloc(1, sizeof(*timer));
    if (!timer)
        return -1;
    timer->ctx = ctx;
    timer->func = func;
    timer->uap = uap;
    timer->due = from_now(max_idle);
    timer->inter = max_idle;
    if (start_timer(timer, max_idle) != 0) {
        free_timer(timer);
        errno = ENOMEM;
        return -1;
    }
    if (id)
        id->opaque = timer;
    return 0;
}

/* Stops at the first idle timer and stores it through `found`. */
static int find_idle_timer(const struct event_base* base, const struct event* event,
                           void* found) {
    (void)base;
    if (event_get_callback(event) != on_idle_timer)
        return 0;
    *(struct idle_timer**)found = event_get_callback_arg(event);
    return 1;
}

void platform_clear_idle_timers(evContext ctx) {
    struct idle_timer* timer = NULL;
    while (event_base_foreach_event(ctx.opaque, find_idle_timer, &timer) != 0)
        free_timer(timer);
}

int platform_open_loop(evContext* ctx) {
    struct event_base* base = event_base_new();
    if (base != NULL && event_base_priority_init(base, PRIORITIES) != 0) {
        event_base_free(base);
        base = NULL;
    }
    ctx->opaque = base;
    return base == NULL ? -1 : 0;
}

void platform_close_loop(evContext* ctx) {
    platform_clear_idle_timers(*ctx);
    event_base_free(ctx->opaque);
    ctx->opaque = NULL;
}
