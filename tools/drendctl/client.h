// SPDX-License-Identifier: BSD-2-Clause

// What the program does with requests, wherever they come from: checks and completes them, has them
// answered on standard output, and says on standard error what went wrong.
#pragma once

#include <string>
#include <vector>

#include "answer_form.h"
#include "answer_output.h"
#include "menu.h"
#include "session.h"
#include "text_pipe.h"

struct client_options_s {
    std::string
        suffix; // added to every request that is no question: " filter='...' as-json"
    bool reports_to_terminal = false; // standard error is one
    bool prefers_tables = false;      // where the daemon has them and no form is asked for
};

class client_c {
  public:
    client_c(session_c& session, answer_output_c& output, client_options_s options)
        : session_(session), output_(output), options_(std::move(options)) {}

    // Has one request answered.
    outcome_e run(const typed_request_s& typed);
    // The same of a line typed at the prompt, with what it pipes the answer into.
    outcome_e run_typed(std::string_view line);
    // Has one request answered again and again, until an interrupt ends it.
    outcome_e watch(const typed_request_s& typed, double seconds);
    // Has the requests of `fd` answered, one to a line, until one ends the run: what cannot be
    // answered for want of a connection, an interrupt, a reader that is gone. The first outcome
    // other than `answered`, but for those, which are the outcome of the whole.
    outcome_e run_lines(int fd);
    // Prints what could follow `words`, with its help. Ends the session.
    outcome_e list(const std::string& words);
    // Ends the session after what came to `outcome`, and gives the outcome of the whole.
    outcome_e finish(outcome_e outcome);

    // Says what is to be said about an outcome, and gives it back.
    outcome_e report(const outcome_s& outcome) const;

    session_c& session() { return session_; }
    answer_output_c& output() { return output_; }

  private:
    bool write(std::string_view part);
    outcome_s ask(const std::string& request);
    outcome_s check(const std::string& request);
    bool has_tables(const std::string& request);
    std::string in_its_form(const typed_request_s& typed);
    void tell_cursor(const std::string& cursor) const;
    outcome_s printed(const outcome_s& outcome);
    outcome_e finish(outcome_e outcome, patience_s::time_point_t deadline);

    session_c& session_;
    answer_output_c& output_;
    const client_options_s options_;
    text_pipe_c pipe_; // of the request that is answered
};
