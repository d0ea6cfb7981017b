// SPDX-License-Identifier: BSD-2-Clause

#include "rpc_error.h"

#include "ascii_text.h"

namespace {

std::string element(const std::string& name, const std::string& content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

} // namespace

std::string to_xml(const rpc_error_s& error) {
    std::string info;
    for (const auto& [name, text] : error.info) {
        info += element(name, escaped(text));
    }
    return element("rpc-error", element("error-type", error.type) +
                                    element("error-tag", error.tag) +
                                    element("error-severity", "error") +
                                    "<error-message xml:lang=\"en\">" +
                                    escaped(error.message) + "</error-message>" +
                                    (info.empty() ? "" : element("error-info", info)));
}
