// SPDX-License-Identifier: BSD-2-Clause

#include "exchange.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include <poll.h>
#include <unistd.h>

#include "interrupts.h"

namespace {

constexpr char INTERRUPT = 3;
constexpr char STREAM[] = "; stream=";            // in a type
constexpr std::chrono::milliseconds SILENCE{200}; // what has come until then is shown
constexpr std::size_t NOTE_MAX = 1 << 20;         // bytes of a type or status

std::string timeout_text(const patience_s& patience, bool is_deadline) {
    if (is_deadline) {
        return "timed out: the daemon takes too long for its answer";
    }
    char text[96];
    snprintf(text, sizeof text, "timed out: the daemon has sent nothing for %g s",
             std::chrono::duration<double>(patience.silence).count());
    return text;
}

// Nothing for what is no number.
std::optional<std::uint64_t> read_number(const std::string& text) {
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? std::optional(number) : std::nullopt;
}

} // namespace

exchange_c::exchange_c(connection_c& connection, protocol_e& protocol,
                       const session_options_s& options, const patience_s& patience,
                       const session_c::text_fn& text)
    : connection_(connection), protocol_(protocol), options_(options), patience_(patience),
      text_(text), progress_(steady_clock_t::now()), last_arrival_(steady_clock_t::now()) {
    new_answer();
}

void exchange_c::new_answer() {
    sorter_.emplace([this](std::string_view part) {
        is_wanted_ = is_wanted_ &&
                     (is_interrupted_ || protocol_ == protocol_e::unknown || text_(part));
    });
    decoder_ = chunk_decoder_c();
    type_.clear();
    status_.clear();
}

outcome_s exchange_c::run(std::string_view request) {
    if (protocol_ == protocol_e::unknown) {
        to_send_ = std::string(ASK_FOR_STATUS) + "\n";
    }
    to_send_.append(request).append("\n");
    return follow();
}

outcome_s exchange_c::greet() {
    to_send_ = std::string(ASK_FOR_STATUS) + "\n";
    only_greets_ = true;
    return follow();
}

outcome_s exchange_c::follow() {
    while (!outcome_) {
        follow_interrupts();
        if (!outcome_) {
            send();
            wait();
        }
    }
    show_progress(progress_.finish(received_, outcome_->rows, steady_clock_t::now()));
    return *outcome_;
}

void exchange_c::end(outcome_e what, const std::string& error) {
    if (is_interrupted_) {
        outcome_ = is_stream() ? outcome_s{outcome_e::answered, ""}
                               : outcome_s{outcome_e::interrupted, INCOMPLETE_TEXT};
    } else {
        outcome_ = outcome_s{what, error};
    }
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

// Whether the answer has no end: it is silent for as long as nothing happens, and an interrupt
// leaves nothing of it out.
bool exchange_c::is_stream() const {
    return type_.find(STREAM) != std::string::npos;
}

exchange_c::steady_clock_t::time_point exchange_c::end_of_patience() const {
    return is_stream() ? patience_.deadline : patience_.end(last_arrival_);
}

void exchange_c::wait() {
    const bool has_more = is_listening_ && !to_send_.empty();
    const int output = is_interrupted_ ? -1 : options_.watched_output;
    pollfd waits[] = {
        {connection_.fd(), static_cast<short>(has_more ? POLLIN | POLLOUT : POLLIN), 0},
        {interrupt_fd(), POLLIN, 0},
        {output, 0, 0}};
    steady_clock_t::time_point end = end_of_patience();
    if (options_.on_silence && !is_silence_told_) {
        end = std::min(end, last_arrival_ + SILENCE);
    }
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
    tell_silence();
    stop_waiting();
    if (shows_progress) {
        show_progress(progress_.update(received_, steady_clock_t::now()));
    }
}

void exchange_c::tell_silence() {
    if (!outcome_ && options_.on_silence && !is_silence_told_ &&
        steady_clock_t::now() >= last_arrival_ + SILENCE) {
        is_silence_told_ = true;
        options_.on_silence();
    }
}

// The end of patience, whatever has arrived.
void exchange_c::stop_waiting() {
    const steady_clock_t::time_point now = steady_clock_t::now();
    if (!outcome_ && now >= end_of_patience()) {
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
        is_silence_told_ = false;
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
            sorter_->chunk_begins();
            break;
        case chunk_event_e::note_begins:
            break;
        case chunk_event_e::data:
            take_data(data);
            break;
        case chunk_event_e::answer_ends:
            if (protocol_ == protocol_e::unknown) {
                finish_greeting();
                break;
            }
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

void exchange_c::take_data(std::string_view data) {
    if (decoder_.tag() == '\0' && protocol_ != protocol_e::status) {
        sorter_->data(data);
    } else if (decoder_.tag() == '\0') {
        is_wanted_ = is_wanted_ && (is_interrupted_ || text_(data));
    } else {
        std::string& note = decoder_.tag() == 't' ? type_ : status_;
        note += data;
        if (note.size() > NOTE_MAX) {
            end(outcome_e::lost, "malformed answer: its status is too long");
        }
    }
}

// What became of the wish for protocol 2. A daemon that is full says so instead.
void exchange_c::finish_greeting() {
    const bool is_refused = sorter_->end() == answer_e::refused;
    if (read_status(status_).end == "complete") {
        protocol_ = protocol_e::status;
    } else if (is_refused && knows_no_status(sorter_->error())) {
        protocol_ = protocol_e::text;
    } else if (is_refused) {
        end(outcome_e::refused, sorter_->error());
    } else {
        end(outcome_e::lost, "malformed answer: to " + std::string(ASK_FOR_STATUS));
    }
    if (only_greets_ && !outcome_) {
        end(outcome_e::answered, "");
        is_complete_ = true;
    }
    new_answer();
}

void exchange_c::end_as(const answer_status_s& status) {
    if (status.end == "complete") {
        end(status.code == "nothing" ? outcome_e::nothing : outcome_e::answered, "");
        outcome_->media_type = type_;
        outcome_->cursor = status.cursor;
        outcome_->rows = read_number(status.rows);
    } else if (status.end.empty()) {
        end(outcome_e::lost, "malformed answer: it does not say how it ended");
    } else {
        end(outcome_e::refused, "error: " + status.text);
    }
}

void exchange_c::finish_answer() {
    if (protocol_ == protocol_e::status) {
        return end_as(read_status(status_));
    }
    switch (sorter_->end()) {
    case answer_e::answered:
        return end(outcome_e::answered, "");
    case answer_e::nothing:
        return end(outcome_e::nothing, "");
    case answer_e::refused:
    case answer_e::broken_off:
        return end(outcome_e::refused, sorter_->error());
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
