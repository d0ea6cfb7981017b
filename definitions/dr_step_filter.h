// SPDX-License-Identifier: BSD-2-Clause

// A request's filter: its steps, parsed once for every walk that has this filter.
#pragma once

#include <memory>
#include <string>
#include <vector>

class dr_xpath_c;

struct dr_step_filter_s {
    std::string text;
    // Null when the text does not parse to exactly one step; such a filter matches nothing.
    std::shared_ptr<const dr_xpath_c> parsed;
};

// Immutable, and shared by walks; null for none.
using dr_filter_t = std::shared_ptr<const std::vector<dr_step_filter_s>>;
