// SPDX-License-Identifier: BSD-2-Clause

// The daemons of the machine, as their management servers leave word of themselves in the run
// directory: files NAME.daemon of lines, docs/netconf.md.
#pragma once

#include <string>
#include <vector>

#include "rpc_reader.h"

struct daemon_s {
    std::string name;
    std::string socket;
    std::vector<std::string> modules; // as NETCONF announces them; none: not told
};

// In the order of their names. A file that says too little is a daemon without a socket. False,
// with a line in `error`, when the directory or a file cannot be read.
bool read_registry(const std::string& run_dir, std::vector<daemon_s>& daemons,
                   std::string& error);

// Whether the namespace is that of a module of the daemon.
bool has_namespace(const daemon_s& daemon, const std::string& xmlns);

// Whether the filter may select something of what the daemon has; one that is null does of each.
bool is_concerned(const daemon_s& daemon, const filter_t* filter);
