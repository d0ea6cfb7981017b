// SPDX-License-Identifier: BSD-2-Clause

// Relays what daemons announce (RFC 5277): each of them tells its events in an answer without an
// end, a notification to a line, which is a message as it is.
//
//     daemons -> lines -> session, between two messages
//
//  1. Of each daemon one read and a line that has not come whole is held, and nothing more is read
//     while a whole one waits: the daemon then drops what its queue has no room for, and says so.
//  2. It has started when each daemon listens to it, or has said that it has no events. Until then
//     a daemon's failure is an rpc-error; from then on it is a notification, "event-source-lost".
//  3. The run directory is watched. A daemon that registers, perhaps again, is listened to from
//     then on, which "event-source-found" says.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <poll.h>

#include "daemon_link.h"
#include "daemon_registry.h"
#include "rpc_error.h"

class event_relay_c {
  public:
    event_relay_c(std::string run_dir, std::chrono::milliseconds patience)
        : run_dir_(std::move(run_dir)), patience_(patience) {}
    ~event_relay_c();
    event_relay_c(const event_relay_c&) = delete;
    event_relay_c& operator=(const event_relay_c&) = delete;

    enum class state_e { idle, starting, running, refused };

    // Listens to the daemons that the filter concerns, or to all. When idle, or refused before.
    void start(const std::vector<daemon_s>& daemons, const filter_t* filter);
    state_e state() const { return state_; }
    // Of `refused`.
    const rpc_error_s& error() const { return error_; }
    // Nothing came of the daemons in time that it is to start with.
    void on_silence();

    // What is waited for, to be polled; and to be handed back, with what came of it, in the same
    // order.
    void add_waits(std::vector<pollfd>& waits) const;
    void on_ready(const pollfd* waits);
    // The next notification that is there whole. False when there is none.
    bool take(std::string& notification);

  private:
    struct source_s {
        explicit source_s(const daemon_s& daemon) : link(daemon) {}
        daemon_link_c link;
        std::string text; // that has come and was not taken
        bool has_line() const { return text.find('\n') != std::string::npos; }
    };

    bool watch();
    bool listen(const daemon_s& daemon);
    bool wants(const daemon_s& daemon) const;
    bool is_listened_to(const std::string& name) const;
    void read(source_s& source);
    void settle_start();
    void refuse(const rpc_error_s& error);
    void look_for_daemons();
    void tell(const char* event, const std::string& daemon);

    const std::string run_dir_;
    const std::chrono::milliseconds patience_;
    state_e state_ = state_e::idle;
    rpc_error_s error_{"application", "operation-failed", ""};
    std::optional<filter_t> filter_;
    std::string question_; // that each daemon is asked
    int watch_ = -1;       // of the run directory
    std::vector<std::unique_ptr<source_s>> sources_;
    std::string own_; // notifications of its own
};
