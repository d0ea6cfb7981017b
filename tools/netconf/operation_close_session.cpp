// SPDX-License-Identifier: BSD-2-Clause

// <close-session> (RFC 6241, 7.8).
#include "operation.h"
#include "session.h"

void perform_close_session(session_c& session, const client_message_s& rpc) {
    if (const auto fault = fault_in_parameters(rpc, {})) {
        session.refuse(*fault);
        return;
    }
    session.reply("<ok/>");
    session.end();
}
