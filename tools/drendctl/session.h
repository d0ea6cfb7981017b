// Requests and their answers over one connection, which is made anew when it was lost in between.
//
// One request at a time: its answer is handed on as it arrives, however long it is, until it ends,
// the daemon stops answering, nobody takes the text any more, or SIGINT comes. The first SIGINT
// asks the daemon to drop the answer, whose rest is then discarded; the second one closes the
// connection.
#pragma once

#include <chrono>
#include <functional>
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
    interrupted = 130,
    not_wanted = 141, // the text was not taken any more
};

struct outcome_s {
    outcome_e what;
    std::string error;
};

struct session_options_s {
    std::string path; // of the socket
    // How long the daemon may send no byte; 0 is for ever.
    std::chrono::milliseconds timeout{0};
    int progress_fd = -1; // where progress is shown, or -1
    int watched_output =
        -1; // the answer is given up when the reader of this pipe goes; or -1
};

class session_c {
  public:
    // Takes a part of the text; false when no more is wanted.
    using text_fn = std::function<bool(std::string_view)>;

    explicit session_c(session_options_s options) : options_(std::move(options)) {}

    // Connects, if there is no connection that can be used.
    outcome_s connect();

    std::chrono::milliseconds timeout() const { return options_.timeout; }

    // Sends `request`, which must be without faults (see request_text.h), and hands the answer to
    // `text`. A `timeout` other than the session's can be given.
    outcome_s ask(std::string_view request, const text_fn& text);
    outcome_s ask(std::string_view request, const text_fn& text,
                  std::chrono::milliseconds timeout);

  private:
    session_options_s options_;
    connection_c connection_;
    bool is_used_ = false; // the connection has answered something
};
