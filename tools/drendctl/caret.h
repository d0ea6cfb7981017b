// SPDX-License-Identifier: BSD-2-Clause

// Shows a place in a line of text, as compilers do: the line, and a caret below the place.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// Where character number `character` of `text` begins, the first one being 1; the one behind the
// last is the end. Nothing when there is no such character.
std::optional<std::size_t> offset_of(std::size_t character, std::string_view text);

// The offset, or the next one behind it, that is no part of a character begun before.
std::size_t next_character(std::string_view text, std::size_t offset);

// `line`, controls escaped, and a caret below what stands at `offset`, each in a line of its own
// behind its margin.
std::string with_caret(std::string_view line, std::size_t offset,
                       std::string_view margin = {}, std::string_view margin_below = {});
