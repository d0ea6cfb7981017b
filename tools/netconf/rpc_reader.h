// SPDX-License-Identifier: BSD-2-Clause

// Reads a client's message: its hello, or a request.
//
// What clients send is not trusted: it is bounded in length by whoever collects it and in depth
// here, no document type may stand in it, so that there is no entity but XML's own, and nothing is
// ever fetched, from no network and no file.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rpc_error.h"

inline constexpr char NETCONF_BASE[] = "urn:ietf:params:xml:ns:netconf:base:1.0";

struct qualified_name_s {
    std::string xmlns; // empty: none
    std::string name;
};

// A topmost element of a subtree filter.
struct filter_element_s {
    // One of the operation's own namespace, which a client that leaves the namespace out gives it,
    // has none and fits any.
    qualified_name_s name;
    // Without prefixes, line feeds and apostrophes: what can stand between apostrophes in a line.
    std::string text;
    // From the top, 1, at which stands what it selects; 0: on several.
    unsigned level;
};

// A subtree filter; without an element it selects nothing.
using filter_t = std::vector<filter_element_s>;

// What stands within an operation.
struct parameter_s {
    qualified_name_s name;
    std::optional<std::string> type; // its attribute of that name
    // Its text without white space around it; as a name, whose prefix stands for a namespace.
    std::string text;
    qualified_name_s value;
    filter_t filter; // its elements
};

struct client_message_s {
    // The root element's name; without one the text is no XML.
    std::optional<qualified_name_s> root;
    // Of a hello
    std::vector<std::string> capabilities;
    bool has_session_id = false;
    // Of an rpc: its attributes as the reply has them, each with a blank in front. Of a text that
    // is no XML, but begins like one: "message-id" alone
    std::string attributes;
    qualified_name_s operation;
    std::vector<parameter_s> parameters;
    // Why it cannot be done; what could be read stands in the other members.
    std::optional<rpc_error_s> fault;
};

// Throws std::bad_alloc.
client_message_s read_message(std::string_view text);
