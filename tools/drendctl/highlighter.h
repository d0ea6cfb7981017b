// SPDX-License-Identifier: BSD-2-Clause

// Colours XML and JSON for a terminal, in pieces as they arrive.
//
// The first byte that is no blank decides: "<" is XML, "{" and "[" are JSON, anything else is left
// as it is. Colours change nothing but the colour: without the escape sequences the text is
// what was added. Malformed text gets colours that mean little; it is never lost.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class highlighter_c {
  public:
    // Appends `text` with its colours to `out`.
    void add(std::string_view text, std::string& out);
    // Goes back to the terminal's own colour.
    void finish(std::string& out);

  private:
    enum class language_e { unknown, xml, json, plain };
    enum class xml_e { text, name, attributes, value };
    enum class json_e { between, string, escape };
    enum class colour_e { none, name, key, value, literal };

    colour_e colour_of(char c);
    colour_e xml_colour(char c);
    colour_e json_colour(char c);
    colour_e json_between(char c);
    void use(colour_e colour, std::string& out);

    language_e language_ = language_e::unknown;
    colour_e used_ = colour_e::none;
    xml_e xml_ = xml_e::text;
    char quote_ = '"';
    json_e json_ = json_e::between;
    bool is_key_ = false;         // the string to come, or under way, is a member's name
    std::vector<bool> objects_;   // the open brackets: true for "{"
    unsigned long uncounted_ = 0; // brackets open beyond those
};
