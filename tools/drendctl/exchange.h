// SPDX-License-Identifier: BSD-2-Clause

// One request and its answer on a connection: the waiting, and what may cut it short.
//
// The first request of a connection has the wish for protocol 2 in front of it, whose answer tells
// which protocol the daemon has; nobody waits for that.
//
// Lives for one request. Everything that can happen while it waits ends in one place: an
// outcome, or another turn of waiting.
#pragma once

#include <cstdint>
#include <optional>

#include "answer_sorter.h"
#include "answer_status.h"
#include "chunk_decoder.h"
#include "progress.h"
#include "session.h"

class exchange_c {
  public:
    exchange_c(connection_c& connection, protocol_e& protocol,
               const session_options_s& options, const patience_s& patience,
               const session_c::text_fn& text);

    outcome_s run(std::string_view request);
    // Asks for protocol 2 and for nothing else; of a connection that has not been.
    outcome_s greet();

    // Whether the answer arrived to its end, so that the connection can be used again.
    bool is_complete() const { return is_complete_; }
    // Whether more than that arrived.
    bool has_more() const { return has_more_; }

  private:
    using steady_clock_t = patience_s::steady_clock_t;

    outcome_s follow();
    void wait();
    bool is_stream() const;
    steady_clock_t::time_point end_of_patience() const;
    void stop_waiting();
    void tell_silence();
    void send();
    void receive();
    void follow_interrupts();
    void take(std::string_view bytes);
    void take_data(std::string_view data);
    void finish_answer();
    void finish_greeting();
    void end_as(const answer_status_s& status);
    void new_answer();
    void give_up_output();
    void end(outcome_e what, const std::string& error);
    void show_progress(const std::string& text) const;

    connection_c& connection_;
    protocol_e& protocol_;
    const session_options_s& options_;
    const patience_s patience_;
    const session_c::text_fn& text_;
    chunk_decoder_c decoder_;
    std::optional<answer_sorter_c> sorter_; // of the answer that arrives
    std::string type_;                      // what it says of itself
    std::string status_;
    progress_c progress_;
    std::string to_send_;
    std::uint64_t received_ = 0;
    steady_clock_t::time_point last_arrival_;
    bool is_listening_ = true;    // the daemon takes what is sent
    bool is_wanted_ = true;       // `text_` takes what arrives
    bool is_interrupted_ = false; // the daemon was asked to drop the answer
    bool is_complete_ = false;
    bool has_more_ = false;
    bool only_greets_ = false;
    bool is_silence_told_ = false;
    std::optional<outcome_s> outcome_;
};
