// SPDX-License-Identifier: BSD-2-Clause

// Takes the element "data" off a daemon's answer, so that the answers of several daemons fit into
// one:
//
//     <data>LF ... </data>LF
//
// The answer arrives in pieces of any size; no more of it is held than what may be the end.
#pragma once

#include <string>
#include <string_view>

class data_stripper_c {
  public:
    // Appends to `out` what is within the element. False when the answer does not begin with it.
    bool add(std::string_view text, std::string& out);
    // Whether the answer, which ends here, was such an element.
    bool is_whole() const;

  private:
    std::size_t opened_ = 0; // characters of the beginning
    std::string held_;       // the last of the rest, as much as the end has characters
};
