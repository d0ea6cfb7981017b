// SPDX-License-Identifier: BSD-2-Clause

#include "exchange.h"

#include <algorithm>
#include <cstdio>

#include <poll.h>
#include <unistd.h>

#include "interrupts.h"

namespace {

constexpr char INTERRUPT = 3;

std::string timeout_text(const patience_s& patience, bool is_deadline) {
    if (is_deadline) {
        return "timed out: the daemon takes too long for its answer";
    }
    char text[96];
    snprintf(text, sizeof text, "timed out: the daemon has sent nothing for %g s",
             std::chrono::duration<double>(patience.silence).count());
    return text;
}

} // namespace

exchange_c::exchange_c(connection_c& connection, const session_options_s& options,
                       const patience_s& patience, const session_c::text_fn& text)
    : connection_(connection), options_(options), patience_(patience), text_(text),
      sorter_([this](std::string_view part) {
          is_wanted_ = is_wanted_ && (is_interrupted_ || text_(part));
      }),
      progress_(steady_clock_t::now()), last_arrival_(steady_clock_t::now()) {}

outcome_s exchange_c::run(std::string_view request) {
    to_send_ = std::string(request) + "\n";
    while (!outcome_) {
        follow_interrupts();
        if (!outcome_) {
            send();
            wait();
        }
    }
    show_progress(progress_.erase());
    return *outcome_;
}

void exchange_c::end(outcome_e what, const std::string& error) {
    outcome_ = is_interrupted_ ? outcome_s{outcome_e::interrupted, INCOMPLETE_TEXT}
                               : outcome_s{what, error};
}

void exchange_c::follow_interrupts() {
    const int count = interrupt_count();
    if (count > 1) {
        outcome_ = outcome_s{outcome_e::interrupted, INCOMPLETE_TEXT};
    } else if (count == 1 && !is_interrupted_) {
        is_interrupted_ = true;
        to_send_ += INTERRUPT;
    }
}

void exchange_c::send() {
    if (is_listening_ && !connection_.send(to_send_)) {
        is_listening_ = false; // it may have said why
    }
}

void exchange_c::wait() {
    const bool has_more = is_listening_ && !to_send_.empty();
    const int output = is_interrupted_ ? -1 : options_.watched_output;
    pollfd waits[] = {
        {connection_.fd(), static_cast<short>(has_more ? POLLIN | POLLOUT : POLLIN), 0},
        {interrupt_fd(), POLLIN, 0},
        {output, 0, 0}};
    const steady_clock_t::time_point end = patience_.end(last_arrival_);
    const bool shows_progress = options_.progress_fd >= 0;
    const int ready =
        poll(waits, 3,
             milliseconds_until(shows_progress ? std::min(end, progress_.next()) : end));
    if (ready > 0 && waits[1].revents != 0) {
        drain_interrupt_fd();
    }
    if (ready > 0 && (waits[2].revents & POLLERR) != 0) {
        give_up_output();
    } else if (ready > 0 && (waits[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
        receive();
    }
    stop_waiting();
    if (shows_progress) {
        show_progress(progress_.update(received_, steady_clock_t::now()));
    }
}

// The end of patience, whatever has arrived.
void exchange_c::stop_waiting() {
    const steady_clock_t::time_point now = steady_clock_t::now();
    if (!outcome_ && now >= patience_.end(last_arrival_)) {
        end(outcome_e::lost, timeout_text(patience_, now >= patience_.deadline));
    }
}

void exchange_c::receive() {
    std::string_view bytes;
    switch (connection_.read(bytes)) {
    case connection_c::read_e::some:
        received_ += bytes.size();
        take(bytes);
        last_arrival_ =
            steady_clock_t::now(); // after writing, which may have taken its time
        break;
    case connection_c::read_e::end:
        end(outcome_e::lost, "connection lost");
        break;
    case connection_c::read_e::nothing_yet:
        break;
    }
}

void exchange_c::take(std::string_view bytes) {
    while (!outcome_) {
        std::string_view data;
        switch (decoder_.next(bytes, data)) {
        case chunk_event_e::need_more:
            return;
        case chunk_event_e::chunk_begins:
            sorter_.chunk_begins();
            break;
        case chunk_event_e::data:
            sorter_.data(data);
            break;
        case chunk_event_e::answer_ends:
            finish_answer();
            is_complete_ = true;
            has_more_ = !bytes.empty();
            break;
        case chunk_event_e::malformed:
            end(outcome_e::lost, decoder_.error());
            break;
        }
        if (!is_wanted_) {
            give_up_output();
        }
    }
}

void exchange_c::finish_answer() {
    switch (sorter_.end()) {
    case answer_e::answered:
        return end(outcome_e::answered, "");
    case answer_e::nothing:
        return end(outcome_e::nothing, "");
    case answer_e::refused:
    case answer_e::broken_off:
        return end(outcome_e::refused, sorter_.error());
    }
}

// The daemon need not go on until it sees that the connection is closed.
void exchange_c::give_up_output() {
    to_send_ += INTERRUPT;
    send();
    outcome_ = outcome_s{outcome_e::not_wanted, ""};
}

void exchange_c::show_progress(const std::string& text) const {
    if (!text.empty()) {
        [[maybe_unused]] const ssize_t written =
            write(options_.progress_fd, text.data(), text.size());
    }
}
