// SPDX-License-Identifier: BSD-2-Clause

// What is wrong with a request's arguments: for strict requests, and for subscriptions.
#pragma once

#include <string>
#include <vector>

#include "definitions/drend_tag.h"
#include "expr/dri_args.h"

struct dr_read_args_s {
    const char* text;
    const std::vector<dr_argument_s>& args;
    const dr_args_fault_s& fault;
};

// Empty when nothing is wrong; else what is, as a line for the peer.
std::string dri_check_syntax(const dr_read_args_s& read);
std::string dri_check_arguments(const drend_tag_c& top_tag, const dr_read_args_s& read);
