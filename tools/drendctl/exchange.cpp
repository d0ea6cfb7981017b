#include "exchange.h"

#include <algorithm>
#include <cstdio>

#include <poll.h>
#include <unistd.h>

#include "interrupts.h"

namespace {

constexpr char INTERRUPT = 3;

std::string timeout_text(std::chrono::milliseconds timeout) {
    char text[96];
    snprintf(text, sizeof text, "timed out: the daemon has sent nothing for %g s",
             std::chrono::duration<double>(timeout).count());
    return text;
}

} // namespace

exchange_c::exchange_c(connection_c& connection, const session_options_s& options,
                       const session_c::text_fn& text)
    : connection_(connection), options_(options), text_(text),
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
    outcome_ = outcome_s{is_interrupted_ ? outcome_e::interrupted : what, error};
}

void exchange_c::follow_interrupts() {
    const int count = interrupt_count();
    if (count > 1) {
        outcome_ = outcome_s{outcome_e::interrupted, ""};
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
    const int ready = poll(waits, 3, milliseconds_to_wait());
    if (ready > 0 && waits[1].revents != 0) {
        drain_interrupt_fd();
    }
    if (ready > 0 && (waits[2].revents & POLLERR) != 0) {
        give_up_output();
    } else if (ready > 0 && (waits[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
        receive();
    } else if (options_.timeout.count() > 0 &&
               steady_clock_t::now() - last_arrival_ >= options_.timeout) {
        end(outcome_e::lost, timeout_text(options_.timeout));
    }
    if (options_.progress_fd >= 0) {
        show_progress(progress_.update(received_, steady_clock_t::now()));
    }
}

int exchange_c::milliseconds_to_wait() const {
    using std::chrono::ceil;
    using std::chrono::milliseconds;
    const steady_clock_t::time_point now = steady_clock_t::now();
    steady_clock_t::time_point until = steady_clock_t::time_point::max();
    if (options_.timeout.count() > 0) {
        until = last_arrival_ + options_.timeout;
    }
    if (options_.progress_fd >= 0) {
        until = std::min(until, progress_.next());
    }
    if (until == steady_clock_t::time_point::max()) {
        return -1;
    }
    const auto left = ceil<milliseconds>(until - now).count();
    return static_cast<int>(std::clamp<long>(left, 0, 3600000));
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
            // More than one answer to one request is not to be taken for the next one's.
            is_complete_ = bytes.empty();
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
