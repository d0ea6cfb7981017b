// SPDX-License-Identifier: BSD-2-Clause

#include "answer_status.h"

#include <algorithm>

answer_status_s read_status(std::string_view lines) {
    answer_status_s status;
    const std::pair<std::string_view, std::string*> members[] = {{"end", &status.end},
                                                                 {"code", &status.code},
                                                                 {"text", &status.text},
                                                                 {"cursor", &status.cursor},
                                                                 {"rows", &status.rows}};
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find('\n'));
        lines.remove_prefix(std::min(lines.size(), line.size() + 1));
        const std::size_t colon = line.find(": ");
        for (const auto& [name, value] : members) {
            if (colon != std::string_view::npos && line.substr(0, colon) == name) {
                *value = line.substr(colon + 2);
            }
        }
    }
    return status;
}

bool knows_no_status(std::string_view error) {
    return error.starts_with("error: '" + std::string(ASK_FOR_STATUS) + "' is no command");
}
