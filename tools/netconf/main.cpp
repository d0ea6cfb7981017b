// SPDX-License-Identifier: BSD-2-Clause

// orvex-netconf: a NETCONF session on standard input and output, in front of the daemons of this
// machine. OpenSSH starts it, as the subsystem "netconf".
#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>
#include <fcntl.h>
#include <unistd.h>

#include "session.h"
#include "tools/common/standard_output.h"

namespace {

bool stop_waiting(int fd) {
    const int flags = fcntl(fd, F_GETFL);
    return flags >= 0 && fcntl(fd, F_SETFL, flags | O_NONBLOCK) == 0;
}

// What the program comes with: "share/orvex-netconf" beside the directory that it is in.
std::string share_dir() {
    namespace fs = std::filesystem;
    std::error_code failure; // whatever is wrong, there is nothing to be found
    const fs::path program = fs::read_symlink("/proc/self/exe", failure);
    return program.parent_path().parent_path() / "share/orvex-netconf";
}

} // namespace

int main(int argc, char** argv) try {
    session_options_s options;
    const std::string share = share_dir();
    options.run_dir = "/run/orvex";
    options.own_prefix = share;
    options.yang_dir = share + "/yang";
    unsigned patience = 60;
    CLI::App app("Answers NETCONF requests on standard input from this machine's daemons.",
                 "orvex-netconf");
    app.set_version_flag("--version", DREND_VERSION);
    app.add_option("--run-dir", options.run_dir,
                   "Ask the daemons that are registered in DIR")
        ->type_name("DIR")
        ->capture_default_str();
    app.add_option("--yang-dir", options.yang_dir,
                   "Give clients the YANG modules in DIR, files NAME@REVISION.yang")
        ->type_name("DIR")
        ->capture_default_str();
    app.add_option("--patience", patience,
                   "Wait SECONDS for the client's hello, and for a daemon's next bytes")
        ->type_name("SECONDS")
        ->check(CLI::Range(1U, 3600U))
        ->capture_default_str();
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return end_of_output("orvex-netconf", app.exit(error), 1);
    }
    options.patience = std::chrono::seconds(patience);
    signal(SIGPIPE, SIG_IGN); // writing says that nobody reads
    if (!stop_waiting(STDIN_FILENO) || !stop_waiting(STDOUT_FILENO)) {
        fprintf(stderr, "orvex-netconf: standard input or output is closed\n");
        return 1;
    }
    return session_c(STDIN_FILENO, STDOUT_FILENO, options).run();
} catch (const std::exception& error) {
    fprintf(stderr, "orvex-netconf: %s\n", error.what());
    return 1;
}
