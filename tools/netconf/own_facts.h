// SPDX-License-Identifier: BSD-2-Clause

// The server's own data as a data set of the library has it: JSON.
#pragma once

#include <string>

#include "own_data.h"

std::string to_json(const own_facts_s& facts);
