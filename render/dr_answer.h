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

// The end of an answer that is not complete; `why` is a line without its end.
inline drend_answer_end_s dri_failed(int end, const char* code, const char* why) {
    return {end, code, why, nullptr, 0, 0};
}

// Ends an answer as `end` says, with `line` where the daemon's protocol does not tell the peer. 0,
// or DREND_PEER_LOST.
inline int dri_end_with_line(void* peer, const drend_answer_end_s& end, const char* line) {
    return dri_answer_ends(peer, end) ? 0 : dri_send_last_line(peer, line);
}

// Ends an answer that cannot go on, with a line that says why. 0, or DREND_PEER_LOST.
inline int dri_give_up(void* peer, bool has_begun, const char* code,
                       const std::string& why) {
    const std::string line = std::string(has_begun ? "\n" : "") + "error: " + why + "\n";
    return dri_end_with_line(peer, dri_failed(DREND_ANSWER_GIVEN_UP, code, why.c_str()),
                             line.c_str());
}

inline void dri_send_no_memory(void* peer) {
    dri_end_with_line(peer,
                      dri_failed(DREND_ANSWER_GIVEN_UP, "out-of-memory", "out of memory"),
                      "error: out of memory\n");
}

// Refuses a request with the line "error: TEXT", `line`, and `code` for programs. 0, or
// DREND_PEER_LOST.
inline int dri_refuse(void* peer, const char* code, const std::string& line) {
    static constexpr std::string_view error = "error: ";
    const size_t begin = line.starts_with(error) ? error.size() : 0;
    const std::string text = line.substr(begin, line.find('\n') - begin);
    return dri_end_with_line(peer, dri_failed(DREND_ANSWER_REFUSED, code, text.c_str()),
                             line.c_str());
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
