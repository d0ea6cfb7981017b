// netstatd: an example daemon that shows this host's network state as its render definitions say.
// It answers the requests that it is given on its command line, each through the menu that the
// library made for it, and ends:
//
//     netstatd --once 'show-interfaces name=lo as-json'
//     netstatd --once "show-routes filter='/route-information/table[name=\"ipv4-main\"]'"
//     netstatd --once reload --once dump-schema

#include <cstdio>
#include <cstring>
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

namespace {

struct options_s {
    std::vector<std::string> requests;
    std::string prefix = own_prefix();
    unsigned rows_per_slice = 0;
};

void add_models() {
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

// The entries of the "drend" menu: the render commands and the service commands.
const drend_menu_entry_s* drend_submenu(const drend_menu_entry_s* menu) {
    while (strcmp(menu->command, "drend") != 0) {
        ++menu;
    }
    return menu->submenu;
}

const drend_menu_entry_s* find_entry(const drend_menu_entry_s* entry,
                                     const std::string& word) {
    while (entry->command != nullptr && word != entry->command) {
        ++entry;
    }
    return entry->command == nullptr ? nullptr : entry;
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
    const drend_menu_entry_s* entry = find_entry(drend_submenu(menu), word);
    if (entry == nullptr) {
        return report_unknown(word, drend_submenu(menu));
    }
    ++daemon_counters.requests;
    void* peer = mgmt_sock_open_local(stdout);
    ms_parse_context_s parsed{entry->subcode};
    const int status =
        entry->handler(peer, &parsed, argument.empty() ? nullptr : argument.c_str());
    event_base_dispatch(loop);
    const bool is_written = mgmt_sock_close(peer) == 0 && ferror(stdout) == 0;
    if (!is_written) {
        fprintf(stderr, "netstatd: cannot write the answer\n");
    }
    return status == 0 && is_written ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
    options_s options;
    CLI::App app("Shows this host's network state through render definitions.", "netstatd");
    app.add_option("--once", options.requests,
                   "Answer REQUEST, a command and its arguments; may be repeated")
        ->type_name("REQUEST")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->required();
    app.add_option("--prefix", options.prefix,
                   "Take definitions from DIR/usr/lib/render and the like")
        ->type_name("DIR")
        ->capture_default_str();
    app.add_option("--rows-per-slice", options.rows_per_slice,
                   "Suspend and continue the answer after each N rows")
        ->type_name("N");
    CLI11_PARSE(app, argc, argv);

    add_models();
    if (options.rows_per_slice > 0) {
        drend_add_walk_handlers(nullptr, is_slice_full, &options);
    }
    drend_set_prefix(options.prefix.c_str());
    drend_set_send_method_w_return(mgmt_sock_send);

    const std::unique_ptr<event_base, void (*)(event_base*)> loop(event_base_new(),
                                                                  event_base_free);
    evContext context{loop.get()};
    drend_menu_entry_s own_menu[1] = {}; // nothing but what the library adds
    // Stays until the process ends: a reload makes the sub-menu in it anew.
    static const drend_menu_entry_s* const menu =
        drend_init(&context, own_menu, 1, nullptr);
    if (loop == nullptr || menu == nullptr) {
        fprintf(stderr, "netstatd: out of memory\n");
        return 1;
    }
    int status = 0;
    for (const std::string& request : options.requests) {
        status |= run_request(menu, request, loop.get());
    }
    return status;
}
