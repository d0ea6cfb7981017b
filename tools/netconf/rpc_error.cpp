// SPDX-License-Identifier: BSD-2-Clause

#include "rpc_error.h"

#include "ascii_text.h"

namespace {

std::string element(const std::string& name, const std::string& content) {
    return "<" + name + ">" + content + "</" + name + ">";
}

} // namespace

rpc_error_s bad_element(const char* type, const char* tag, const std::string& element,
                        const std::string& message) {
    return {type, tag, message, {{"bad-element", element}}, nullptr};
}

rpc_error_s bad_attribute(const char* type, const char* tag, const char* attribute,
                          const char* element, const std::string& message) {
    return {type,
            tag,
            message,
            {{"bad-attribute", attribute}, {"bad-element", element}},
            nullptr};
}

rpc_error_s bad_namespace(const char* type, const std::string& element,
                          const std::string& xmlns) {
    return {type,
            "unknown-namespace",
            "there is no '" + element + "' in that namespace",
            {{"bad-element", element}, {"bad-namespace", xmlns}},
            nullptr};
}

std::string to_xml(const rpc_error_s& error) {
    std::string info;
    for (const auto& [name, text] : error.info) {
        info += element(name, escaped(text));
    }
    const std::string app_tag =
        error.app_tag == nullptr ? "" : element("error-app-tag", error.app_tag);
    return element("rpc-error", element("error-type", error.type) +
                                    element("error-tag", error.tag) +
                                    element("error-severity", "error") + app_tag +
                                    "<error-message xml:lang=\"en\">" +
                                    escaped(error.message) + "</error-message>" +
                                    (info.empty() ? "" : element("error-info", info)));
}
