// SPDX-License-Identifier: BSD-2-Clause

// A daemon's management socket as the relay has it: one question, and its answer as it comes.
//
// The daemon is asked in protocol 2 (docs/socket.md), where an answer says how it ended: text is
// text, whatever stands in it, and an answer without that word is none.
//
// Waits for nothing; whoever uses it polls fd().
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "daemon_registry.h"
#include "rpc_error.h"
#include "tools/drendctl/chunk_decoder.h"
#include "tools/drendctl/connection.h"

inline constexpr std::size_t REQUEST_MAX = 65536; // bytes of a line that a daemon reads

// The argument of a request that has a daemon show what the filter selects, with a blank in front;
// empty for a filter that is null.
std::string filter_argument(const filter_t* filter);

class daemon_link_c {
  public:
    enum class state_e {
        answering,
        complete, // the answer was whole; the next question may be asked
        failed,   // there is no next one; error()
    };
    using text_fn = std::function<void(std::string_view)>;

    explicit daemon_link_c(const daemon_s& daemon) : daemon_(daemon) {}

    // Takes no longer than `patience`. False, with error(), when nobody answers there.
    bool open(const patience_s& patience);
    // Sends `request`, a line without its end, whose answer has to be XML, plain text, or a
    // table, a line for each row and tabs in it.
    enum class type_e { xml, plain, table };
    void ask(const std::string& request, type_e type = type_e::xml);

    int fd() const { return connection_.fd(); }
    bool has_unsent() const { return !unsent_.empty(); }
    void send();
    // Reads once what is there. What of it is text of the answer goes to `text`.
    state_e read(const text_fn& text);

    // Whether the answer says what it is: it will have a text, perhaps later.
    bool has_begun() const { return is_greeted_ && !type_.empty(); }
    const daemon_s& daemon() const { return daemon_; }
    // One line that begins with the daemon's name.
    const std::string& error() const { return error_; }
    // The same for clients: who may not open the socket is told so.
    rpc_error_s fault() const;
    // For programs; empty when it was not the daemon that said so.
    const std::string& code() const { return code_; }
    state_e fail(const std::string& why);

  private:
    state_e take(std::string_view bytes, const text_fn& text);
    state_e take_data(std::string_view data, const text_fn& text);
    state_e finish_answer(bool has_more);
    state_e finish_greeting();

    const daemon_s daemon_;
    connection_c connection_;
    chunk_decoder_c chunks_;
    std::string unsent_;
    bool is_denied_ = false;  // by the kernel
    bool is_greeted_ = false; // the daemon has protocol 2
    // Of the answer that is read
    type_e wanted_ = type_e::xml;
    std::string type_;
    std::string status_;
    std::string refusal_; // of protocol 2
    std::string error_;
    std::string code_;
};
