// SPDX-License-Identifier: BSD-2-Clause

// Sorting an object's members out, and what can be said of them by the table of the format.
#pragma once

#include <array>
#include <functional>
#include <span>
#include <string>

#include "definitions/dr_findings.h"
#include "definitions/dr_format.h"
#include "definitions/dr_json.h"

// Where findings of one object go. `nearest` may be empty.
using dr_report_t =
    std::function<void(dr_rule_e rule, dr_severity_e severity, dr_text_place_s place,
                       std::string sentence, std::string_view nearest)>;

// Puts each member that the table knows at its row's index in `values`, and says what is wrong with
// members, their types, elements and words.
void dri_sort_members(const dr_json_c& object, std::span<const dr_member_s> table,
                      std::span<dr_json_c> values, const dr_report_t& report);

// The members of one tag object, by dr_tag_member_e; no value: absent.
using dr_tag_members_t = std::array<dr_json_c, DR_MEMBER_COUNT>;

// What a tag's members are to each other. `place` is the tag's.
void dri_check_tag(const drend_tag_c& tag, const dr_tag_members_t& members,
                   dr_text_place_s place, const dr_report_t& report);

// The value that counts: none when it is of another type than the table's.
bool dri_is_of_kind(const dr_json_c& value, dr_json_kind_e kind);
// "a text", "an array of texts", ...
std::string_view dri_kind_words(dr_json_kind_e kind);
