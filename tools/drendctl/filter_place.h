// SPDX-License-Identifier: BSD-2-Clause

// Shows where in a filter the daemon found what it refused: it says which character of which it
// is, and the filter is known here.
#pragma once

#include <string>
#include <string_view>

// For the daemon's line `error` ("error: filter: WHAT at character N") about `request`: its filter,
// controls escaped, and below that character a caret, each in a line. Empty for another error, and
// when there is no such character.
std::string filter_place(std::string_view error, std::string_view request);
