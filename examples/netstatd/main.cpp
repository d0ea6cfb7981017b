// SPDX-License-Identifier: BSD-2-Clause

// netstatd: an example daemon that shows this host's network state as its render definitions say.
// It serves a management socket until it is told to end, or answers the requests that it is given
// on its command line, each through the menu that the library made for it, and ends:
//
//     netstatd --socket /run/netstatd/netstatd.sock --run-dir /run/orvex
//     netstatd --once 'show-interfaces name=lo as-json'
//     netstatd --once "show-routes filter='/route-information/table[name=\"ipv4-main\"]'"
//     netstatd --once reload --once dump-schema

#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>
#include <event2/event.h>

#include "counters.h"
#include "drend.h"
#include "model.h"
#include "orvex_platform/eventlib.h"
#include "orvex_platform/mgmt_sock.h"
#include "own_prefix.h"
#include "server.h"

namespace {

struct options_s {
    std::vector<std::string> requests;
    std::string prefix = own_prefix();
    unsigned rows_per_slice = 0;
    std::uint32_t routes = 0;
    std::string socket;
    std::string group;
    std::string run_dir;
    mgmt_server_config_s server{};
};

// What corvane-netconf-get shows, and the features of it. A client that takes names for what they
// are needs the modules of identities as well.
constexpr const char* MODULES[] = {
    "urn:ietf:params:xml:ns:yang:ietf-interfaces?module=ietf-interfaces&revision=2018-02-20"
    "&features=if-mib",
    "urn:ietf:params:xml:ns:yang:iana-if-type?module=iana-if-type&revision=2014-05-08",
    "urn:ietf:params:xml:ns:yang:ietf-ip?module=ietf-ip&revision=2018-02-22",
    "urn:ietf:params:xml:ns:yang:ietf-routing?module=ietf-routing&revision=2018-03-13"
    "&features=multiple-ribs",
    "urn:ietf:params:xml:ns:yang:ietf-ipv4-unicast-routing?module=ietf-ipv4-unicast-routing"
    "&revision=2018-03-13",
    "urn:ietf:params:xml:ns:yang:ietf-ipv6-unicast-routing?module=ietf-ipv6-unicast-routing"
    "&revision=2018-03-13",
    nullptr};

constexpr unsigned SEND_BUFFER = 16384;        // as much as the socket writes at once
constexpr std::uint32_t ROUTES_MAX = 16000000; // addresses in 10.0.0.0/8, nearly

void add_models(std::uint32_t routes) {
    add_synthetic_model(routes);
    register_hardware_addresses();
    add_interface_model();
    add_address_model();
    add_neighbor_model();
    add_route_model();
    add_self_model();
}

// A long answer need not hold the daemon up: this handler, asked after each row, has the
// walk suspended when it has given as many rows as one turn of the event loop may take.
int is_slice_full(dr_meta_context_s*, void* data) {
    static unsigned rows = 0;
    const auto* options = static_cast<const options_s*>(data);
    return ++rows % options->rows_per_slice == 0;
}

int report_unknown(const std::string& word, const drend_menu_entry_s* entry) {
    fprintf(stderr, "netstatd: no command '%s'; there are:\n", word.c_str());
    for (; entry->command != nullptr; ++entry) {
        fprintf(stderr, "  %-24s %s\n", entry->command, entry->help);
    }
    return 1;
}

// Does for one request what a management socket does for each of a peer's: finds the menu entry by
// the first word and hands the rest to its handler. What the handler leaves suspended is
// continued by the event loop, which has nothing else to do here and returns when it is done.
int run_request(const drend_menu_entry_s* menu, const std::string& request,
                event_base* loop) {
    const std::size_t blank = request.find(' ');
    const std::string word = request.substr(0, blank);
    const std::string argument =
        blank == std::string::npos ? std::string() : request.substr(blank + 1);
    const drend_menu_entry_s* entry = find_entry(drend_submenu(menu), word.c_str());
    if (entry == nullptr) {
        return report_unknown(word, drend_submenu(menu));
    }
    ++daemon_counters.requests;
    const std::uint64_t errors_before = daemon_counters.read_errors;
    void* peer = mgmt_sock_open_local(stdout);
    if (peer == nullptr) {
        fprintf(stderr, "netstatd: out of memory\n");
        return 1;
    }
    ms_parse_context_s parsed{entry->subcode};
    const int status =
        entry->handler(peer, &parsed, argument.empty() ? nullptr : argument.c_str());
    event_base_dispatch(loop);
    const bool is_written = mgmt_sock_close(peer) == 0 && ferror(stdout) == 0;
    if (!is_written) {
        fprintf(stderr, "netstatd: cannot write the answer\n");
    }
    const bool is_whole = status == 0 && daemon_counters.read_errors == errors_before;
    return is_whole && is_written ? 0 : 1;
}

void add_limits(CLI::App& app, mgmt_server_config_s& server) {
    auto* limits = app.add_option_group("limits of the socket");
    limits->add_option("--max-peers", server.max_peers, "N peers at once");
    limits->add_option("--slice-usec", server.slice_usec,
                       "Let other peers in after N microseconds of an answer");
    limits->add_option("--high-water", server.high_water,
                       "Suspend an answer while N bytes wait for its peer");
    limits->add_option("--stall-seconds", server.stall_seconds,
                       "Close a peer that takes nothing for N seconds");
    limits->add_option("--spare-descriptors", server.spare_descriptors,
                       "Leave N descriptors to the daemon");
}

void add_options(CLI::App& app, options_s& options) {
    auto* once =
        app.add_option("--once", options.requests,
                       "Answer REQUEST, a command and its arguments; may be repeated")
            ->type_name("REQUEST")
            ->expected(1)
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    auto* socket = app.add_option("--socket", options.socket, "Serve the UNIX socket PATH")
                       ->type_name("PATH")
                       ->excludes(once);
    app.add_option("--group", options.group, "Let members of the group NAME connect")
        ->type_name("NAME")
        ->needs(socket);
    app.add_option("--run-dir", options.run_dir,
                   "Register the socket in DIR, where orvex-netconf finds it")
        ->type_name("DIR")
        ->needs(socket);
    app.add_option("--prefix", options.prefix,
                   "Take definitions from DIR/usr/lib/render and the like")
        ->type_name("DIR")
        ->capture_default_str();
    app.add_option("--routes", options.routes, "Have N routes for show-synthetic-routes")
        ->type_name("N")
        ->check(CLI::Range(0U, ROUTES_MAX));
    app.add_option("--rows-per-slice", options.rows_per_slice,
                   "Suspend and continue the answer after each N rows")
        ->type_name("N")
        ->needs(once);
    add_limits(app, options.server);
    app.callback([once, socket] {
        if (once->empty() && socket->empty()) {
            throw CLI::RequiredError("--once or --socket");
        }
    });
}

int serve_socket(evContext loop, options_s& options, const drend_menu_entry_s* menu) {
    options.server.path = options.socket.c_str();
    options.server.group = options.group.empty() ? nullptr : options.group.c_str();
    options.server.menu = menu;
    options.server.run_dir = options.run_dir.empty() ? nullptr : options.run_dir.c_str();
    options.server.name = "netstatd";
    options.server.modules = MODULES;
    drend_set_send_buffer(SEND_BUFFER);
    return serve(loop, options.server);
}

int answer_once(const options_s& options, const drend_menu_entry_s* menu,
                event_base* loop) {
    int status = 0;
    for (const std::string& request : options.requests) {
        status |= run_request(menu, request, loop);
    }
    return status;
}

} // namespace

int main(int argc, char** argv) try {
    options_s options;
    CLI::App app("Shows this host's network state through render definitions.", "netstatd");
    add_options(app, options);
    CLI11_PARSE(app, argc, argv);

    add_models(options.routes);
    if (options.rows_per_slice > 0) {
        drend_add_walk_handlers(nullptr, is_slice_full, &options);
    }
    drend_set_prefix(options.prefix.c_str());
    drend_set_send_method_w_return(mgmt_sock_send);
    drend_set_strict(1); // who asks is told what is wrong

    evContext context{};
    drend_menu_entry_s own_menu[1] = {}; // nothing but what the library adds
    // Stays until the process ends: a reload makes the sub-menu in it anew.
    static const drend_menu_entry_s* menu = nullptr;
    if (platform_open_loop(&context) == 0) {
        drend_add_service_commands();
        menu = drend_init(&context, own_menu, 1, nullptr);
    }
    if (menu == nullptr) {
        fprintf(stderr, "netstatd: out of memory\n");
        return 1;
    }
    const int status =
        options.socket.empty()
            ? answer_once(options, menu, static_cast<event_base*>(context.opaque))
            : serve_socket(context, options, menu);
    platform_close_loop(&context);
    return status;
} catch (const std::exception& error) {
    fprintf(stderr, "netstatd: %s\n", error.what());
    return 1;
}
