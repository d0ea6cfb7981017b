// SPDX-License-Identifier: BSD-2-Clause

// The menu as a daemon serves it, and what happens when an entry is chosen.
//
// A menu owns its texts, in one block: a reload frees the commands' own while a peer may be reading
// the menu. A replaced menu lives until the next rebuild, for "reload" itself runs out of it.
#include "service/drend_menu.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "definitions/dr_current_set.h"
#include "definitions/drend_lookup.h"
#include "frame/drend_hooks.h"
#include "orvex_platform/mgmt_sock.h"
#include "render/dr_answer.h"
#include "service/dr_parameters.h"
#include "service/drend_dump_tags.h"
#include "service/drend_fixed_commands.h"

namespace {

// Replaced sub-menus, by the place that they were replaced at; one each is kept.
struct replaced_menu_s {
    void* submenu;
    drend_menu_entry_s* entries;
};
// Never destroyed: the daemon may serve its menu until the process ends.
auto&
    replaced_menus = // NOLINT(cert-err58-cpp): a process without that memory starts nothing
    *new std::vector<replaced_menu_s>;

void keep_until_next_rebuild(void* submenu, drend_menu_entry_s* entries) {
    for (replaced_menu_s& kept : replaced_menus) {
        if (kept.submenu == submenu) {
            free(std::exchange(kept.entries, entries));
            return;
        }
    }
    replaced_menus.push_back({submenu, entries});
}

unsigned loaded_count() {
    drend_lock_guard_c guard(dri_definitions_lock());
    return dri_current_set() == nullptr ? 0 : dri_get_count();
}

// A menu in one block of memory: the entries, a terminator, and the texts that they point to.
drend_menu_entry_s* make_menu(const std::vector<drend_menu_entry_s>& entries) {
    size_t size = (entries.size() + 1) * sizeof(drend_menu_entry_s);
    for (const drend_menu_entry_s& entry : entries) {
        size += strlen(entry.command) + strlen(entry.help) + 2;
    }
    auto* menu = static_cast<drend_menu_entry_s*>(calloc(1, size));
    if (menu == nullptr) {
        throw std::bad_alloc();
    }
    auto* texts = reinterpret_cast<char*>(menu + entries.size() + 1);
    drend_menu_entry_s* at = menu;
    for (const drend_menu_entry_s& entry : entries) {
        *at = entry;
        at->command = texts;
        texts = stpcpy(texts, entry.command) + 1;
        at->help = texts;
        texts = stpcpy(texts, entry.help) + 1;
        ++at;
    }
    return menu;
}

drend_menu_entry_s* make_drend_menu() {
    // The texts of the render commands stay while their set is current.
    drend_lock_guard_c guard(dri_definitions_lock());
    std::vector<drend_menu_entry_s> entries(loaded_count());
    dri_append_parse_menu(entries.data(), static_cast<unsigned>(entries.size()));
    for (const drend_menu_entry_s& fixed : dri_copy_fixed_commands()) {
        entries.push_back(fixed);
    }
    return make_menu(entries);
}

int report_subcode(const char* format, unsigned subcode) {
    fprintf(stderr, format, subcode);
    return -1;
}

// What a subcode of the menu stands for: a render command, a fixed one (whose words are not null),
// or nothing.
struct chosen_s {
    bool is_rendered = false;
    dri_used_tag_t tag; // of the render command; null when it has none
    bool is_get = false;
    drend_menu_entry_s fixed{};
};

// Looks at counts and entry under one lock: other threads may be loading.
chosen_s choose(unsigned subcode) {
    drend_lock_guard_c guard(dri_definitions_lock());
    chosen_s chosen;
    const unsigned rendered = loaded_count();
    chosen.is_rendered = subcode < rendered;
    if (!chosen.is_rendered) {
        chosen.fixed = dri_fixed_command(subcode - rendered);
        return chosen;
    }
    chosen.tag.reset(dri_acquire_command_tag(subcode));
    chosen.is_get = strcmp(dri_get_command_string(subcode), DRI_NETCONF_GET) == 0;
    return chosen;
}

int render(const dr_request_s& asked) {
    int status = 0;
    auto suspended = dri_mgmt_dump_tags(asked, &status);
    if (suspended != nullptr) {
        dri_deferred(
            dr_suspendable_c::keep(std::move(suspended), dr_suspendable_c::keeper_e::PEER));
    }
    return status;
}

int run_rendered(void* peer, unsigned subcode, const chosen_s& chosen,
                 const char* argument) {
    if (chosen.tag == nullptr) {
        if (dri_is_strict()) {
            dri_refuse(peer, "no-tags", "error: the command's definition has no tags\n");
        }
        return report_subcode("Invalid top node for subcode '%d'\n", subcode);
    }
    if (dri_refuse_while_answering(peer)) {
        return -1;
    }
    dr_request_s asked{peer, chosen.tag.get(), argument};
    asked.wrap_in_data = chosen.is_get;
    return dri_answer<int>(peer, DREND_ERR, [&] { return render(asked); });
}

int run_render_command(void* peer, void* parse_context, const char* argument) {
    const auto subcode = static_cast<unsigned>(ms_parse_get_subcode(parse_context));
    mgmt_sock_set_drend_close_method(peer, dri_cleanup_cookie);
    return run_rendered(peer, subcode, choose(subcode), argument);
}

} // namespace

// --- the sub-menu ---

int dri_append_parse_menu(drend_menu_entry_s* entries, unsigned n) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const unsigned count = std::min(n, loaded_count());
    for (unsigned i = 0; i < count; ++i) {
        entries[i] = {dri_get_command_string(i), dri_get_command_help(i),
                      static_cast<int>(i), nullptr, run_render_command};
    }
    return 0;
}

void dri_rebuild_menu(void* submenu) {
    if (submenu == nullptr) {
        return;
    }
    replaced_menus.reserve(replaced_menus.size() +
                           1); // nothing may fail once there is a menu
    drend_menu_entry_s* menu = make_drend_menu();
    auto** place = static_cast<drend_menu_entry_s**>(submenu);
    keep_until_next_rebuild(submenu, std::exchange(*place, menu));
}

int dri_run_menu_rebuild(void* peer) {
    if (!dri_call_rebuild_menu()) {
        drend_send(peer, "Missing rebuild_menu_fn");
        return -1;
    }
    return 0;
}

// --- running an entry ---

int drend_dump_tags(void* peer, unsigned int subcode, const char* argument) {
    const chosen_s chosen = choose(subcode);
    if (chosen.is_rendered) {
        return run_rendered(peer, subcode, chosen, argument);
    }
    if (chosen.fixed.command == nullptr) {
        return report_subcode("drend:subcode out of range '%d'\n", subcode);
    }
    if (dri_refuse_while_answering(peer)) {
        return -1;
    }
    chosen.fixed.handler(peer, nullptr, argument);
    return 0;
}

int drend_send_parameters(void* peer, const drend_menu_entry_s* entry) {
    if (entry->handler != run_render_command) {
        return DREND_ERR;
    }
    const chosen_s chosen = choose(static_cast<unsigned>(entry->subcode));
    if (chosen.tag == nullptr) {
        return DREND_ERR;
    }
    return dri_answer<int>(peer, DREND_ERR, [&] {
        dri_answer_begins(peer, "text/tab-separated-values");
        const std::string lines = dri_parameter_lines(*chosen.tag);
        return dri_send_text(peer, lines.c_str(), lines.size()) < 0 ? DREND_PEER_LOST : 0;
    });
}

// --- queries ---

unsigned int drend_menu_get_count(void) {
    return loaded_count() + dri_fixed_count();
}

const char* drend_menu_get_command_string(unsigned int index) {
    drend_lock_guard_c guard(dri_definitions_lock());
    const unsigned rendered = loaded_count();
    return index < rendered ? dri_get_command_string(index)
                            : dri_fixed_command(index - rendered).command;
}

const char* drend_menu_get_command_help(unsigned int index) {
    drend_lock_guard_c guard(dri_definitions_lock());
    if (index < loaded_count()) {
        return dri_get_command_help(index);
    }
    // Counted back by the number of fixed commands, not by that of the render commands: the two
    // queries agree only when both numbers are equal.
    return index < drend_menu_get_count()
               ? dri_fixed_command(index - dri_fixed_count()).help
               : nullptr;
}

int drend_menu_get_command_subcode(unsigned int index) {
    return index < loaded_count() ? static_cast<int>(index) : 0;
}
