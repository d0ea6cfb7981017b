// SPDX-License-Identifier: BSD-2-Clause

// The data that this server has itself: netconf-state (RFC 6022), the streams of events (RFC 5277)
// and yang-library (RFC 8525).
//
// It is rendered as that of daemons is: a data set in the place of accessors, and definitions. So
// filters and levels mean in it what they mean everywhere.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "daemon_registry.h"
#include "get_plan.h"
#include "schema_files.h"
#include "session_registry.h"

inline constexpr char NETCONF_MONITORING[] =
    "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring";
inline constexpr char NETCONF_NMDA[] = "urn:ietf:params:xml:ns:yang:ietf-netconf-nmda";
inline constexpr char DATASTORES[] = "urn:ietf:params:xml:ns:yang:ietf-datastores";

// What is shown.
struct own_facts_s {
    std::vector<std::string> capabilities; // of the hello
    std::vector<std::string> modules;      // as NETCONF announces them
    std::vector<schema_file_s> schemas;
    std::vector<session_entry_s> sessions;
    session_entry_s own; // of the sessions
};

// The modules that the server has, with those of the daemons: each once, in byte order.
std::vector<std::string> all_modules(const std::vector<daemon_s>& daemons);
// Changes when one of them does.
std::string content_id_of(const std::vector<std::string>& modules);

class own_data_c {
  public:
    using facts_fn = std::function<own_facts_s()>;

    // Definitions are below `prefix`, as the library has it.
    own_data_c(std::string prefix, facts_fn facts)
        : prefix_(std::move(prefix)), facts_(std::move(facts)) {}

    // As a daemon that is asked, for what filters concern.
    static const daemon_s& as_daemon();
    static const source_s& as_source();

    // Has answers show the facts as they are now. False when it cannot, with a line in error().
    bool refresh();
    // The answer to the command's arguments; nothing when it fails, with a line in error().
    std::optional<std::string> answer(const std::string& arguments);

    const std::string& error() const { return error_; }

  private:
    bool start();

    const std::string prefix_;
    const facts_fn facts_;
    bool is_started_ = false;
    std::string error_;
};
