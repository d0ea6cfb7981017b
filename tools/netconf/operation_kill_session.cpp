// SPDX-License-Identifier: BSD-2-Clause

// <kill-session> (RFC 6241, 7.9): whom the kernel lets end the process of a session may kill it.
#include <charconv>

#include "operation.h"
#include "session.h"

namespace {

pid_t number_in(const std::string& text) {
    pid_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

rpc_error_s no_such_session(const char* message) {
    return bad_element("protocol", "invalid-value", "session-id", message);
}

} // namespace

void perform_kill_session(session_c& session, const client_message_s& rpc) {
    if (const auto fault = fault_in_parameters(rpc, {"session-id"}, "session-id")) {
        session.refuse(*fault);
        return;
    }
    const pid_t id = number_in(find_parameter(rpc, "session-id")->text);
    if (id == session.registry().own().id) {
        session.refuse(no_such_session("a session ends itself by \"close-session\""));
        return;
    }
    switch (session.registry().kill(id)) {
    case session_registry_c::kill_e::killed:
        session.reply("<ok/>");
        return;
    case session_registry_c::kill_e::unknown:
        session.refuse(no_such_session("there is no such session"));
        return;
    case session_registry_c::kill_e::denied:
        session.refuse({"protocol", "access-denied", "that is another user's session"});
        return;
    case session_registry_c::kill_e::unsupported:
        session.refuse({"application", "operation-not-supported",
                        "the kernel cannot say for sure which process that is"});
        return;
    }
}
