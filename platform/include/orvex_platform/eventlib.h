// SPDX-License-Identifier: BSD-2-Clause
/*
 * The platform's event library: the part of a daemon's event loop that the render library
 * uses to continue long output when the daemon is idle. Types and signatures are those of
 * the classic event library of name servers.
 *
 * Everything here belongs to the thread that runs the loop.
 */
#ifndef ORVEX_PLATFORM_EVENTLIB_H
#define ORVEX_PLATFORM_EVENTLIB_H

#include <time.h>

#ifdef __cplusplus
extern "C" {
#endif

/* An event context: here `opaque` is a libevent `struct event_base *`. */
typedef struct __evContext {
    void* opaque;
} evContext;

/* One timer; valid until it has fired or was cleared. */
typedef struct __evTimerID {
    void* opaque;
} evTimerID;

/*
 * A timer's function. `uap` is the pointer given when the timer was set, `due` the time of
 * CLOCK_REALTIME at which it was due and `inter` the interval it was set with. The timer is
 * gone when the function is called; the function may set another.
 */
typedef void (*evTimerFunc)(evContext ctx, void* uap, struct timespec due,
                            struct timespec inter);

/* The time or interval of `sec` seconds and `nsec` nanoseconds. */
struct timespec __evConsTime(time_t sec, long nsec);

/*
 * Calls `func(ctx, uap, ...)` once, when `max_idle` has passed and the events that were
 * ready by then have been served. `id` may be NULL; otherwise the timer's identity is
 * stored there. Returns 0, or -1 with errno set to ENOMEM or, for a `max_idle` that is no
 * interval, EINVAL.
 */
int __evSetIdleTimer(evContext ctx, evTimerFunc func, void* uap, struct timespec max_idle,
                     evTimerID* id);

/*
 * A loop for a daemon that has none: a libevent base with three priorities, the highest for what
 * the daemon puts before everything, the middle one for all that sets none, the lowest for idle
 * timers and for what the peers of a management socket have the daemon do. Opening
 * returns 0, or -1 when memory ran out. Closing removes the idle timers; other events of the loop
 * are gone by then. Additions of this reference platform.
 */
int platform_open_loop(evContext* ctx);
void platform_close_loop(evContext* ctx);

/*
 * Removes every idle timer of `ctx` that has not fired; their functions are never called. A
 * daemon that frees its event base calls it first, or the pending timers' memory is lost.
 * It is an addition of this reference platform: the render library does not use it.
 */
void platform_clear_idle_timers(evContext ctx);

#ifdef __cplusplus
}
#endif

#endif
