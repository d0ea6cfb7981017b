// SPDX-License-Identifier: BSD-2-Clause

// What a peer is told whose request cannot be answered, or not to the end: an answer never just
// stops.
#pragma once

#include <new>

#include "drend.h"
#include "render/dr_deferral.h"

// Sends the last line of such an answer, or its only one. Needs no memory itself. 0, or
// DREND_PEER_LOST.
inline int dri_send_last_line(void* peer, const char* line) {
    if (drend_send(peer, "%s", line) < 0) {
        return DREND_PEER_LOST;
    }
    drend_flush(peer);
    return 0;
}

inline void dri_send_no_memory(void* peer) {
    dri_send_last_line(peer, "error: out of memory\n");
}

// What `function` returns; `on_failure`, after that line, when memory runs out in it. The request
// ends there, the daemon goes on.
template <typename Result, typename Function>
Result dri_answer(void* peer, Result on_failure, Function&& function) {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        dri_send_no_memory(peer);
        return on_failure;
    }
}

// Whether an earlier answer to the peer is suspended; the peer then gets a line that says so.
inline bool dri_refuse_while_answering(void* peer) {
    if (!dri_is_answering(peer)) {
        return false;
    }
    drend_send(peer, "error: a request of this peer is still being answered\n");
    return true;
}
