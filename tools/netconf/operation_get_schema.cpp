// SPDX-License-Identifier: BSD-2-Clause

// <get-schema> (RFC 6022, 3.1) of YANG modules, from files.
#include "ascii_text.h"
#include "operation.h"
#include "own_data.h"
#include "schema_files.h"
#include "session.h"

namespace {

std::string text_in(const parameter_s* parameter) {
    return parameter == nullptr ? "" : parameter->text;
}

bool is_yang(const parameter_s* format) {
    return format == nullptr ||
           (format->value.name == "yang" && format->value.xmlns == NETCONF_MONITORING);
}

} // namespace

void perform_get_schema(session_c& session, const client_message_s& rpc) {
    if (const auto fault =
            fault_in_parameters(rpc, {"identifier", "version", "format"}, "identifier")) {
        session.refuse(*fault);
        return;
    }
    std::vector<schema_file_s> files;
    if (is_yang(find_parameter(rpc, "format"))) {
        files = schema_files_of(session.options().yang_dir,
                                find_parameter(rpc, "identifier")->text,
                                text_in(find_parameter(rpc, "version")));
    }
    const std::optional<std::string> text =
        files.size() == 1 ? schema_text(files.front()) : std::nullopt;
    if (files.empty()) {
        session.refuse({"application", "invalid-value", "there is no such schema"});
    } else if (files.size() > 1) {
        rpc_error_s error{"application", "operation-failed",
                          "there are several revisions of that schema"};
        error.app_tag = "data-not-unique";
        session.refuse(error);
    } else if (!text.has_value()) {
        session.refuse({"application", "operation-failed", "the schema cannot be read"});
    } else {
        session.reply(std::string("<data xmlns=\"") + NETCONF_MONITORING + "\">" +
                      escaped_lines(*text) + "</data>");
    }
}
