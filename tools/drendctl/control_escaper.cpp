// SPDX-License-Identifier: BSD-2-Clause

#include "control_escaper.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace {

constexpr char ESCAPE = '\033';
constexpr std::string_view PLAIN = "\033[0m";
constexpr std::string_view COLOURS[] = {"\033[1m", "\033[31m", "\033[32m", "\033[33m",
                                        PLAIN};

void append_escaped(unsigned char byte, std::string& out) {
    static constexpr char digits[] = "0123456789abcdef";
    out += "\\x";
    out += digits[byte >> 4];
    out += digits[byte & 15];
}

// How many bytes follow the first byte of a character; 0 when it cannot be the first of several.
unsigned following(unsigned char first) {
    if (first >= 0xc2 && first <= 0xdf) {
        return 1;
    }
    if (first >= 0xe0 && first <= 0xef) {
        return 2;
    }
    return first >= 0xf0 && first <= 0xf4 ? 3 : 0;
}

} // namespace

void control_escaper_c::add(std::string_view text, std::string& out) {
    for (const char c : text) {
        add(static_cast<unsigned char>(c), out);
    }
}

void control_escaper_c::add(unsigned char byte, std::string& out) {
    if (!is_table_ || !continues_colour(byte, out)) {
        add_text(byte, out);
    }
}

// Whether the byte begins a colour, or goes on with one. What turns out to be none is text.
bool control_escaper_c::continues_colour(unsigned char byte, std::string& out) {
    colour_ += static_cast<char>(byte);
    const auto begins = [this](std::string_view colour) {
        return colour.starts_with(colour_);
    };
    const auto* found = std::find_if(std::begin(COLOURS), std::end(COLOURS), begins);
    if (found == std::end(COLOURS)) {
        colour_.pop_back();
        for (const char c : std::exchange(colour_, {})) {
            add_text(static_cast<unsigned char>(c), out);
        }
        return byte == ESCAPE && continues_colour(byte, out);
    }
    if (*found == colour_) {
        finish_text(out);
        is_coloured_ = colour_ != PLAIN;
        out += std::exchange(colour_, {});
    }
    return true;
}

void control_escaper_c::add_text(unsigned char byte, std::string& out) {
    if (missing_ > 0 && continues(byte)) {
        begun_ += static_cast<char>(byte);
        if (--missing_ == 0) {
            out += begun_;
            begun_.clear();
        }
        return;
    }
    finish_text(out);
    missing_ = following(byte);
    if (missing_ > 0) {
        begun_ += static_cast<char>(byte);
    } else if (byte == '\n' || byte == '\t' || (byte >= 0x20 && byte < 0x7f)) {
        out += static_cast<char>(byte);
    } else {
        append_escaped(byte, out);
    }
}

// The second byte also excludes control characters, longer forms than needed, surrogates and what
// is beyond Unicode.
bool control_escaper_c::continues(unsigned char byte) const {
    unsigned lowest = 0x80;
    unsigned highest = 0xbf;
    if (begun_.size() == 1) {
        switch (static_cast<unsigned char>(begun_[0])) {
        case 0xc2:
        case 0xe0:
            lowest = 0xa0;
            break;
        case 0xed:
            highest = 0x9f;
            break;
        case 0xf0:
            lowest = 0x90;
            break;
        case 0xf4:
            highest = 0x8f;
            break;
        default:
            break;
        }
    }
    return byte >= lowest && byte <= highest;
}

void control_escaper_c::finish(std::string& out) {
    for (const char c : std::exchange(colour_, {})) {
        add_text(static_cast<unsigned char>(c), out);
    }
    finish_text(out);
    out += std::exchange(is_coloured_, false) ? PLAIN : "";
}

void control_escaper_c::finish_text(std::string& out) {
    for (const char c : begun_) {
        append_escaped(static_cast<unsigned char>(c), out);
    }
    begun_.clear();
    missing_ = 0;
}

std::string escaped_controls(std::string_view text) {
    std::string out;
    control_escaper_c escaper;
    escaper.add(text, out);
    escaper.finish(out);
    return out;
}
