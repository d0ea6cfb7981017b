// SPDX-License-Identifier: BSD-2-Clause

// What an answer is to look like: the options that say so, on the command line and at the end of a
// typed line, and the daemon's words for them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct form_option_s {
    const char* option;
    const char* words; // added to a request, each after a blank
    bool is_form;      // of which there is one at most
    const char* help;
};

// "--limit" is not among them, as it has a value.
const std::vector<form_option_s>& form_options();

struct typed_request_s {
    std::string request;
    bool is_xml = false; // that is what is wanted, not what a terminal would get
};

// A line as somebody typed it: options at its end mean what those of the program do.
typed_request_s typed_request(std::string_view line);

// Whether a request says what its answer is to look like.
bool has_form(std::string_view request);

// Whether it asks for a table.
bool is_table(std::string_view request);

// Whether what a command takes, as the daemon answers a question behind it, has tables.
bool offers_tables(std::string_view parameters);
