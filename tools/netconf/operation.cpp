// SPDX-License-Identifier: BSD-2-Clause

#include "operation.h"

#include <algorithm>
#include <iterator>

#include "own_data.h"

namespace {

constexpr operation_s OPERATIONS[] = {
    {NETCONF_BASE, "get", perform_get},
    {NETCONF_BASE, "close-session", perform_close_session},
    {NETCONF_BASE, "kill-session", perform_kill_session},
    {NETCONF_NMDA, "get-data", perform_get_data},
    {NETCONF_MONITORING, "get-schema", perform_get_schema},
    {NETCONF_NOTIFICATION, "create-subscription", perform_create_subscription},
};

} // namespace

const operation_s* find_operation(const qualified_name_s& name) {
    const auto* const found = std::find_if(
        std::begin(OPERATIONS), std::end(OPERATIONS), [&](const operation_s& operation) {
            return name.xmlns == operation.xmlns && name.name == operation.name;
        });
    return found == std::end(OPERATIONS) ? nullptr : found;
}

bool has_operations_in(const std::string& xmlns) {
    return std::any_of(
        std::begin(OPERATIONS), std::end(OPERATIONS),
        [&](const operation_s& operation) { return xmlns == operation.xmlns; });
}

std::optional<rpc_error_s>
fault_in_parameters(const client_message_s& rpc,
                    std::initializer_list<std::string_view> known, const char* needed) {
    for (const parameter_s& parameter : rpc.parameters) {
        const std::string& name = parameter.name.name;
        if (parameter.name.xmlns != rpc.operation.xmlns) {
            return bad_namespace("protocol", name, parameter.name.xmlns);
        }
        if (std::find(known.begin(), known.end(), name) == known.end()) {
            return bad_element("protocol", "unknown-element", name,
                               "'" + rpc.operation.name + "' has no '" + name + "' here");
        }
        if (find_parameter(rpc, name) != &parameter) {
            return bad_element("protocol", "bad-element", name,
                               "there is more than one '" + name + "'");
        }
    }
    return needed == nullptr || find_parameter(rpc, needed) != nullptr
               ? std::nullopt
               : std::optional(bad_element("protocol", "missing-element", needed,
                                           std::string("there is no ") + needed));
}

std::optional<rpc_error_s> fault_in_subtree(const parameter_s& filter) {
    return filter.type.value_or("subtree") == "subtree"
               ? std::nullopt
               : std::optional(bad_attribute("protocol", "bad-attribute", "type", "filter",
                                             "filters are of the type \"subtree\""));
}

const parameter_s* find_parameter(const client_message_s& rpc, std::string_view name) {
    const auto found = std::find_if(rpc.parameters.begin(), rpc.parameters.end(),
                                    [&](const parameter_s& parameter) {
                                        return parameter.name.name == name &&
                                               parameter.name.xmlns == rpc.operation.xmlns;
                                    });
    return found == rpc.parameters.end() ? nullptr : &*found;
}
