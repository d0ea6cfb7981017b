// Suspended walks: who continues them, and where a peer's one is kept.
//
//     walk suspends -> dri_deferred -> reschedule handler -> (event loop idle)
//          ^                                                       |
//          +------------------- drend_defer_continue <-------------+
//
// Belongs to the daemon's thread, but for the setters that drend.h names.
#pragma once

#include "definitions/dr_render_context.h"
#include "drend.h"

// Hands a suspended walk to the reschedule handler. Without a handler it waits for its peer to
// close.
void dri_deferred(dr_render_context_c* walk);

// Installs the reschedule handler that continues walks when the loop of `event_context`, a pointer
// to the daemon's evContext, is idle.
void dri_set_eventlib_rescheduler(void* event_context);

// Forward to the installed cookie methods; null, or nothing done, when none is installed.
void* dri_get_cookie(void* peer);
void dri_set_cookie(void* peer, void* cookie);
void dri_set_cookie_cleanup(void* peer, drend_cookie_cleanup_t cleanup);
// What a peer's close does with the cookie: the installed method, or else the end of the suspended
// walk that the cookie is. A cookie that is no suspended walk (any more) is left alone.
void dri_cleanup_cookie(void* cookie);
