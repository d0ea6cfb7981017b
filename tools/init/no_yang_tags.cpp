// SPDX-License-Identifier: BSD-2-Clause

// In the place of yang_tags.cpp where libyang is not wanted.
#include "schema_tags.h"

#include <stdexcept>

std::vector<skeleton_tag_s> read_yang_tags(const std::vector<std::string>&,
                                           const std::vector<std::string>&) {
    throw std::runtime_error("this drend-init was built without YANG");
}
