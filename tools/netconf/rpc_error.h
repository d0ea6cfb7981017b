// SPDX-License-Identifier: BSD-2-Clause

// The errors of RFC 6241, appendix A, as replies have them.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct rpc_error_s {
    const char* type; // "transport", "rpc", "protocol" or "application"
    const char* tag;
    std::string message; // one line for people
    // What is wrong, "bad-element" and the like with their texts.
    std::vector<std::pair<const char*, std::string>> info{};
};

// The element "rpc-error", in ASCII.
std::string to_xml(const rpc_error_s& error);
