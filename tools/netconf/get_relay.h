// SPDX-License-Identifier: BSD-2-Clause

// Relays what daemons answer to one request for data: one daemon after the other, each as it comes,
// and what the server itself has to say at the end.
//
//     daemons -> answers -> one element for each container at the top -> message
//
// Daemons are asked for XML as YANG has it, in ASCII, without line ends: texts go on as they are.
//
//  1. No more of an answer is held than one read of a socket and what waits for the client: the
//     relay reads while the message has room, and otherwise leaves the daemon waiting.
//  2. All daemons are connected to before the first is asked; each is asked when the one before it
//     has ended, so that none waits for a client that is still taking another one's answer.
//  3. A failure before the first byte of the reply is an rpc-error. After it there is no way to say
//     so in the reply: it is broken off, and must not be ended.
//  4. Each is asked first what it shows at the top, and then in the order of get_plan.h, so that
//     what is to be joined comes side by side; and whether it can tell configuration from the rest
//     when that is asked for, since a daemon may pass over words that it does not know.
#pragma once

#include <chrono>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "container_joiner.h"
#include "daemon_link.h"
#include "daemon_registry.h"
#include "get_plan.h"
#include "message_writer.h"
#include "own_data.h"
#include "rpc_error.h"

struct data_request_s {
    std::optional<filter_t> filter; // without one, everything
    std::string levels;             // so many from the top; empty: all
    std::string content;            // "config" or "nonconfig"; empty: both
};

class get_relay_c {
  public:
    enum class state_e {
        idle,    // nothing asked for, or refused before it began
        asking,  // until the last daemon has answered
        done,    // all of the data are in the message
        refused, // nothing of the reply was written; error()
        broken,  // the reply has begun and cannot be completed; error()
    };

    // Connecting to one of them takes no longer than `patience`.
    get_relay_c(message_writer_c& message, std::chrono::milliseconds patience,
                own_data_c& own)
        : message_(message), patience_(patience), own_(own) {}

    // Begins a reply that opens with `opening`, which is written with the first of the data. What
    // came before is forgotten.
    void start(const std::vector<daemon_s>& daemons, const data_request_s& request,
               std::string opening);

    state_e state() const { return state_; }
    // Of `refused` and `broken`
    const rpc_error_s& error() const { return error_; }

    // What is waited for, with poll, while asking; nothing while the message has no room.
    int fd() const { return link().fd(); }
    short events() const;
    // Goes on after any of it.
    void on_ready(short events);
    // Nothing of it came in time.
    void on_silence();

  private:
    struct question_s {
        std::size_t source; // behind the daemons: the server's own data
        std::string text;
        daemon_link_c::type_e type = daemon_link_c::type_e::xml; // others: before the reply
        bool is_joined = false;
        bool ends_part = false; // of the reply
    };

    void forget();
    bool connect(const daemon_s& daemon);
    void ask_before();
    void plan();
    void ask_next();
    bool ask_own();
    void read();
    void take_text(std::string_view text);
    bool take_end();
    bool take_what_is_known();
    void finish();
    void write(std::string_view text);
    void fail(const std::string& why);
    void give_up(const std::string& why);
    void refuse(const rpc_error_s& error);
    daemon_link_c& link() const { return *asked_[questions_.front().source]; }

    message_writer_c& message_;
    const std::chrono::milliseconds patience_;
    own_data_c& own_;

    state_e state_ = state_e::idle;
    rpc_error_s error_{"application", "operation-failed", ""};
    data_request_s request_;
    std::string opening_; // empty: it was written
    std::vector<std::unique_ptr<daemon_link_c>> asked_;
    bool asks_own_ = false;
    bool is_planning_ = false; // daemons say what they show at the top, and know
    std::string known_;        // as far as one of them has said
    std::vector<source_s> sources_;
    std::deque<question_s> questions_;           // the first is being answered
    std::unique_ptr<container_joiner_c> joiner_; // within a part that is joined
};
