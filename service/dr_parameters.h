// SPDX-License-Identifier: BSD-2-Clause

// The arguments that a command takes, a line each; drend_send_parameters says of what.
#pragma once

#include <string>

#include "definitions/drend_tag.h"

std::string dri_parameter_lines(const drend_tag_c& top_tag);
