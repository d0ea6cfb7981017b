// SPDX-License-Identifier: BSD-2-Clause

// Whom a request for data is put to, and in which order: the parts of the reply.
//
//     daemon a: interfaces, routing        routing of a | interfaces of a, b | sensors of b
//     daemon b: sensors, interfaces
//
// What several daemons show at the top is asked of them one after the other, and of nothing but
// that: so it comes side by side, whatever else they show, and nothing has to be kept back for it.
// Everything else of a daemon is asked for at once.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "rpc_reader.h"

// An element that a daemon's answer can have at its top.
struct top_element_s {
    qualified_name_s name;
    std::string kind; // "container", "list", "leaf-list" or "leaf"
};

// Asks a daemon for them.
inline constexpr char TOP_ELEMENTS_QUESTION[] = "xwalker /corvane-netconf-get";
// What it answers.
std::vector<top_element_s> read_top_elements(const std::string& answer);

// One that is asked.
struct source_s {
    std::string name;
    std::vector<top_element_s> tops;
};

struct reply_part_s {
    bool is_joined; // one container, which each of the sources has a share of
    std::vector<std::size_t> sources; // by their numbers
    std::optional<filter_t> filter;   // that they are asked with; without one, everything
};

// In the order of the sources. Nothing when two of them show what cannot be joined, with a line in
// `error`.
std::optional<std::vector<reply_part_s>> plan_reply(const std::vector<source_s>& sources,
                                                    const std::optional<filter_t>& filter,
                                                    std::string& error);
