// SPDX-License-Identifier: BSD-2-Clause

// XML in ASCII: characters beyond it as character references.
//
// There are clients that decode each piece of a reply by itself and break on a character that two
// pieces share. In ASCII there is none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

// Of text that arrives in pieces of any size. What is no UTF-8 comes out as U+FFFD.
class ascii_encoder_c {
  public:
    void add(std::string_view utf8, std::string& out);
    // The text ends here, perhaps within a character.
    void finish(std::string& out);

  private:
    void byte(unsigned char c, std::string& out);
    void begin(unsigned char c, std::string& out);

    std::uint32_t character_ = 0;
    std::uint32_t smallest_ = 0; // that needs as many bytes
    int missing_ = 0;
};

// A text for the inside of an element or of an attribute in quotation marks: one line.
std::string escaped(std::string_view utf8);
// The same for the inside of an element, with its lines as they are.
std::string escaped_lines(std::string_view utf8);
