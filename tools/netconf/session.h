// SPDX-License-Identifier: BSD-2-Clause

// One NETCONF session (RFC 6241) on two file descriptors, from the hellos to its end.
//
//     client --> frames --> message --> operation --> daemons
//        ^                                               |
//        +---------- frames, as fast as it takes them <--+
//
// Requests are done one after the other, in their order; while a reply is being given nothing is
// read of what the client sends, so that pipelined requests wait in the kernel.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "daemon_registry.h"
#include "event_relay.h"
#include "frame_decoder.h"
#include "get_relay.h"
#include "message_writer.h"
#include "own_data.h"
#include "rpc_reader.h"
#include "session_registry.h"

struct session_options_s {
    std::string run_dir;
    std::string yang_dir;   // of the modules that <get-schema> gives
    std::string own_prefix; // of the definitions of the server's own data
    // How long the client's hello, each piece of a daemon's answer, and the client's taking what
    // is left at the end are waited for.
    std::chrono::seconds patience{60};
};

class session_c {
  public:
    session_c(int in, int out, const session_options_s& options);

    // Until the session has ended. 0, or 1 with a line on standard error when it was not ended by
    // the client.
    int run();

    // --- for operations: one of these answers the rpc that is being done ---

    // `content` is within "rpc-reply", in ASCII.
    void reply(const std::string& content);
    void refuse(const rpc_error_s& error);
    // Data of the daemons, within the element that `opening` opens.
    void relay(const data_request_s& request, const std::string& opening);

    // Events of the daemons, from now on; of what the filter selects, null for all.
    void subscribe(const filter_t* filter);

    // Ends the session, once what waits has gone out.
    void end();

    const session_options_s& options() const { return options_; }
    const session_registry_c& registry() const { return registry_; }

  private:
    using clock_t = std::chrono::steady_clock;

    void greet();
    bool has_more_to_do() const;
    bool may_take_input() const;
    int patience_left() const;
    void wait();
    void write(short events);
    void read();
    void move_relay(short events, bool is_late);
    void take_input();
    void collect(std::string_view text);
    void take_message();
    void take_hello(const client_message_s& hello);
    void take_rpc(const client_message_s& rpc);
    bool is_served(const std::string& xmlns);
    void settle_relay();
    void move_events(const pollfd* waits, bool is_late);
    void settle_subscription();
    void tell_events();
    own_facts_s own_facts() const;
    // Ends it, with a line on standard error. A reply that is under way is not completed.
    void fail(const std::string& why);

    const int in_;
    const int out_;
    const session_options_s options_;

    frame_decoder_c frames_;
    message_writer_c output_;
    own_data_c own_data_;
    get_relay_c relay_;
    event_relay_c events_;
    session_registry_c registry_;
    session_counters_s counters_;
    std::vector<std::string> capabilities_; // of the hello
    std::vector<daemon_s> daemons_;

    char buffer_[16384];
    std::string_view unread_; // of the buffer
    std::string message_;     // as far as it has come
    bool is_too_long_ = false;
    std::string attributes_; // of the reply to the rpc that is being done
    std::string closing_;    // of the data that are relayed

    clock_t::time_point due_;     // the hello; then what daemons say, or the end
    bool is_greeted_ = false;     // by the client
    bool is_subscribing_ = false; // the reply is still owed
    bool has_chunks_ = false;     // base:1.1 was agreed on
    bool is_ending_ = false;
    bool is_over_ = false;
    int status_ = 0;
};
