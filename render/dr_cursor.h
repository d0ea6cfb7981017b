// SPDX-License-Identifier: BSD-2-Clause

// dr_cursor_s: a row of a list of a command, as text and as what it leads to.
//
//     /routes/route=10.0.0.0%2F8     the row with that key
//     /log/entry#40                   the fortieth row of a list without keys
//     /log/entry+2#40                 that of the second list of that name
//
// The text is one word of a request: what is neither a letter, a digit nor one of "-._~:" in a name
// or a key is a percent sign and two hexadecimal digits. Lists above have no keys in it: they have
// one row.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "definitions/drend_tag.h"

struct dr_cursor_s {
    std::vector<const drend_tag_c*>
        way;                       // from the command's tag to the list, hidden ones, too
    std::vector<std::string> keys; // the row's; empty: it is known by its number
    uint64_t row = 0;              // from 1

    size_t memory() const; // in bytes, about
};

// The cursor that a text stands for. Null, with what is wrong in `fault`, for other texts.
std::shared_ptr<const dr_cursor_s>
dri_read_cursor(const drend_tag_c& top_tag, std::string_view text, std::string& fault);

// Appends the step to a tag from the one above it that can be named; null: it is the command's.
void dri_append_cursor_step(std::string& out, const drend_tag_c* above,
                            const drend_tag_c& tag);
// Appends a name or a key.
void dri_append_cursor_word(std::string& out, std::string_view word);
