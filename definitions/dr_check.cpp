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
#include "definitions/dr_load_steps.h"
#include "definitions/dr_taken_trees.h"
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
    // Application, command and name of the top tag: what fills it.
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
        if (!is_new && !application.empty() && !command->dc_tag->is_hidden()) {
            const dr_tag_place_s& place = first->second->dc_tag->dt_place;
            findings.add(finding_of(*command, dr_rule_e::FILLED_TWICE,
                                    "'" + dri_shown(application) +
                                        "' fills this container from " + *place.file + ":" +
                                        std::to_string(place.tag.line) + ", too"));
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
