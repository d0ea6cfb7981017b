#include "session.h"

#include "exchange.h"
#include "interrupts.h"

outcome_s session_c::connect() {
    using unread_e = connection_c::unread_e;
    // A new connection may already hold the daemon's refusal; a used one has nothing to say.
    const unread_e unread = connection_.is_open() ? connection_.unread() : unread_e::end;
    if (unread == unread_e::nothing || (unread == unread_e::bytes && !is_used_)) {
        return {outcome_e::answered, ""};
    }
    std::string error;
    is_used_ = false;
    if (!connection_.open(options_.path, options_.timeout, error)) {
        return {interrupt_count() > 0 ? outcome_e::interrupted : outcome_e::lost, error};
    }
    return {outcome_e::answered, ""};
}

outcome_s session_c::ask(std::string_view request, const text_fn& text) {
    return ask(request, text, options_.timeout);
}

outcome_s session_c::ask(std::string_view request, const text_fn& text,
                         std::chrono::milliseconds timeout) {
    const outcome_s connected = connect();
    if (connected.what != outcome_e::answered) {
        return connected;
    }
    session_options_s options = options_;
    options.timeout = timeout;
    exchange_c exchange(connection_, options, text);
    const outcome_s outcome = exchange.run(request);
    is_used_ = true;
    if (!exchange.is_complete()) {
        connection_.close(); // what is still to come would be taken for the next answer
    }
    return outcome;
}
