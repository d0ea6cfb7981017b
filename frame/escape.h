// SPDX-License-Identifier: BSD-2-Clause

// Makes the bytes of a daemon's value, or of a name, safe to stand in an output format.
//
// Values are untrusted: they may hold markup, control characters or bytes that are no UTF-8. Each
// byte that is not part of a valid UTF-8 sequence, and each character that the format forbids,
// comes out as U+FFFD. Thread-safe.
#pragma once

#include <string>
#include <string_view>

// How many bytes one byte of a value may become in any format.
inline constexpr size_t DRI_ESCAPED_MAX = 8;

struct dri_escaper_s {
    // How many bytes one byte may become in this one.
    size_t most;
    // Writes `text` to `out`, which has room for `most` times as many bytes. Returns the end of
    // what was written.
    char* (*write)(char* out, std::string_view text);
    // Appends `text` to `out`. Stops before the character that would make `out` longer than `limit`
    // bytes; returns whether all was appended.
    bool (*append)(std::string& out, std::string_view text, size_t limit);
};

extern const dri_escaper_s dri_xml_escaper;  // XML character data
extern const dri_escaper_s dri_json_escaper; // the inside of a JSON string
// The same with a reference for a carriage return, which a parser would take for a line feed.
extern const dri_escaper_s dri_exact_xml_escaper;
// With references, or escapes, for all characters outside ASCII.
extern const dri_escaper_s dri_ascii_xml_escaper;
extern const dri_escaper_s dri_ascii_json_escaper;
// A part of a line on a terminal: what would end the line or steer the terminal comes out as \n,
// \r, \t or U+FFFD, and so do characters that change the order in which others are shown.
extern const dri_escaper_s dri_table_escaper;

// The length of the valid UTF-8 sequence at the beginning of `text`, which is not empty; 0 when
// there is none.
unsigned dri_utf8_length(std::string_view text);
