// SPDX-License-Identifier: BSD-2-Clause

// The daemon's part in suspended answers: who continues them, and where a peer's one is kept.
//
//     answer suspends -> dri_deferred -> reschedule handler -> (event loop idle)
//          ^                                                       |
//          +------------------- drend_defer_continue <-------------+
//
// An answer is known by its handle here, a void*; see dr_suspendable_c. Belongs to the daemon's
// thread, but for the setters that drend.h names.
#pragma once

#include "drend.h"

// A daemon's status, where "suspend" may have to count as "done".
inline int dri_unless_ignored(int status) {
    return status == DREND_DEFER && dtc_ignore_defer != 0 ? DREND_OK : status;
}

// Hands a suspended answer to the reschedule handler. Without a handler it waits for its peer to
// close.
void dri_deferred(void* handle);

// Installs the reschedule handler that continues answers when the loop of `event_context`, a
// pointer to the daemon's evContext, is idle.
void dri_set_eventlib_rescheduler(void* event_context);

// Forward to the installed cookie methods; null, or nothing done, when none is installed.
void* dri_get_cookie(void* peer);
void dri_set_cookie(void* peer, void* cookie);
void dri_set_cookie_cleanup(void* peer, drend_cookie_cleanup_t cleanup);
// What a peer's close does with the cookie: the installed method, or else the end of the suspended
// answer that the cookie is the handle of. Any other cookie is left alone.
void dri_cleanup_cookie(void* cookie);
// Whether the peer's cookie is the handle of an answer that is not over.
bool dri_is_answering(void* peer);
