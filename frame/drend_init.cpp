// SPDX-License-Identifier: BSD-2-Clause

// Start-up: the one file that knows every subsystem, and so the one that may include all of them.
//
// A daemon starts whatever state its definitions are in: an operator must be able to log in to
// mend them.
#include <algorithm>
#include <cstdlib>

#include "definitions/drend_load.h"
#include "drend.h"
#include "frame/dr_no_memory.h"
#include "model/dr_meta_context.h"
#include "orvex_platform/mgmt_sock.h"
#include "render/dr_deferral.h"
#include "service/drend_fixed_commands.h"
#include "service/drend_menu.h"

namespace {

constexpr drend_menu_entry_s DREND_ENTRY = {"drend", "Dynamic rendering commands", 0,
                                            nullptr, nullptr};

// A copy of the daemon's menu of `count` entries, its terminator included, with the library's entry
// before the terminator. Null when memory ran out.
drend_menu_entry_s* extended_menu(const drend_menu_entry_s* menu, unsigned count) {
    auto* extended = static_cast<drend_menu_entry_s*>(calloc(count + 1, sizeof *menu));
    if (extended != nullptr) {
        std::copy_n(menu, count - 1, extended);
        extended[count - 1] = DREND_ENTRY;
    }
    return extended;
}

} // namespace

drend_menu_entry_s* drend_init(void* event_context, const drend_menu_entry_s* menu,
                               int count, const char* load_arg) {
    dr_meta_context_c::prepare_thread();
    drend_set_get_cookie_method(mgmt_sock_get_drend_cookie);
    drend_set_set_cookie_method(mgmt_sock_set_drend_cookie);
    drend_set_cleanup_setup_method(mgmt_sock_set_drend_close_method);
    drend_set_event_context(event_context);
    drend_init_fixed_commands();
    drend_set_flush_method(ms_peer_flush);
    drend_set_peer_close_method(mgmt_sock_close);
    // A daemon whose definitions fail to load still starts.
    dri_load_merged(load_arg);
    const auto entries = static_cast<unsigned>(std::max(count, 1));
    drend_menu_entry_s* extended = extended_menu(menu, entries);
    dri_set_eventlib_rescheduler(event_context);
    if (extended == nullptr) {
        return nullptr;
    }
    void* submenu = &extended[entries - 1].submenu;
    const int built =
        dri_unless_no_memory(-1, [submenu] { return dri_rebuild_menu(submenu), 0; });
    if (built != 0) {
        free(extended);
        return nullptr;
    }
    drend_set_rebuild_menu(dri_rebuild_menu, submenu);
    return extended;
}

int drend_app_init(const char* load_arg) {
    dr_meta_context_c::prepare_thread();
    return drend_init_fixed_commands() != 0 ? -1 : dri_load_merged(load_arg);
}

int drend_dir_init(void) {
    dr_meta_context_c::prepare_thread();
    return dri_load_merged(nullptr) != 0 ? -1 : static_cast<int>(dri_get_count());
}
