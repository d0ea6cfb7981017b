// SPDX-License-Identifier: BSD-2-Clause

// The text of requests: put together from a command line, so that the daemon's argument grammar
// reads back what was meant, and checked.
//
// In that grammar blanks and commas separate arguments. A value in quotes of either kind holds
// them, and a backslash in front of its kind of quote makes that one part of the value. The one
// text that cannot be quoted is one that ends in a backslash: that would keep the quotes open.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

constexpr std::size_t REQUEST_MAX = 65536; // bytes, the line feed not counted

// The request of these words; a word name=VALUE that would not be read as one value is quoted.
// Nothing, and one line in `error`, when VALUE cannot be.
std::optional<std::string> join_words(const std::vector<std::string>& words,
                                      std::string& error);

// `value` in quotes of the kind that it holds less of. Nothing when it ends in a backslash.
std::optional<std::string> quoted_value(std::string_view value);

// Whether it asks for the menu: its last word ends in "?", and is no value of an argument.
bool is_question(std::string_view request);

// Whether it is no request at all: blank or, in a file of requests, a remark.
bool is_blank(std::string_view line);
bool is_remark(std::string_view line);

// Why it cannot be sent as one line, or an empty text.
std::string request_fault(std::string_view request);
