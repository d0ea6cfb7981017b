// SPDX-License-Identifier: BSD-2-Clause

// Checks that need nothing but the table and one object. They report and change nothing: what a
// faulty member does to its tag is the reader's.
#include "definitions/dr_format_checks.h"

#include <algorithm>

#include "definitions/dr_nearest.h"

namespace {

// One object whose members are being looked at.
class member_checker_c {
  public:
    member_checker_c(std::span<const dr_member_s> table, const dr_report_t& report)
        : table_(table), report_(report) {}

    void check_unknown(std::string_view name, const dr_json_c& value) const {
        dr_nearest_c nearest(name);
        for (const dr_member_s& member : table_) {
            nearest.offer(member.name);
        }
        // What looks like no member may be a remark; a misspelt member leaves something out.
        const dr_severity_e severity =
            nearest.found().empty() ? dr_severity_e::WARNING : dr_severity_e::ERROR;
        report_(dr_rule_e::UNKNOWN_MEMBER, severity, value.name_place(),
                "'" + dri_shown(name) + "' is no member", nearest.found());
    }

    void check(const dr_member_s& member, const dr_json_c& value) const {
        if (!dri_is_of_kind(value, member.kind)) {
            say(dr_rule_e::WRONG_TYPE, value,
                std::string(member.name) + " is not " +
                    std::string(dri_kind_words(member.kind)));
        } else if (value.is_array()) {
            check_elements(member, value);
        } else if (value.is_integer()) {
            check_range(member, value);
        } else if (member.words != dr_words_e::ANY) {
            check_word(member, value);
        }
    }

  private:
    void say(dr_rule_e rule, const dr_json_c& value, std::string sentence,
             std::string_view nearest = {}) const {
        report_(rule, dr_severity_e::ERROR, value.place(), std::move(sentence), nearest);
    }

    void check_word(const dr_member_s& member, const dr_json_c& value) const {
        const std::string_view text = value.text();
        bool is_known = false;
        dri_for_each_word(member.words, [&](std::string_view word) {
            is_known = is_known || word == text;
        });
        if (is_known) {
            return;
        }
        dr_nearest_c nearest(text);
        dri_for_each_word(member.words,
                          [&](std::string_view word) { nearest.offer(word); });
        say(dr_rule_e::UNKNOWN_WORD, value,
            std::string(member.name) + ": '" + dri_shown(text) + "' is no word of it",
            nearest.found());
    }

    void check_range(const dr_member_s& member, const dr_json_c& value) const {
        const int64_t number = value.integer(0);
        if (member.most != 0 && (number < member.least || number > member.most)) {
            say(dr_rule_e::OUT_OF_RANGE, value,
                std::string(member.name) + " is " + std::to_string(number) + ", not " +
                    std::to_string(member.least) + " to " + std::to_string(member.most));
        }
    }

    void check_elements(const dr_member_s& member, const dr_json_c& array) const {
        for (dr_json_elements_c elements(array); !elements.is_at_end();) {
            const dr_json_c element = elements.take();
            if (member.kind == dr_json_kind_e::PAIRS) {
                check_pair(member, element);
            } else if (member.kind == dr_json_kind_e::TEXTS && !element.is_text()) {
                say(dr_rule_e::WRONG_TYPE, element,
                    std::string(member.name) + " has an element that is not a text");
            } else if (member.kind == dr_json_kind_e::TAGS && !element.is_object()) {
                say(dr_rule_e::WRONG_TYPE, element,
                    std::string(member.name) + " has an element that is not a tag");
            }
        }
    }

    void check_pair(const dr_member_s& member, const dr_json_c& pair) const {
        dr_json_elements_c texts(pair);
        bool is_pair = pair.size() == 2;
        dr_json_c last;
        while (!texts.is_at_end()) {
            last = texts.take();
            is_pair = last.is_text() && is_pair;
        }
        if (!is_pair) {
            say(dr_rule_e::BAD_PAIR, pair,
                std::string(member.name) + " has an element that is not two texts");
        } else if (member.words != dr_words_e::ANY) {
            check_word(member, last);
        }
    }

    std::span<const dr_member_s> table_;
    const dr_report_t& report_;
};

std::string named(const dr_tag_members_t& members, dr_tag_member_e member) {
    return std::string(DR_TAG_MEMBERS[member].name) + " '" +
           dri_shown(members[member].text()) + "'";
}

void check_needs(const dr_tag_members_t& members, dr_text_place_s place,
                 const dr_report_t& report) {
    for (const dr_need_s& need : DR_NEEDS) {
        const dr_json_c& needed = members[need.needs];
        if (members[need.when].text() == need.is &&
            (!dri_is_of_kind(needed, DR_TAG_MEMBERS[need.needs].kind) ||
             (needed.is_text() && needed.text().empty()))) {
            report(dr_rule_e::MISSING_MEMBER, dr_severity_e::ERROR, place,
                   named(members, need.when) + " needs " +
                       std::string(DR_TAG_MEMBERS[need.needs].name) + ": " +
                       std::string(need.otherwise) + " without it",
                   {});
        }
    }
}

void check_fraction(const drend_tag_c& tag, const dr_tag_members_t& members,
                    const dr_report_t& report) {
    const dr_json_c& fraction = members[DR_MEMBER_FRACTION];
    if (fraction.is_integer() && !tag.is_decimal64()) {
        report(dr_rule_e::MISPLACED_MEMBER, dr_severity_e::WARNING, fraction.name_place(),
               std::string(DR_TAG_MEMBERS[DR_MEMBER_FRACTION].name) +
                   " means something with the data type 'decimal64' only",
               {});
    }
}

void check_homes(const drend_tag_c& tag, const dr_tag_members_t& members,
                 const dr_report_t& report) {
    for (const dr_home_s& home : DR_HOMES) {
        const dr_json_c& member = members[home.member];
        const bool is_at_home = tag.dt_type == home.type || tag.dt_type == home.or_type;
        if (member.is_there() && !is_at_home) {
            report(dr_rule_e::MISPLACED_MEMBER, dr_severity_e::WARNING, member.name_place(),
                   std::string(DR_TAG_MEMBERS[home.member].name) + " is for " +
                       std::string(home.kind),
                   {});
        }
    }
}

void check_map(const drend_tag_c& tag, const dr_tag_members_t& members,
               const dr_report_t& report) {
    if (tag.dt_map == nullptr) {
        return;
    }
    for (const dr_map_pair_s& pair : tag.dt_map->pairs()) {
        if (pair.is_expression && pair.parts.empty()) {
            report(dr_rule_e::BAD_EXPRESSION, dr_severity_e::ERROR,
                   members[DR_MEMBER_MAP].place(),
                   "'" + dri_shown(pair.to) + "' is a malformed expression", {});
        }
    }
}

// A state of a value that the map never shows.
void check_states(const drend_tag_c& tag, const dr_tag_members_t& members,
                  const dr_report_t& report) {
    if (tag.dt_table == nullptr || tag.dt_map == nullptr || tag.dt_map->has_expressions()) {
        return;
    }
    const auto& pairs = tag.dt_map->pairs();
    for (const auto& entry : tag.dt_table->states) {
        const std::string& text = entry.first;
        const auto shows = [&](const dr_map_pair_s& pair) {
            return pair.keeps_value || pair.to == text;
        };
        if (text != "*" && std::none_of(pairs.begin(), pairs.end(), shows)) {
            report(dr_rule_e::STATE_NEVER_SHOWN, dr_severity_e::WARNING,
                   members[DR_MEMBER_STATE].place(),
                   "dts_state: dts_map never shows '" + dri_shown(text) + "'", {});
        }
    }
}

} // namespace

bool dri_is_of_kind(const dr_json_c& value, dr_json_kind_e kind) {
    switch (kind) {
    case dr_json_kind_e::TEXT:
        return value.is_text();
    case dr_json_kind_e::INTEGER:
        return value.is_integer();
    case dr_json_kind_e::TAG:
        return value.is_object();
    default:
        return value.is_array();
    }
}

std::string_view dri_kind_words(dr_json_kind_e kind) {
    switch (kind) {
    case dr_json_kind_e::TEXT:
        return "a text";
    case dr_json_kind_e::INTEGER:
        return "an integer";
    case dr_json_kind_e::TEXTS:
        return "an array of texts";
    case dr_json_kind_e::PAIRS:
        return "an array of pairs";
    case dr_json_kind_e::TAG:
        return "a tag";
    default:
        return "an array of tags";
    }
}

void dri_sort_members(const dr_json_c& object, std::span<const dr_member_s> table,
                      std::span<dr_json_c> values, const dr_report_t& report) {
    const member_checker_c checker(table, report);
    object.for_each_member([&](std::string_view name, const dr_json_c& value) {
        for (size_t i = 0; i < table.size(); ++i) {
            if (table[i].name == name) {
                values[i] = value;
                checker.check(table[i], value);
                return;
            }
        }
        checker.check_unknown(name, value);
    });
    if (object.repeated_members() > 0) {
        report(dr_rule_e::REPEATED_MEMBER, dr_severity_e::WARNING, object.place(),
               "a member is there more than once; the last one counts", {});
    }
}

void dri_check_tag(const drend_tag_c& tag, const dr_tag_members_t& members,
                   dr_text_place_s place, const dr_report_t& report) {
    check_needs(members, place, report);
    check_fraction(tag, members, report);
    check_homes(tag, members, report);
    check_map(tag, members, report);
    check_states(tag, members, report);
}
