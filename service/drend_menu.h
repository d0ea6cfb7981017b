// SPDX-License-Identifier: BSD-2-Clause

// The "drend" menu: one entry for each render command, then the fixed commands.
//
//     index  0 .. count-1    render commands, in load order
//            count ..        fixed commands, in the order in which they were added
//
// Daemon's thread. The functions for daemons are declared in drend.h.
#pragma once

#include "drend.h"

// Writes the entries of the first `n` render commands. Their texts belong to the current set.
// Returns 0.
int dri_append_parse_menu(drend_menu_entry_s* entries, unsigned n);

// Builds the sub-menu that the drend_menu_entry_s pointer at `submenu` leads to anew, with texts of
// its own. The menu before is kept until the rebuild after this one, because a handler may be
// running out of it. Nothing for null. When memory runs out, std::bad_alloc: the menu is as it was.
void dri_rebuild_menu(void* submenu);

// Runs the installed rebuild function. 0, or -1 with a line for the peer when there is none.
int dri_run_menu_rebuild(void* peer);
