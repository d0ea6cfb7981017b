// SPDX-License-Identifier: BSD-2-Clause

// Formatting, joining, splitting and quoting of texts.
//
// Every text that the library formats for output passes str_vappend, and so the formatter
// that a daemon may have installed. While the system's formatter is in force the formats
// that make up nearly all output ("%s", whole numbers, a run of blanks) are written
// directly; the bytes are the same. Functions that write into an argument are not safe for
// concurrent use of that argument.
#pragma once

#include <atomic>
#include <cstdarg>
#include <list>
#include <string>
#include <vector>

#include "drend.h"
#include "frame/dr_str_buf.h"

// A formatted text of this many bytes or more is cut to one byte less, marker included.
inline constexpr unsigned STR_LIMIT = 1048576;
// What a cut text ends in.
inline constexpr char STR_CUT_MARKER[] = " [string > 1M: truncated]";

// Appends the formatted text to `dst`. Returns the length that the formatter reported, or
// STR_LIMIT when the text was cut. Leaves `args` used up.
unsigned int str_vappend(std::string& dst, const char* format, va_list args)
    DREND_PRINTF(2, 0);
unsigned int str_append(std::string& dst, const char* format, ...) DREND_PRINTF(2, 3);

extern std::atomic<drend_vsnprintf_t> str_installed_formatter; // null: the system's
// Installs the formatter; null brings back the system's.
void str_set_vsnprintf(drend_vsnprintf_t formatter);
// Whether the system's formatter is in force.
inline bool str_formatter_is_system() {
    const bool is_system =
        str_installed_formatter.load(std::memory_order_acquire) == nullptr;
    return __builtin_expect(is_system, true);
}

// Appends the items to `out`, with the separator between them. Returns out.c_str().
const char* str_join(std::list<std::string> items, std::string& out, const char* separator);
const char* str_join(std::vector<std::string> items, std::string& out,
                     const char* separator);

// Makes `out` a copy of `in` with every `from` replaced by `to`, or deleted when `to` is
// NUL. Returns out.c_str().
const char* str_xlate(const std::string& in, std::string& out, char from, char to);

// Cuts `src` (not null) at every one of the separators and appends the pieces, empty ones
// included, to `out`. With `keep_brackets` a piece that holds "[" and "=" is kept together
// up to the piece that holds "]" ("/" in between); one that is never closed is dropped.
// Returns out.size().
unsigned int str_split(const char* src, std::vector<std::string>& out,
                       const char* separators, bool keep_brackets);

// Finds the end of the quoted string that begins at `s`, whose first character is its quote; a
// backslash before a quote keeps it inside. True with `end` at the closing quote, or false, which
// is traced, with `end` behind the last quote that was kept.
bool dri_find_end_quote(const char* s, const char*& end);
// The same without a trace.
bool dri_seek_end_quote(const char* s, const char*& end);
// The text between the quotes, without the backslashes that keep quotes in it.
std::string dri_unquoted(std::string_view inside, char quote);
// Appends the text in single quotes, with a backslash before each of those in it: what is read back
// as the same text, unless that ends in a backslash.
void dri_append_quoted(std::string& dst, std::string_view text);
// Without the quotes that it begins and ends with, if it does.
std::string_view dri_strip_quotes(std::string_view text);

// The number of characters of a UTF-8 text, as people count places in it.
size_t dri_count_characters(std::string_view text);

// Reads the quoted string that begins at `s`, whose first character is its quote. A
// backslash keeps the quote after it in the text. 0 with `end` at the closing quote, or -1
// when there is none; `out` then holds what was read.
int dri_get_quoted_str(const char* s, dr_str_buf_c& out, const char*& end);

// Cuts the selector name[key=value] into its parts. 0, or -1 when it has not that form;
// what was cut before the fault was seen is assigned, the rest of the outputs is left as it
// was.
int dri_parse_expr(const char* expr, std::string& name, std::string& key,
                   std::string& value);
