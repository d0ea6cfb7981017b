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

// A subtree filter.
struct filter_s {
    // Its elements without their prefixes, line feeds and apostrophes: what can stand between
    // apostrophes in a line. Those of NETCONF's own namespace, which a client that leaves
    // the namespace out gives them, have none and fit any.
    std::string text;
    std::vector<std::string> namespaces; // of its topmost elements
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
    std::optional<filter_s> filter; // of a "get"; without one, everything
    // Why it cannot be done; what could be read stands in the other members.
    std::optional<rpc_error_s> fault;
};

// Throws std::bad_alloc.
client_message_s read_message(std::string_view text);
