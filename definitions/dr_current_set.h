// SPDX-License-Identifier: BSD-2-Clause

// The current set of definitions, for the sources that look into it.
//
// The pointer, and whatever is read through it, is guarded by the definitions lock.
#pragma once

#include "definitions/drend_load.h"
#include "frame/drend_lock.h"

drend_lock_c& dri_definitions_lock();

// The set in force, or null. The caller holds the definitions lock.
dr_daemon_context_c* dri_current_set();

// Merges the commands of a set that share a name. Throws std::bad_alloc; what was merged until
// then stays, and merging again does the rest.
void dri_merge_set(dr_daemon_context_c& set);
