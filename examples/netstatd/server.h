// SPDX-License-Identifier: BSD-2-Clause

// The daemon as a server of its management socket.
#pragma once

#include "drend.h"
#include "orvex_platform/mgmt_server.h"

// Serves `config.menu` until SIGTERM or SIGINT comes; SIGHUP has the definitions loaded again.
// Returns the exit status. Writes one line on standard output when the socket can be used.
int serve(evContext loop, const mgmt_server_config_s& config);

// How many requests the socket has had answered; 0 while none is served.
unsigned long served_requests();

// The entries of the "drend" menu: the render commands and the service commands.
const drend_menu_entry_s* drend_submenu(const drend_menu_entry_s* menu);
const drend_menu_entry_s* find_entry(const drend_menu_entry_s* entry, const char* word);
