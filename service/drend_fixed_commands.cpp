// SPDX-License-Identifier: BSD-2-Clause

// The table of fixed commands and the handlers of the library's own.
//
// A handler ends the answer of nobody else: while a peer is being answered, another command of it
// is refused.
#include "service/drend_fixed_commands.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "definitions/drend_load.h"
#include "frame/dr_no_memory.h"
#include "frame/dr_str_buf.h"
#include "frame/drend_hooks.h"
#include "frame/drend_lock.h"
#include "render/dr_answer.h"
#include "service/drend_dump.h"
#include "service/drend_menu.h"
#include "service/drend_xwalker.h"

namespace {

struct fixed_table_s {
    drend_lock_c lock;
    std::vector<drend_menu_entry_s> entries;
};

fixed_table_s& table() {
    static fixed_table_s fixed;
    return fixed;
}

int dump_schema(void* peer, const char* /*argument*/) {
    dri_dump_schema(peer);
    return 0;
}

int dump_values(void* peer, const char* argument) {
    dri_dump(peer, argument);
    return 0;
}

int dump_render_tree(void* peer, const char* argument) {
    const bool is_named = argument != nullptr && *argument != '\0';
    dri_dump_render_tree(peer, is_named ? argument : nullptr);
    return 0;
}

int walk_externally(void* peer, const char* argument) {
    dri_xwalker(peer, argument);
    return 0;
}

int reload(void* peer, const char* /*argument*/) {
    int reloaded = -1;
    int rebuilt = -1;
    dri_answer(peer, 0, [&] {
        dr_findings_c findings;
        reloaded = dri_reload_json(findings);
        findings.send_errors(peer);
        return 0;
    });
    dri_answer(peer, 0, [&] { return rebuilt = dri_run_menu_rebuild(peer); });
    const bool failed = reloaded != 0 || rebuilt != 0;
    if (!failed) {
        drend_send(peer, "%s", "finish reloading\n");
    } else if (!dri_answer_ends(peer, dri_failed(DREND_ANSWER_GIVEN_UP, "reload-failed",
                                                 "error reloading"))) {
        drend_send(peer, "%s", "error reloading\n");
    }
    return rebuilt;
}

constexpr drend_menu_entry_s OWN_COMMANDS[] = {
    {"dump-schema", "Dump the dynamic rendering schema", 0, nullptr,
     dri_fixed_handler<dump_schema>},
    {"dump", "Dump the values of all objects modeled by dynamic rendering", 0, nullptr,
     dri_fixed_handler<dump_values>},
    {"dump-render-tree", "Dump the render tag tree", 0, nullptr,
     dri_fixed_handler<dump_render_tree>},
    {"xwalker", "eXternal Walker", 0, nullptr, dri_fixed_handler<walk_externally>},
    {"reload", "Reloads json files", 0, nullptr, dri_fixed_handler<reload>},
};

// Appends entries, or leaves the table as it was and returns -1.
int append(const drend_menu_entry_s* first, const drend_menu_entry_s* last) {
    return dri_unless_no_memory(-1, [&] {
        table().entries.insert(table().entries.end(), first, last);
        return 0;
    });
}

} // namespace

bool dri_is_fixed_command(const char* name) {
    drend_lock_guard_c guard(table().lock);
    const auto& entries = table().entries;
    return std::any_of(entries.begin(), entries.end(), [name](const auto& entry) {
        return strcmp(entry.command, name) == 0;
    });
}

int drend_init_fixed_commands() {
    drend_lock_guard_c guard(table().lock);
    dri_set_taken_names(dri_is_fixed_command);
    return table().entries.empty()
               ? append(std::begin(OWN_COMMANDS), std::end(OWN_COMMANDS))
               : 0;
}

int drend_add_fixed_commands(const drend_menu_entry_s* entries, int n) {
    drend_lock_guard_c guard(table().lock);
    return drend_init_fixed_commands() != 0 || n < 0 ? -1 : append(entries, entries + n);
}

unsigned dri_fixed_count() {
    drend_lock_guard_c guard(table().lock);
    return static_cast<unsigned>(table().entries.size());
}

drend_menu_entry_s dri_fixed_command(unsigned index) {
    drend_lock_guard_c guard(table().lock);
    return index < table().entries.size() ? table().entries[index] : drend_menu_entry_s{};
}

std::vector<drend_menu_entry_s> dri_copy_fixed_commands() {
    drend_lock_guard_c guard(table().lock);
    return table().entries;
}

int dri_menu_call_fixed_command_function(void* peer, const char* name,
                                         str_buf_s* argument) {
    dr_str_buf_c text;
    if (argument != nullptr) {
        text = argument;
    }
    for (const drend_menu_entry_s& entry : dri_copy_fixed_commands()) {
        if (strcmp(entry.command, name) == 0) {
            return entry.handler(peer, nullptr,
                                 argument == nullptr ? nullptr : text.c_str());
        }
    }
    return -1;
}
