// SPDX-License-Identifier: BSD-2-Clause

// What is wrong with a path filter: for strict requests, which are told instead of getting an
// answer that is empty or larger than what was asked for.
#pragma once

#include <string>

#include "definitions/drend_tag.h"

// Empty when nothing is; else what is wrong, and at which character of the text, from 1 on:
//
//     no 'pol' below /dhcp; there are pool, statistics at character 7
std::string dri_check_filter(const drend_tag_c& top_tag, const std::string& text);
