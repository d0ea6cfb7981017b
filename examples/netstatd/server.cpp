// SPDX-License-Identifier: BSD-2-Clause

#include "server.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include <event2/event.h>

#include "orvex_platform/mgmt_sock.h"

namespace {

struct free_event_s {
    void operator()(event* signal) const { event_free(signal); }
};
using event_t = std::unique_ptr<event, free_event_s>;

mgmt_server_s* server = nullptr; // while it is open

void on_end(evutil_socket_t, short, void* base) {
    event_base_loopbreak(static_cast<event_base*>(base));
}

// The library's own "reload": its commands stand behind those of the definitions.
unsigned int reload_index() {
    unsigned int index = drend_menu_get_count();
    do {
        --index;
    } while (index > 0 && strcmp(drend_menu_get_command_string(index), "reload") != 0);
    return index;
}

// What it says goes to standard error.
void on_reload(evutil_socket_t, short, void*) {
    void* peer = mgmt_sock_open_local(stderr);
    if (peer == nullptr) {
        fprintf(stderr, "netstatd: cannot reload: out of memory\n");
        return;
    }
    drend_dump_tags(peer, reload_index(), nullptr);
    mgmt_sock_close(peer);
}

// A second signal does not cut the end short.
void block_end_signals() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGINT);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
}

event_t add_signal(event_base* base, int number, event_callback_fn callback) {
    event_t signal(evsignal_new(base, number, callback, base));
    if (signal != nullptr) {
        event_add(signal.get(), nullptr);
    }
    return signal;
}

} // namespace

unsigned long served_requests() {
    return server == nullptr ? 0 : mgmt_server_stats(server).requests;
}

const drend_menu_entry_s* drend_submenu(const drend_menu_entry_s* menu) {
    return find_entry(menu, "drend")->submenu;
}

const drend_menu_entry_s* find_entry(const drend_menu_entry_s* entry, const char* word) {
    while (entry->command != nullptr && strcmp(word, entry->command) != 0) {
        ++entry;
    }
    return entry->command == nullptr ? nullptr : entry;
}

int serve(evContext loop, const mgmt_server_config_s& config) {
    auto* base = static_cast<event_base*>(loop.opaque);
    const event_t signals[] = {add_signal(base, SIGTERM, on_end),
                               add_signal(base, SIGINT, on_end),
                               add_signal(base, SIGHUP, on_reload)};
    char error[256] = "out of memory";
    if (signals[0] != nullptr && signals[1] != nullptr && signals[2] != nullptr) {
        server = mgmt_server_open(loop, &config, error, sizeof error);
    }
    if (server == nullptr) {
        fprintf(stderr, "netstatd: %s\n", error);
        return 1;
    }
    printf("netstatd: serving %s\n", config.path);
    fflush(stdout);
    const int status = event_base_dispatch(base) < 0 ? 1 : 0;
    block_end_signals();
    mgmt_server_close(std::exchange(server, nullptr));
    return status;
}
