// SPDX-License-Identifier: BSD-2-Clause

// What commands of one set are to each other, and checking whole sets.
//
// Get requests are routed by path: the merged schema must know which daemon owns what.
#include "definitions/dr_check.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string_view>
#include <sys/stat.h>
#include <tuple>

#include "definitions/dr_current_set.h"
#include "definitions/dr_format.h"
#include "definitions/dr_load_steps.h"
#include "definitions/dr_taken_trees.h"
#include "definitions/dr_value_map.h"
#include "definitions/drend_lookup.h"

namespace {

dr_finding_s finding_of(const drend_command_s& command, dr_rule_e rule,
                        std::string sentence) {
    dr_finding_s finding{rule, DR_RULES[static_cast<size_t>(rule)].severity};
    const dr_tag_place_s& place = command.dc_tag->dt_place;
    finding.file = *place.file;
    finding.place = place.tag;
    finding.command = command.dc_name;
    finding.path = dri_shown(command.dc_tag->name());
    finding.sentence = std::move(sentence);
    return finding;
}

// --- definitions of one name that fill one element ---

bool is_same_map(const dr_value_map_c* one, const dr_value_map_c* other) {
    if (one == nullptr || other == nullptr) {
        return one == other;
    }
    return std::equal(one->pairs().begin(), one->pairs().end(), other->pairs().begin(),
                      other->pairs().end(),
                      [](const dr_map_pair_s& a, const dr_map_pair_s& b) {
                          return a.from == b.from && a.to == b.to;
                      });
}

// The member in which two tags differ, of those that the merge has from one of them only; or
// DR_MEMBER_COUNT. A source that one of them does not have is the other one's.
dr_tag_member_e difference(const drend_tag_c& one, const drend_tag_c& other) {
    const auto differ = [&](uint32_t flag) {
        return one.isset_flag(flag) != other.isset_flag(flag);
    };
    const bool has_sources = !one.source().empty() && !other.source().empty();
    const std::pair<dr_tag_member_e, bool> members[] = {
        {DR_MEMBER_TYPE, one.dt_type != other.dt_type || differ(DT_FLAG_HIDDEN)},
        {DR_MEMBER_SOURCE, has_sources && one.source() != other.source()},
        {DR_MEMBER_KEY, one.dt_keys != other.dt_keys},
        {DR_MEMBER_DATA_TYPE, one.dt_data_type != other.dt_data_type},
        {DR_MEMBER_FRACTION, one.dt_decimal64_fraction != other.dt_decimal64_fraction},
        {DR_MEMBER_MAP, !is_same_map(one.dt_map.get(), other.dt_map.get())},
        {DR_MEMBER_PRESENCE, differ(DT_FLAG_PRESENCE)},
        {DR_MEMBER_ZERO_SUPPRESSION, differ(DT_FLAG_ZERO_SUPPRESSION)},
        {DR_MEMBER_MANDATORY, differ(DT_FLAG_MANDATORY)},
        {DR_MEMBER_NAMESPACE, one.xmlns() != other.xmlns()},
        {DR_MEMBER_MODULE, one.dt_module != other.dt_module},
        {DR_MEMBER_PREFIX, one.dt_prefix != other.dt_prefix},
    };
    const auto* const found =
        std::find_if(std::begin(members), std::end(members),
                     [](const auto& member) { return member.second; });
    return found == std::end(members) ? DR_MEMBER_COUNT : found->first;
}

struct same_element_s {
    const drend_tag_c* first;
    const drend_tag_c* later;
    std::string path;
};

void compare(const same_element_s& tags, const drend_command_s& command,
             dr_findings_c& findings) {
    const dr_tag_member_e member = difference(*tags.first, *tags.later);
    if (member == DR_MEMBER_COUNT) {
        return;
    }
    const dr_tag_place_s& place = tags.first->dt_place;
    dr_finding_s finding =
        finding_of(command, dr_rule_e::FILLED_TWICE,
                   std::string(DR_TAG_MEMBERS[member].name) + " is another one in " +
                       *place.file + ":" + std::to_string(place.tag.line) +
                       "; the definition that is loaded first counts");
    finding.place = tags.later->dt_place.tag;
    finding.path = tags.path;
    findings.add(std::move(finding));
}

// The kids of the same name, as the merge finds them.
void push_kids(const same_element_s& tags, std::vector<same_element_s>& pending) {
    std::map<std::string_view, const drend_tag_c*> first;
    for (const drend_tag_c* kid : tags.first->dt_kids) {
        first.try_emplace(kid->name(), kid);
    }
    for (const drend_tag_c* kid : tags.later->dt_kids) {
        if (const auto found = first.find(kid->name()); found != first.end()) {
            pending.push_back(
                {found->second, kid, tags.path + "/" + dri_shown(kid->name())});
        }
    }
}

// With a stack of its own: how deep a file nests is the file's choice.
void compare_trees(const drend_tag_c& first, const drend_command_s& command,
                   dr_findings_c& findings) {
    std::vector<same_element_s> pending{
        {&first, command.dc_tag, dri_shown(command.dc_tag->name())}};
    while (!pending.empty()) {
        const same_element_s tags = std::move(pending.back());
        pending.pop_back();
        compare(tags, command, findings);
        push_kids(tags, pending);
    }
}

// --- files ---

bool is_directory(const std::string& path) {
    struct stat found {};
    return stat(path.c_str(), &found) == 0 && S_ISDIR(found.st_mode);
}

void read_files(const std::string& path, dr_daemon_context_c& set,
                dr_findings_c& findings) {
    std::vector<std::string> files;
    if (is_directory(path)) {
        dri_append_matches(path, dri_pattern(nullptr).c_str(), files, findings);
        std::sort(files.begin(), files.end());
    } else {
        files.push_back(path);
    }
    for (const std::string& file : files) {
        const size_t known = findings.all().size();
        std::string text;
        if (dri_read_text(file.c_str(), text, findings)) {
            dri_read_definitions(file.c_str(), text, set, findings);
        } else if (findings.all().size() == known) {
            findings.add(dr_rule_e::NO_FILE, file, "there is no such file");
        }
    }
}

} // namespace

void dri_check_commands(const dr_daemon_context_c& set, dr_findings_c& findings) {
    // Application, command and name of the top tag: what fills it first.
    std::map<std::tuple<std::string_view, std::string_view, std::string_view>,
             const drend_command_s*>
        filled;
    for (const drend_command_c* command : set.commands) {
        if (command->dc_tag == nullptr) {
            continue;
        }
        const std::string_view application = command->dc_app_name;
        if (application.empty() && strcmp(command->dc_name, DRI_NETCONF_GET) == 0) {
            findings.add(finding_of(*command, dr_rule_e::NO_APPLICATION,
                                    "a get request needs dc_app_name to find its daemon"));
        }
        const auto [first, is_new] = filled.try_emplace(
            {application, command->dc_name, command->dc_tag->name()}, command);
        if (!is_new && !application.empty()) {
            compare_trees(*first->second->dc_tag, *command, findings);
        }
    }
}

void dri_check_loaded(dr_findings_c& findings) {
    drend_lock_guard_c guard(dri_definitions_lock());
    if (const dr_daemon_context_c* set = dri_current_set()) {
        findings.append(set->findings);
        dri_check_model(*set, findings);
    }
}

void dri_check_files(const std::vector<std::string>& paths, dr_findings_c& findings) {
    dr_daemon_context_c set;
    for (const std::string& path : paths) {
        read_files(path, set, findings);
    }
    dri_take_trees(set, findings);
    dri_check_commands(set, findings);
    dri_check_model(set, findings);
}
