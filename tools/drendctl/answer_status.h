// SPDX-License-Identifier: BSD-2-Clause

// How an answer ended, as the daemon's socket says it in protocol 2 (docs/socket.md).
#pragma once

#include <string>
#include <string_view>

constexpr std::string_view ASK_FOR_STATUS = "protocol=2";

struct answer_status_s {
    std::string
        end; // "complete", "refused", "given-up", "interrupted"; empty: not a status
    std::string code;
    std::string text;
    std::string cursor;
    std::string rows;
};

// Reads lines "NAME: VALUE"; names that are not known are passed over.
answer_status_s read_status(std::string_view lines);

// Whether the error line of a refused request says that the daemon has protocol 1 alone.
bool knows_no_status(std::string_view error);
