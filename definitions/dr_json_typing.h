// SPDX-License-Identifier: BSD-2-Clause

// Which values of a leaf stand in JSON as they are, and which are strings there (RFC 7951).
//
//     dts_data_type      value that is read     in JSON
//     uint16             uint16 1500            1500
//     uint16             text "1500"            1500
//     uint16             text "unknown"         "unknown"
//     uint64             uint16 1500            "1500"
//     (none)             uint16 1500            1500
//     (none)             text "1500"            "1500"
//
// A definition's type counts, without one that of the value. Constant; any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "frame/drend_value.h"

class dr_json_typing_c {
  public:
    // Of a definition that says no type.
    dr_json_typing_c();
    // `data_type` is a dt_data_type_e.
    explicit dr_json_typing_c(int32_t data_type);
    // Of leaves whose values are strings.
    static dr_json_typing_c strings();

    // Whether a value is no string, as far as its own type tells.
    bool is_bare(dr_value_type_t type) const { return ((bare_ >> type) & 1U) != 0; }
    // Whether the text of a value may decide where its type does not, and what it decides.
    bool asks_text() const { return data_type_ != 0; }
    bool is_bare_text(std::string_view text) const;

  private:
    uint16_t bare_;         // a bit for each dr_value_type_t
    int32_t data_type_ = 0; // of texts that may be bare; 0: none is
};
