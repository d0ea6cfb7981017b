// SPDX-License-Identifier: BSD-2-Clause

// The sessions of the machine: a file for each in the directory "sessions" of the run directory,
// named by the session's process. docs/netconf.md has the format.
//
// The process holds a lock on its file, and the kernel knows by which process a lock is held: a
// file that was left behind, or made up, is no session.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

struct session_counters_s {
    unsigned long in_rpcs = 0; // that were read
    unsigned long in_bad_rpcs = 0;
    unsigned long out_rpc_errors = 0;
    unsigned long out_notifications = 0;
};

struct session_entry_s {
    pid_t id = 0;
    std::string user;
    std::string host; // the client's address; empty: not known
    std::string login;
    session_counters_s counters;
};

// One for a process: what is registered ends with it, also when a signal ends it.
class session_registry_c {
  public:
    explicit session_registry_c(const std::string& run_dir);
    ~session_registry_c();
    session_registry_c(const session_registry_c&) = delete;
    session_registry_c& operator=(const session_registry_c&) = delete;

    // False, with a line in `error`, when it cannot: nobody knows of the session then.
    bool open(std::string& error);
    void update(const session_counters_s& counters);

    const session_entry_s& own() const { return own_; }
    // In the order of their numbers, with the own one.
    std::vector<session_entry_s> all() const;

    enum class kill_e {
        killed,
        unknown,
        denied,
        unsupported, // by the kernel, or what stands in for it
    };
    kill_e kill(pid_t id) const;

  private:
    bool write();
    void forget(const char* path); // the file of that path, which is open

    const std::string directory_;
    session_entry_s own_;
    int fd_ = -1;
};
