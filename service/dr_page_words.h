// SPDX-License-Identifier: BSD-2-Clause

// The words by which a request asks for less than everything: limit=ROWS, cursor=TOKEN,
// depth=LEVELS, content=config or nonconfig.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "definitions/drend_tag.h"
#include "expr/dri_args.h"
#include "render/dr_page.h"

inline constexpr std::string_view DR_PAGE_WORDS[] = {"limit", "cursor", "depth", "content"};

// Whether it is one of those.
bool dri_is_page_word(std::string_view word);

// Reads those that are no parameters of the command. What is wrong with one of them, or an empty
// text.
std::string dri_read_page(const drend_tag_c& top_tag,
                          const std::vector<dr_argument_s>& args, dr_page_wish_s& wish);

// The same of the kinds of data: dt_content_e bits, all of them without the word.
std::string dri_read_content(const drend_tag_c& top_tag,
                             const std::vector<dr_argument_s>& args, uint8_t& content);
