// SPDX-License-Identifier: BSD-2-Clause

// Requests and their answers over one connection, which is made anew when it was lost in between.
//
// One request at a time: its answer is handed on as it arrives, however long it is, until it ends,
// the daemon stops answering, nobody takes the text any more, or SIGINT comes. The first SIGINT
// asks the daemon to drop the answer, whose rest is then discarded; the second one closes the
// connection. A daemon that sends more answers than it was asked for has perhaps sent each of them
// to the wrong request: the end of the session tells.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "connection.h"

// What became of a request. The values are the program's exit codes.
enum class outcome_e {
    answered = 0,
    refused = 1, // or broken off; `error` is the daemon's line
    usage = 2,   // nothing was asked
    lost = 3,    // no connection, or no answer that could be followed; `error` says why
    nothing = 4, // the command printed nothing
    faulty = 5,  // answered, with errors that "check" found in the definitions
    interrupted = 130, // `error` says what is missing, if anything
    not_wanted = 141,  // the text was not taken any more
};

// The `error` of an answer that an interrupt cut short.
constexpr char INCOMPLETE_TEXT[] = "interrupted: the answer is incomplete";

struct outcome_s {
    outcome_e what;
    std::string error;
    std::string media_type = {};            // of the answer, where the daemon says it
    std::string cursor = {};                // of an answer that has more behind it
    std::optional<std::uint64_t> rows = {}; // where the daemon says how many it has shown
};

// Protocol 1 has text alone, protocol 2 says how answers end; each connection is asked for it.
enum class protocol_e { unknown, text, status };

struct session_options_s {
    std::string path; // of the socket
    patience_s patience;
    int progress_fd = -1; // where progress is shown, or -1
    int watched_output =
        -1; // the answer is given up when the reader of this pipe goes; or -1
    std::function<void()> on_silence =
        {}; // when nothing more has come for a moment; or empty
};

class session_c {
  public:
    // Takes a part of the text; false when no more is wanted.
    using text_fn = std::function<bool(std::string_view)>;

    explicit session_c(session_options_s options) : options_(std::move(options)) {}

    // Connects, if there is no connection that can be used.
    outcome_s connect() { return connect(options_.patience); }

    // Sends `request`, which must be without faults (see request_text.h), and hands the answer to
    // `text`. Other patience than the session's can be had.
    outcome_s ask(std::string_view request, const text_fn& text);
    outcome_s ask(std::string_view request, const text_fn& text,
                  const patience_s& patience);

    // Learns which protocol the daemon has, connecting if need be.
    outcome_s greet(const patience_s& patience);
    protocol_e protocol() const { return protocol_; }

    // Ends the session, for which a daemon that does not close its side has until `deadline`.
    // `lost` when the daemon has answered what nobody asked.
    outcome_s finish(patience_s::time_point_t deadline);

  private:
    outcome_s connect(const patience_s& patience);

    const session_options_s options_;
    connection_c connection_;
    protocol_e protocol_ = protocol_e::unknown;
    bool is_used_ = false; // the connection has answered something
    bool adds_up_ = true;  // there was no byte beyond the answers
};
