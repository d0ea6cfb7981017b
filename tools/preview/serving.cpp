// SPDX-License-Identifier: BSD-2-Clause

#include "serving.h"

#include <csignal>
#include <cstdio>
#include <memory>

#include <event2/event.h>

#include "drend.h"
#include "orvex_platform/eventlib.h"
#include "orvex_platform/mgmt_server.h"

namespace {

struct free_event_s {
    void operator()(event* signal) const { event_free(signal); }
};
using event_t = std::unique_ptr<event, free_event_s>;

void on_end(evutil_socket_t, short, void* base) {
    event_base_loopbreak(static_cast<event_base*>(base));
}

event_t end_on(event_base* base, int number) {
    event_t signal(evsignal_new(base, number, on_end, base));
    if (signal != nullptr) {
        event_add(signal.get(), nullptr);
    }
    return signal;
}

int serve_menu(evContext loop, const drend_menu_entry_s* menu, const std::string& socket) {
    auto* base = static_cast<event_base*>(loop.opaque);
    const event_t ends[] = {end_on(base, SIGTERM), end_on(base, SIGINT)};
    mgmt_server_config_s config{};
    config.path = socket.c_str();
    config.menu = menu;
    char error[256] = "";
    mgmt_server_s* server = mgmt_server_open(loop, &config, error, sizeof error);
    if (server == nullptr) {
        fprintf(stderr, "drend-preview: %s\n", error);
        return 1;
    }
    printf("drend-preview: serving %s\n", socket.c_str());
    fflush(stdout);
    const int status = event_base_dispatch(base) < 0 ? 1 : 0;
    mgmt_server_close(server);
    return status;
}

} // namespace

int serve(const definitions_folder_c& definitions, const std::string& socket) {
    static evContext context{}; // the library keeps it
    drend_menu_entry_s own_menu[1] = {};
    // Stays until the process ends: a reload makes the sub-menu in it anew.
    static const drend_menu_entry_s* menu = nullptr;
    if (platform_open_loop(&context) == 0) {
        definitions.load([&] { menu = drend_init(&context, own_menu, 1, nullptr); });
    }
    if (menu == nullptr) {
        fprintf(stderr, "drend-preview: out of memory\n");
        return 1;
    }
    const int status = serve_menu(context, menu, socket);
    platform_close_loop(&context);
    return status;
}
