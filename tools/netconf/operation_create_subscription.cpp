// SPDX-License-Identifier: BSD-2-Clause

// <create-subscription> (RFC 5277, 2.1.1). There is the stream NETCONF, of all events, and no
// replay.
#include "operation.h"
#include "session.h"

namespace {

std::optional<rpc_error_s> fault_in(const client_message_s& rpc) {
    if (auto fault =
            fault_in_parameters(rpc, {"stream", "filter", "startTime", "stopTime"})) {
        return fault;
    }
    const parameter_s* stream = find_parameter(rpc, "stream");
    if (stream != nullptr && stream->text != "NETCONF") {
        return bad_element("application", "bad-element", "stream",
                           "there is the stream \"NETCONF\" alone");
    }
    if (find_parameter(rpc, "startTime") != nullptr) {
        return bad_element("application", "operation-not-supported", "startTime",
                           "what was is not told again");
    }
    if (find_parameter(rpc, "stopTime") != nullptr) {
        return bad_element("protocol", "missing-element", "startTime",
                           "there is a stopTime without a startTime");
    }
    const parameter_s* filter = find_parameter(rpc, "filter");
    return filter == nullptr ? std::nullopt : fault_in_subtree(*filter);
}

} // namespace

void perform_create_subscription(session_c& session, const client_message_s& rpc) {
    if (const auto fault = fault_in(rpc)) {
        session.refuse(*fault);
        return;
    }
    const parameter_s* filter = find_parameter(rpc, "filter");
    session.subscribe(filter == nullptr ? nullptr : &filter->filter);
}
