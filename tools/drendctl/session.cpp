// SPDX-License-Identifier: BSD-2-Clause

#include "session.h"

#include "exchange.h"
#include "interrupts.h"

namespace {

constexpr char UNASKED[] = "the daemon has answered what nobody asked";

} // namespace

outcome_s session_c::connect(const patience_s& patience) {
    using unread_e = connection_c::unread_e;
    // A new connection may already hold the daemon's refusal; a used one has nothing to say.
    const unread_e unread = connection_.is_open() ? connection_.unread() : unread_e::end;
    if (unread == unread_e::nothing || (unread == unread_e::bytes && !is_used_)) {
        return {outcome_e::answered, ""};
    }
    std::string error;
    adds_up_ = adds_up_ && unread == unread_e::end;
    is_used_ = false;
    protocol_ = protocol_e::unknown;
    if (connection_.open(options_.path, patience, error)) {
        return {outcome_e::answered, ""};
    }
    return interrupt_count() > 0 ? outcome_s{outcome_e::interrupted, ""}
                                 : outcome_s{outcome_e::lost, error};
}

outcome_s session_c::ask(std::string_view request, const text_fn& text) {
    return ask(request, text, options_.patience);
}

outcome_s session_c::ask(std::string_view request, const text_fn& text,
                         const patience_s& patience) {
    outcome_s connected = connect(patience);
    if (connected.what != outcome_e::answered) {
        return connected;
    }
    exchange_c exchange(connection_, protocol_, options_, patience, text);
    outcome_s outcome = exchange.run(request);
    is_used_ = true;
    adds_up_ = adds_up_ && !exchange.has_more();
    if (!exchange.is_complete() || exchange.has_more()) {
        connection_.close(); // what is still to come would be taken for the next answer
    }
    return outcome;
}

outcome_s session_c::greet(const patience_s& patience) {
    outcome_s outcome = connect(patience);
    if (outcome.what == outcome_e::answered && protocol_ == protocol_e::unknown) {
        const text_fn nowhere = [](std::string_view) { return true; };
        exchange_c exchange(connection_, protocol_, options_, patience, nowhere);
        outcome = exchange.greet();
        is_used_ = true;
        if (!exchange.is_complete()) {
            connection_.close();
        }
    }
    return outcome;
}

outcome_s session_c::finish(patience_s::time_point_t deadline) {
    if (connection_.is_open() && is_used_) {
        adds_up_ = connection_.ends(deadline) && adds_up_;
    }
    connection_.close();
    return adds_up_ ? outcome_s{outcome_e::answered, ""}
                    : outcome_s{outcome_e::lost, UNASKED};
}
