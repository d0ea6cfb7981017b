// SPDX-License-Identifier: BSD-2-Clause

// Cuts a request's filter into one step for each level of the walk.
#pragma once

#include "definitions/dr_step_filter.h"

// Steps end at every "/", also inside a predicate; a leading one makes no step, a trailing one
// makes an empty last step. Literals come out in single quotes after a blank, so that a step's text
// parses back to the same expression. Reading stops, without the step it is in, at an unterminated
// literal.
//
// Null when the filter as a whole is too much.
dr_filter_t dri_cut_filter(const char* filter);
