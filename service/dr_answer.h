// What a peer is told whose request cannot be answered, or not to the end: an answer never just
// stops.
#pragma once

#include <new>

#include "drend.h"

// Sends the last line of such an answer, "error: " and the reason. Needs no memory itself. 0, or
// DREND_PEER_LOST.
inline int dri_send_error(void* peer, const char* line) {
    if (drend_send(peer, "%s", line) != 0) {
        return DREND_PEER_LOST;
    }
    drend_flush(peer);
    return 0;
}

inline void dri_send_no_memory(void* peer) {
    dri_send_error(peer, "error: out of memory\n");
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
