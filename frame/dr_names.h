// SPDX-License-Identifier: BSD-2-Clause

// Sentences about names that are not known, for people who typed them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

using dr_names_t = std::vector<std::string>;

// "there are a, b", "there is a" or "there is nothing"; of many names the first ones.
std::string dri_there_are(const dr_names_t& names);

// A word as it may stand in a line: in single quotes, without control characters, and cut when it
// is long.
std::string dri_word_shown(std::string_view word);
