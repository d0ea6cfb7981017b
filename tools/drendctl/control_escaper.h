// SPDX-License-Identifier: BSD-2-Clause

// Makes text safe to be shown on a terminal, in pieces as it arrives.
//
// What a terminal could take for a command is shown as \xNN: control characters but for line feed
// and tab, those of Unicode (U+0080 to U+009F), and bytes that are not UTF-8, which a terminal
// with another character set would take for the latter. Of a table five sequences are left as they
// are, which colour states and make headings bold, and nothing else.
#pragma once

#include <string>
#include <string_view>

class control_escaper_c {
  public:
    explicit control_escaper_c(bool is_table = false) : is_table_(is_table) {}

    // Appends `text` to `out`. The beginning of a character is kept until the rest comes.
    void add(std::string_view text, std::string& out);
    // Appends what was kept.
    void finish(std::string& out);

  private:
    void add(unsigned char byte, std::string& out);
    void finish_text(std::string& out);
    void add_text(unsigned char byte, std::string& out);
    bool continues_colour(unsigned char byte, std::string& out);
    bool continues(unsigned char byte) const;

    std::string begun_;    // the bytes of an unfinished character
    unsigned missing_ = 0; // how many more it takes
    bool is_table_;
    std::string colour_; // the bytes of an unfinished sequence
    bool is_coloured_ = false;
};

// All of `text` at once.
std::string escaped_controls(std::string_view text);
