// SPDX-License-Identifier: BSD-2-Clause

// What a peer is told whose request cannot be answered, or not to the end: an answer never just
// stops.
#pragma once

#include <new>
#include <string>
#include <string_view>

#include "drend.h"
#include "frame/drend_hooks.h"
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
    dri_answer_ends(peer,
                    {DREND_ANSWER_GIVEN_UP, "out-of-memory", "out of memory", nullptr});
}

// Ends an answer that cannot go on, with a line that says why. 0, or DREND_PEER_LOST.
inline int dri_give_up(void* peer, bool has_begun, const char* code,
                       const std::string& why) {
    const std::string line = std::string(has_begun ? "\n" : "") + "error: " + why + "\n";
    const int status = dri_send_last_line(peer, line.c_str());
    if (status == 0) {
        dri_answer_ends(peer, {DREND_ANSWER_GIVEN_UP, code, why.c_str(), nullptr});
    }
    return status;
}

// Sends the line "error: TEXT" of a request that is not answered, `line`, and says so to the
// daemon's protocol, with `code` for programs. 0, or DREND_PEER_LOST.
inline int dri_refuse(void* peer, const char* code, const std::string& line) {
    static constexpr std::string_view error = "error: ";
    const int status = dri_send_last_line(peer, line.c_str());
    const size_t begin = line.starts_with(error) ? error.size() : 0;
    const std::string text = line.substr(begin, line.find('\n') - begin);
    if (status == 0) {
        dri_answer_ends(peer, {DREND_ANSWER_REFUSED, code, text.c_str(), nullptr});
    }
    return status;
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
