// SPDX-License-Identifier: BSD-2-Clause

// One step of a request's filter, parsed once for the whole walk.
#pragma once

#include <memory>
#include <string>

class dr_xpath_c;

struct dr_step_filter_s {
    std::string text;
    // Null when the text does not parse to exactly one step; such a filter matches nothing.
    std::shared_ptr<const dr_xpath_c> parsed;
};
