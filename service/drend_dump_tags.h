// SPDX-License-Identifier: BSD-2-Clause

// Runs one render command for one peer.
//
// Daemon's thread. A result that is not null is the suspended request, to be kept
// (dr_suspendable_c::keep); it finishes everything itself when it is continued.
#pragma once

#include "service/dr_request.h"

// Null when the command is finished, with `status` 0 or DREND_PEER_LOST. A filter among the
// arguments replaces the request's own, one derived from the command's input parameters replaces
// both.
std::unique_ptr<dr_request_c> dri_dump_tags(const dr_request_s& asked, int* status);

// The same for requests of the menu, whose peer always gets an answer: the bare code 210 when the
// command prints nothing.
std::unique_ptr<dr_request_c> dri_mgmt_dump_tags(const dr_request_s& asked, int* status);
