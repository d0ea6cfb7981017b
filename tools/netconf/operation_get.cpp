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
        if (filter->type.value_or("subtree") != "subtree") {
            session.refuse(bad_attribute("protocol", "bad-attribute", "type", "filter",
                                         "filters are of the type \"subtree\""));
            return;
        }
        request.filter = filter->filter;
    }
    session.relay(request, "<data>");
}
