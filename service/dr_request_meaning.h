// SPDX-License-Identifier: BSD-2-Clause

// What a request's argument text means for a command: read once, kept for the requests that come
// with the same text again.
//
// At most 192 KiB are kept, until dri_reset_xpath_cache forgets them. Daemon's thread.
#pragma once

#include <memory>
#include <string>

#include "definitions/dr_step_filter.h"
#include "definitions/drend_tag.h"

struct dr_request_meaning_s {
    bool as_json = false;
    bool has_filter = false; // one that goes before the caller's
    dr_filter_t filter;      // of has_filter; null when it is more than a filter may hold
    std::string style;       // empty: none
};

// Null for `args` is a request without arguments.
std::shared_ptr<const dr_request_meaning_s> dri_meaning_of(const drend_tag_c& top_tag,
                                                           const char* args);

// The steps of a filter's text, in which "[*]" and the first "//" mean nothing. Null when it is
// more than a filter may hold.
dr_filter_t dri_read_filter(const char* text);
