// SPDX-License-Identifier: BSD-2-Clause

// The fixed commands: the library's own service commands and those that a daemon adds.
//
// The table only grows, and is guarded by its lock. The functions for daemons are declared in
// drend.h.
#pragma once

#include <vector>

#include "drend.h"
#include "render/dr_answer.h"

// Makes the table with the library's own commands, once. 0, or -1 when memory ran out.
int drend_init_fixed_commands();

bool dri_is_fixed_command(const char* name);

// The menu's handler of a fixed command of the library's own.
template <int (*Run)(void* peer, const char* argument)>
int dri_fixed_handler(void* peer, void* /*parse_context*/, const char* argument) {
    if (dri_refuse_while_answering(peer)) {
        return -1;
    }
    return dri_answer(peer, -1, [&] { return Run(peer, argument); });
}

unsigned dri_fixed_count();
// The entry at `index`; an all-zero one beyond the last.
drend_menu_entry_s dri_fixed_command(unsigned index);
// A copy of the whole table.
std::vector<drend_menu_entry_s> dri_copy_fixed_commands();

// Runs the fixed command of that word, with `argument` or null. Its result, or -1 for none.
int dri_menu_call_fixed_command_function(void* peer, const char* name, str_buf_s* argument);
