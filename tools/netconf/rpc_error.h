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
    const char* app_tag = nullptr;
};

// Errors about an element: its name, or an attribute of it, is in the info.
rpc_error_s bad_element(const char* type, const char* tag, const std::string& element,
                        const std::string& message);
rpc_error_s bad_attribute(const char* type, const char* tag, const char* attribute,
                          const char* element, const std::string& message);
// "unknown-namespace"
rpc_error_s bad_namespace(const char* type, const std::string& element,
                          const std::string& xmlns);

// The element "rpc-error", in ASCII.
std::string to_xml(const rpc_error_s& error);
