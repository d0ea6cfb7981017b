// What a peer is told when the memory for its answer runs out: an answer never just stops.
#pragma once

#include <new>

#include "drend.h"

// The last line of such an answer. Needs no memory itself.
inline void dri_send_no_memory(void* peer) {
    drend_send(peer, "%s", "error: out of memory\n");
    drend_flush(peer);
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
