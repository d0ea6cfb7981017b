// netstatd: an example daemon that shows this host's network state as its render
// definitions say. It runs one command and ends:
//
//     netstatd --once 'show-interfaces'
//     netstatd --once "show-routes filter='/route-information/table[name=\"ipv4-main\"]'"

#include <cstdio>
#include <string>

#include <CLI/CLI.hpp>

#include "counters.h"
#include "drend.h"
#include "model.h"

namespace {

struct options_s {
    std::string command;
    std::string prefix = NETSTATD_PREFIX;
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

// The library starts every command that there is, and says so on standard error when there
// is none of that name. The handler tells the two apart where both have an empty answer.
void note_start(const char*, void* started) {
    *static_cast<bool*>(started) = true;
}

// A long answer need not hold the daemon up: this handler, asked after each row, has the
// walk suspended when it has given as many rows as one turn of the event loop may take.
int is_slice_full(dr_meta_context_s*, void* data) {
    static unsigned rows = 0;
    const auto* options = static_cast<const options_s*>(data);
    return ++rows % options->rows_per_slice == 0;
}

// Answers on standard output, where texts go as long as no send method is installed.
int run_command(const std::string& command) {
    const std::size_t blank = command.find(' ');
    const std::string name = command.substr(0, blank);
    const std::string argument =
        blank == std::string::npos ? std::string() : command.substr(blank + 1);

    bool started = false;
    drend_add_cmd_handlers(note_start, nullptr, &started);
    ++daemon_counters.requests;
    const int status = drend_dump_rpc(nullptr, name.c_str(),
                                      argument.empty() ? nullptr : argument.c_str());
    if (status == DREND_DEFER) {
        // A daemon would go back to its event loop and continue when that is idle. This one
        // has nothing else to do.
        void* walk = drend_take_suspended_rpc();
        while (drend_defer_continue(walk) == DREND_DEFER) {
        }
    }
    drend_add_cmd_handlers(nullptr, nullptr, nullptr);
    if (!started) {
        return 1;
    }
    if (fflush(stdout) != 0 || ferror(stdout)) {
        fprintf(stderr, "netstatd: cannot write the answer\n");
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    options_s options;
    CLI::App app("Shows this host's network state through render definitions.", "netstatd");
    app.add_option("--once", options.command, "Run COMMAND, print its answer and end")
        ->type_name("COMMAND")
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
    if (drend_dir_init() < 0) {
        fprintf(stderr, "netstatd: cannot load the definitions\n");
        return 1;
    }
    return run_command(options.command);
}
