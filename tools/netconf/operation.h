// SPDX-License-Identifier: BSD-2-Clause

// The operations that there are: one row in the table, one function in a file of its own.
//
// A function answers its rpc through the session: with a reply, with an error, or with data that
// are relayed as they come.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

#include "rpc_reader.h"

class session_c;

inline constexpr char NETCONF_NOTIFICATION[] =
    "urn:ietf:params:xml:ns:netconf:notification:1.0";

struct operation_s {
    const char* xmlns;
    const char* name;
    void (*perform)(session_c& session, const client_message_s& rpc);
};

// Null when there is none of that name.
const operation_s* find_operation(const qualified_name_s& name);
bool has_operations_in(const std::string& xmlns);

// --- parameters ---

// The fault in the parameters of an operation that has those `known`: one that it does not have, or
// twice, or without the one that it needs.
std::optional<rpc_error_s>
fault_in_parameters(const client_message_s& rpc,
                    std::initializer_list<std::string_view> known,
                    const char* needed = nullptr);
// That in a filter that is no subtree.
std::optional<rpc_error_s> fault_in_subtree(const parameter_s& filter);
// Null when it was not given.
const parameter_s* find_parameter(const client_message_s& rpc, std::string_view name);

// --- what the table is made of ---

void perform_get(session_c& session, const client_message_s& rpc);
void perform_get_data(session_c& session, const client_message_s& rpc);
void perform_get_schema(session_c& session, const client_message_s& rpc);
void perform_kill_session(session_c& session, const client_message_s& rpc);
void perform_create_subscription(session_c& session, const client_message_s& rpc);
void perform_close_session(session_c& session, const client_message_s& rpc);
