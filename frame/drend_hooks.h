// SPDX-License-Identifier: BSD-2-Clause

// The process-wide hooks: how text leaves the library, how a fatal error ends the process,
// where the event loop is and how the menu is built again.
//
//     walker -> drend_send -> formatter -> installed send method, or standard output
//
// Slots are read without a lock and are therefore atomics; a replacement takes effect at
// the next call. The public functions are declared in drend.h; here stands what only the
// library calls.
#pragma once

#include <cstddef>

#include "drend.h"

// drend_send(peer, "%s", text) for a text whose length is known.
int dri_send_text(void* peer, const char* text, size_t length);

// What drend_set_strict has set.
bool dri_is_strict();

// Tells the daemon's protocol, where it wants to know, how an answer begins and how it ended.
void dri_answer_begins(void* peer, const char* media_type);
// Whether the protocol tells the peer, so that no line has to.
bool dri_answer_ends(void* peer, const drend_answer_end_s& end);

// Runs the installed rebuild function. False when none is installed.
bool dri_call_rebuild_menu();
