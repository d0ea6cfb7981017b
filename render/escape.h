// Makes the bytes of a daemon's value safe to stand in an output format.
//
// Values are untrusted: they may hold markup, control characters or bytes that are no UTF-8. Each
// byte that is not part of a valid UTF-8 sequence, and each character that the format forbids,
// comes out as U+FFFD. Thread-safe.
#pragma once

#include <string>
#include <string_view>

// Appends `text` as XML character data, or as the inside of a JSON string. Stops before the
// character that would make `out` longer than `limit` bytes; returns whether all was appended.
using dri_escaper_t = bool (*)(std::string& out, std::string_view text, size_t limit);
bool dri_append_xml_escaped(std::string& out, std::string_view text, size_t limit);
bool dri_append_json_escaped(std::string& out, std::string_view text, size_t limit);

// The length of the valid UTF-8 sequence at the beginning of `text`, which is not empty; 0 when
// there is none.
unsigned dri_utf8_length(std::string_view text);
