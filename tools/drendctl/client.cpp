// SPDX-License-Identifier: BSD-2-Clause

#include "client.h"

#include <cstdio>
#include <cstring>

#include "checked_answer.h"
#include "filter_place.h"
#include "interrupts.h"
#include "line_reader.h"
#include "progress.h"
#include "request_text.h"
#include "watch.h"

namespace {

// How long a daemon is waited for that goes on when everything is answered.
constexpr std::chrono::milliseconds END_PATIENCE{1000};

bool ends_run(outcome_e outcome) {
    return outcome == outcome_e::lost || outcome == outcome_e::interrupted ||
           outcome == outcome_e::not_wanted;
}

} // namespace

// Whether the daemon has tables of what is asked for: it says so of commands that take that word,
// and of no others, which might take it for something else.
bool client_c::has_tables(const std::string& request) {
    const patience_s patience = {{}, patience_s::steady_clock_t::now() + MENU_PATIENCE};
    std::string parameters;
    return request_fault(request + " ?").empty() &&
           ask_parameters(session_, request, patience, parameters).what ==
               outcome_e::answered &&
           offers_tables(parameters);
}

// The request with the words that are added to it.
std::string client_c::in_its_form(const typed_request_s& typed) {
    if (is_question(typed.request)) {
        return typed.request;
    }
    std::string request = typed.request + options_.suffix;
    const bool may_be_table = options_.prefers_tables && !typed.is_xml &&
                              !has_form(request) && !is_check(request);
    if (may_be_table && has_tables(request)) {
        request += " as-table";
    }
    return is_table(request) && output_.has_colours() ? request + " color" : request;
}

outcome_e client_c::run(const typed_request_s& typed) {
    std::string fault = request_fault(typed.request);
    const std::string complete = fault.empty() ? in_its_form(typed) : typed.request;
    fault = request_fault(complete);
    if (!fault.empty()) {
        return report({outcome_e::usage, fault});
    }
    output_.begin(is_table(complete));
    const outcome_s outcome = printed(is_check(complete) ? check(complete) : ask(complete));
    report(outcome);
    tell_cursor(outcome.cursor);
    if (outcome.what == outcome_e::refused) {
        fputs(filter_place(outcome.error, complete).c_str(), stderr);
    }
    return outcome.what;
}

// On a screen there is no use in more rows than it has.
outcome_e client_c::watch(const typed_request_s& typed, double seconds) {
    std::string fault = request_fault(typed.request);
    std::string request = fault.empty() ? in_its_form(typed) : typed.request;
    if (is_table(request)) {
        const bool has_limit = request.find(" limit=") != std::string::npos;
        request += " fields";
        request += has_limit || !output_.is_terminal()
                       ? ""
                       : " limit=" + std::to_string(screen_c::rows());
    }
    fault = fault.empty() ? request_fault(request) : fault;
    return report(fault.empty()
                      ? watch_c(session_, output_, typed.request, request, seconds).run()
                      : outcome_s{outcome_e::usage, fault});
}

outcome_e client_c::run_typed(std::string_view line) {
    piped_line_s piped = cut_at_pipes(line);
    if (const std::optional<watch_line_s> wish = read_watch_line(piped.request)) {
        return piped.stages.empty()
                   ? watch(typed_request(wish->request), wish->seconds)
                   : report({outcome_e::usage, "what is watched cannot be piped"});
    }
    if (std::erase(piped.stages, "json") > 0) {
        piped.request += " --json";
    }
    text_pipe_c pipe;
    std::string error;
    if (!pipe.open(piped.stages, error)) {
        return report({outcome_e::usage, error});
    }
    pipe_ = std::move(pipe);
    outcome_e outcome = run(typed_request(piped.request));
    pipe_ = text_pipe_c();
    return outcome;
}

bool client_c::write(std::string_view part) {
    return pipe_.add(part, [this](std::string_view text) { return output_.write(text); });
}

// How to go on, for who reads it; programs have it from the socket.
void client_c::tell_cursor(const std::string& cursor) const {
    if (!cursor.empty() && options_.reports_to_terminal) {
        const std::optional<std::string> quoted = quoted_value(cursor);
        fprintf(stderr, "there is more: cursor=%s\n",
                escaped_controls(quoted.value_or(cursor)).c_str());
    }
}

outcome_s client_c::ask(const std::string& request) {
    outcome_s outcome =
        session_.ask(request, [this](std::string_view part) { return write(part); });
    const bool is_for_people =
        is_table(request) && output_.is_terminal() && pipe_.is_empty();
    if (is_for_people && outcome.what == outcome_e::answered && outcome.rows) {
        output_.write("\n" + rows_text(*outcome.rows) + "\n");
    }
    return outcome;
}

outcome_s client_c::check(const std::string& request) {
    checked_answer_c answer([this](std::string_view part) { return write(part); });
    outcome_s outcome = session_.ask(
        request, [&answer](std::string_view part) { return answer.add(part); });
    answer.finish();
    if (outcome.what == outcome_e::answered && answer.has_errors()) {
        outcome.what = outcome_e::faulty;
    }
    return outcome;
}

outcome_e client_c::run_lines(int fd) {
    outcome_e first = outcome_e::answered;
    line_reader_c lines(fd);
    for (std::string line; lines.next(line);) {
        if (is_blank(line) || is_remark(line)) {
            continue;
        }
        const outcome_e outcome = run(typed_request(line));
        if (ends_run(outcome)) {
            return outcome;
        }
        if (outcome == outcome_e::usage) {
            fprintf(stderr, "drendctl: line %lu was not sent\n", lines.number());
        }
        first = first == outcome_e::answered ? outcome : first;
    }
    if (lines.error() != 0) {
        return report(
            {outcome_e::lost, std::string("cannot read: ") + strerror(lines.error())});
    }
    return interrupt_count() > 0 ? outcome_e::interrupted : first;
}

outcome_e client_c::list(const std::string& words) {
    std::vector<menu_entry_s> entries;
    const auto deadline = patience_s::steady_clock_t::now() + MENU_PATIENCE;
    outcome_s outcome = ask_menu(session_, words, deadline, entries);
    if (outcome.what == outcome_e::answered) {
        outcome.what = entries.empty() ? outcome_e::nothing : outcome.what;
        output_.write(menu_text(entries));
    }
    return finish(report(printed(outcome)), deadline);
}

outcome_e client_c::finish(outcome_e outcome) {
    return finish(outcome, patience_s::steady_clock_t::now() + END_PATIENCE);
}

outcome_e client_c::finish(outcome_e outcome, patience_s::time_point_t deadline) {
    if (ends_run(outcome)) {
        return outcome;
    }
    const outcome_e end = report(session_.finish(deadline));
    return end == outcome_e::answered ? outcome : end;
}

// The outcome with what became of its text.
outcome_s client_c::printed(const outcome_s& outcome) {
    const std::string fault =
        pipe_.finish([this](std::string_view text) { return output_.write(text); });
    if (!fault.empty()) {
        return {outcome_e::lost, fault};
    }
    const bool is_whole = output_.finish();
    if (output_.was_left()) {
        return {outcome_e::answered, ""}; // enough was seen
    }
    if (output_.error() == 0) {
        return is_whole || outcome.what != outcome_e::answered
                   ? outcome
                   : outcome_s{outcome_e::interrupted, INCOMPLETE_TEXT};
    }
    return unwritten(output_);
}

outcome_e client_c::report(const outcome_s& outcome) const {
    const std::string& text = outcome.error;
    switch (outcome.what) {
    case outcome_e::refused:
        fprintf(stderr, "%s\n",
                options_.reports_to_terminal ? escaped_controls(text).c_str()
                                             : text.c_str());
        break;
    case outcome_e::usage:
    case outcome_e::lost:
        fprintf(stderr, "drendctl: %s\n", text.c_str());
        break;
    case outcome_e::nothing:
        if (options_.reports_to_terminal) {
            fprintf(stderr, "nothing to show\n");
        }
        break;
    case outcome_e::interrupted:
        if (!text.empty()) {
            fprintf(stderr, "drendctl: %s\n", text.c_str());
        }
        break;
    case outcome_e::answered:
    case outcome_e::faulty: // the answer has said so
    case outcome_e::not_wanted:
        break;
    }
    return outcome.what;
}
