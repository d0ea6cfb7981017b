// SPDX-License-Identifier: BSD-2-Clause

// Escaping as hand-written code does it: markup and control characters; all else is trusted to be
// UTF-8 and goes through as it is.
#ifndef BENCH_ESCAPE_TEXT_H
#define BENCH_ESCAPE_TEXT_H

#include <string>
#include <string_view>

void append_xml_text(std::string& out, std::string_view text);
void append_json_text(std::string& out, std::string_view text);

// The same as a text of its own: `text` itself when nothing in it is escaped, else what `scratch`
// then holds.
const char* xml_text(const char* text, std::string& scratch);
const char* json_text(const char* text, std::string& scratch);

#endif
