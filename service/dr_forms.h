// SPDX-License-Identifier: BSD-2-Clause

// The forms of an answer, in one table: the word that asks for it, its media type, its walker.
//
//     as-json         ->  JSON of texts
//     as-table        ->  aligned columns, with "wide" all of them, with "color" states in colours,
//                         with "fields" marks for programs
//     as-ietf-json    ->  JSON with types, as RFC 7951 has it
//     as-ietf-xml     ->  XML that a YANG validator accepts
//     as-json-lines   ->  a line of such JSON for each row; as-json-lines=LIST for those of a list
//     (no word)       ->  XML, or what the caller of the request chose
//
//     ascii, compact  ->  how the last three look
//
// A form is a walker in a file of its own and a row here. What a parameter of the command is called
// is not the library's word for that command.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "definitions/drend_tag.h"
#include "expr/dri_args.h"
#include "render/drend_context_walker.h"

enum dr_format_e : int {
    DR_FORMAT_XML = 1,
    DR_FORMAT_JSON = 2,
    DR_FORMAT_COUNT = 3,
    DR_FORMAT_TABLE = 4,
    DR_FORMAT_IETF_JSON = 5,
    DR_FORMAT_IETF_XML = 6,
    DR_FORMAT_JSON_LINES = 7,
};

// What a request may ask of the form that it is answered in.
struct dr_form_options_s {
    bool wrap_in_data = false;
    bool is_wide = false;    // of a table: with what is marked as wide
    bool has_color = false;  // and with colours
    bool has_fields = false; // and with marks for programs, and columns for rates
    bool is_compact = false; // of the forms for programs: without line ends and indentation
    bool is_ascii = false;   // and with escapes for characters outside ASCII
    std::string list;        // of lines: whose rows they are; empty: the outermost one
};

struct dr_form_s {
    using make_walker_t = std::unique_ptr<dr_context_walker_c>(
        dr_tags_access_context_c& context, void* peer, const dr_form_options_s& options);

    int format;            // dr_format_e
    std::string_view word; // empty: no request asks for it by word
    const char* media_type;
    make_walker_t* make_walker;
};

// XML for a number that is no dr_format_e.
const dr_form_s& dri_form(int format);
// The form that a command's arguments ask for, or null. The first one in the table counts.
const dr_form_s* dri_find_form(const drend_tag_c& top_tag,
                               const std::vector<dr_argument_s>& args);
// What they ask of it. A line for the peer in `refusal` when it cannot be.
dr_form_options_s dri_form_options(const drend_tag_c& top_tag,
                                   const std::vector<dr_argument_s>& args,
                                   std::string& refusal);
// Whether the command has a parameter of that name: then it is not the library's word.
bool dri_is_parameter(const drend_tag_c& top_tag, std::string_view word);
// The words of the forms, of their options and of pages.
const std::vector<std::string_view>& dri_form_words();
// Whether an argument says how the answer is to look and nothing of what is to be in it: a request
// that has no others gets the content of one without arguments. "as-json" is none of these.
bool dri_is_about_form(const drend_tag_c& top_tag, std::string_view word);
