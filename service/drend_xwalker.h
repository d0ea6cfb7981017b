// SPDX-License-Identifier: BSD-2-Clause

// The external walker: what commands show, looked at place by place by an operator.
//
//     (nothing)                       the commands
//     show-x/xs                       what is there: kind, kids, at a leaf the value
//     show-x/xs/x[name='a'] list 5    the paths of up to five elements
//
// A search suspends where the daemon wishes, as a walk does. Daemon's thread.
#pragma once

// Answers one question. Null when that is done; else the handle of the suspended answer, which is
// the peer's cookie and was handed to the reschedule handler.
void* dri_xwalker(void* peer, const char* argument);
