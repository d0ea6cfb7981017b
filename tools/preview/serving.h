// SPDX-License-Identifier: BSD-2-Clause

// Serves the commands on a management socket, until a signal ends it.
#pragma once

#include <string>

#include "definitions_folder.h"

// Loads the definitions and serves. 0, or 1 with a line on standard error.
int serve(const definitions_folder_c& definitions, const std::string& socket);
