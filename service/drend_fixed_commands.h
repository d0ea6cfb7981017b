// SPDX-License-Identifier: BSD-2-Clause

// The fixed commands: the library's own service commands and those that a daemon adds.
//
// The table only grows, and is guarded by its lock. The functions for daemons are declared in
// drend.h.
#pragma once

#include <vector>

#include "drend.h"

// Makes the table with the library's own commands, once. 0, or -1 when memory ran out.
int drend_init_fixed_commands();

unsigned dri_fixed_count();
// The entry at `index`; an all-zero one beyond the last.
drend_menu_entry_s dri_fixed_command(unsigned index);
// A copy of the whole table.
std::vector<drend_menu_entry_s> dri_copy_fixed_commands();

// Runs the fixed command of that word, with `argument` or null. Its result, or -1 for none.
int dri_menu_call_fixed_command_function(void* peer, const char* name, str_buf_s* argument);
