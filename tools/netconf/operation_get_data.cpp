// SPDX-License-Identifier: BSD-2-Clause

// <get-data> (RFC 8526, 3.1.1) of the one datastore that there is, "operational".
//
// "max-depth" counts from what a filter selects, the daemons' levels from the top. One becomes the
// other where all that is selected stands on one level.
#include <algorithm>
#include <charconv>

#include "operation.h"
#include "own_data.h"
#include "session.h"

namespace {

constexpr unsigned LEVELS_MAX = 65535;

rpc_error_s not_here(const char* tag, const std::string& parameter,
                     const std::string& message) {
    return bad_element("protocol", tag, parameter, message);
}

std::optional<rpc_error_s> fault_in_datastore(const client_message_s& rpc) {
    const parameter_s* datastore = find_parameter(rpc, "datastore");
    const bool is_known =
        datastore->value.xmlns == DATASTORES && datastore->value.name == "operational";
    return is_known ? std::nullopt
                    : std::optional(not_here("invalid-value", "datastore",
                                             "there is the datastore \"operational\""));
}

// What RFC 8526 has for servers with more features.
std::optional<rpc_error_s> fault_in_features(const client_message_s& rpc) {
    if (find_parameter(rpc, "with-defaults") != nullptr) {
        return not_here("invalid-value", "with-defaults", "there are no defaults here");
    }
    return std::nullopt;
}

std::optional<rpc_error_s> read_content(const client_message_s& rpc,
                                        data_request_s& request) {
    const parameter_s* filter = find_parameter(rpc, "config-filter");
    if (filter == nullptr) {
        return std::nullopt;
    }
    request.content = filter->text == "true" ? "config" : "nonconfig";
    return filter->text == "true" || filter->text == "false"
               ? std::nullopt
               : std::optional(not_here("invalid-value", "config-filter",
                                        "it is \"true\" or \"false\""));
}

// 0: unbounded; nothing for what is no number of levels.
std::optional<unsigned> levels_in(const parameter_s* depth) {
    if (depth == nullptr || depth->text == "unbounded") {
        return 0;
    }
    unsigned levels = 0;
    const char* const end = depth->text.data() + depth->text.size();
    const auto read = std::from_chars(depth->text.data(), end, levels);
    const bool is_number = read.ec == std::errc() && read.ptr == end;
    return is_number && levels >= 1 && levels <= LEVELS_MAX ? std::optional(levels)
                                                            : std::nullopt;
}

std::optional<rpc_error_s> read_levels(const client_message_s& rpc,
                                       data_request_s& request) {
    const std::optional<unsigned> levels = levels_in(find_parameter(rpc, "max-depth"));
    if (!levels.has_value()) {
        return not_here("invalid-value", "max-depth",
                        "a depth is a number from 1 on, or \"unbounded\"");
    }
    const filter_t filter = request.filter.value_or(filter_t());
    const unsigned level =
        filter.empty() ? 1 : filter.front().level; // of all that is selected
    const bool is_one = level > 0 && std::all_of(filter.begin(), filter.end(),
                                                 [&](const filter_element_s& element) {
                                                     return element.level == level;
                                                 });
    if (*levels > 0 && !is_one) {
        return not_here("operation-not-supported", "max-depth",
                        "the filter selects elements on several levels");
    }
    request.levels = *levels == 0 ? "" : std::to_string(level - 1 + *levels);
    return std::nullopt;
}

} // namespace

void perform_get_data(session_c& session, const client_message_s& rpc) {
    data_request_s request;
    std::optional<rpc_error_s> fault = fault_in_parameters(
        rpc, {"datastore", "subtree-filter", "max-depth", "config-filter", "with-defaults"},
        "datastore");
    fault = fault ? fault : fault_in_datastore(rpc);
    fault = fault ? fault : fault_in_features(rpc);
    if (const parameter_s* filter = find_parameter(rpc, "subtree-filter")) {
        request.filter = filter->filter;
    }
    fault = fault ? fault : read_content(rpc, request);
    fault = fault ? fault : read_levels(rpc, request);
    if (fault) {
        session.refuse(*fault);
        return;
    }
    session.relay(request, std::string("<data xmlns=\"") + NETCONF_NMDA + "\">");
}
