// SPDX-License-Identifier: BSD-2-Clause

// <get> (RFC 6241, 7.7).
#include "operation.h"
#include "session.h"

void perform_get(session_c& session, const client_message_s& rpc) {
    if (const auto fault = fault_in_parameters(rpc, {"filter"})) {
        session.refuse(*fault);
        return;
    }
    data_request_s request;
    if (const parameter_s* filter = find_parameter(rpc, "filter")) {
        if (const auto fault = fault_in_subtree(*filter)) {
            session.refuse(*fault);
            return;
        }
        request.filter = filter->filter;
    }
    session.relay(request, "<data>");
}
