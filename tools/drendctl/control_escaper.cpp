// SPDX-License-Identifier: BSD-2-Clause

#include "control_escaper.h"

namespace {

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
    if (missing_ > 0 && continues(byte)) {
        begun_ += static_cast<char>(byte);
        if (--missing_ == 0) {
            out += begun_;
            begun_.clear();
        }
        return;
    }
    finish(out);
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
