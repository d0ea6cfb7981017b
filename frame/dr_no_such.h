// SPDX-License-Identifier: BSD-2-Clause

// What somebody is told who named something that there is not: the part that is wrong, where it was
// looked for, and what there is.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// A word that a peer sent: what could move a terminal's cursor is shown as its code.
std::string dri_without_controls(std::string_view word);
// The same in quotes, and of a long word the beginning.
std::string dri_quoted_word(std::string_view word);

// "no 'pol' below /dhcp; there are pool, statistics". Without a place: "no 'pol'; there are
// ...". Of many names only the first are listed.
std::string dri_no_such(std::string_view name, std::string_view place,
                        const std::vector<std::string>& there_are);
