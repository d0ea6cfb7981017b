// SPDX-License-Identifier: BSD-2-Clause

// Commands that show what another command of their application shows (dc_tag_of).
//
//     {"dc_name": "show-interfaces", "dc_tag": {...}},
//     {"dc_name": "get", "dc_tag_of": "show-interfaces"}      a tree of its own, with the same tags
//
// Belongs to the load.
#pragma once

#include "definitions/dr_findings.h"
#include "definitions/drend_load.h"

// Copies the trees that the commands of a set ask for, once all of its files are read and before it
// is merged. One that asks for a command that there is not, or for itself by way of others, stays
// without a tag, with a finding. Throws std::bad_alloc.
void dri_take_trees(dr_daemon_context_c& set, dr_findings_c& findings);
