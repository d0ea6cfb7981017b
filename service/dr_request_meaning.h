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
#include "render/dr_page.h"
#include "service/dr_forms.h"

struct dr_request_meaning_s {
    const dr_form_s* form = nullptr; // null: the caller's
    dr_form_options_s options;
    dr_page_wish_s page;
    dr_filter_t filter; // goes before the caller's; null: none
    uint8_t content =
        DT_CONTENT_ALL; // dt_content_e bits, which a filter has been told already
    std::string style;  // empty: none
    // What the peer is told instead of an answer, one line; empty: nothing is wrong.
    std::string refusal;
};

// Null for `args` is a request without arguments.
std::shared_ptr<const dr_request_meaning_s> dri_meaning_of(const drend_tag_c& top_tag,
                                                           const char* args);

// The filter that a text stands for: a path, in which "[*]" and the first "//" mean nothing, or a
// subtree when it begins with "<". Null with a line for the peer in `refusal` when it cannot be.
dr_filter_t dri_read_filter(const drend_tag_c& top_tag, const std::string& text,
                            std::string& refusal);
// What it shows of that content; null, also with a refusal, for no filter and all content.
dr_filter_t dri_filter_of_content(const drend_tag_c& top_tag, dr_filter_t filter,
                                  uint8_t content, std::string& refusal);
