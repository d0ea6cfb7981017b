// SPDX-License-Identifier: BSD-2-Clause

// The external walker: what commands show, looked at place by place by an operator.
//
//     (nothing)                                      the commands
//     show-interfaces/interfaces                     what is there: kind and kids, at a leaf the value
//     show-interfaces/interfaces/interface list 5    the paths of its first five elements
//
// A search suspends where the daemon wishes, as a walk does. Daemon's thread.
#pragma once

// Answers one question. Null when that is done; else the handle of the suspended answer, which is the
// peer's cookie and was handed to the reschedule handler.
void* dri_xwalker(void* peer, const char* argument);
