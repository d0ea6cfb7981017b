// SPDX-License-Identifier: BSD-2-Clause

// A tree is copied and not shared: the merge notes in each tag which commands it belongs to.
#include "definitions/dr_taken_trees.h"

#include <map>
#include <string_view>
#include <utility>
#include <vector>

#include "definitions/dr_nearest.h"

namespace {

drend_tag_c& copy_tag(dr_tags_t& tags, const drend_tag_c& tag) {
    drend_tag_c& copy = tags.emplace_back(tag);
    copy.dt_styles = tag.dt_styles;
    copy.dt_input_kids = tag.dt_input_kids;
    copy.dt_commands = {};
    return copy;
}

// With a stack of its own: how deep a file nests is the file's choice.
drend_tag_c* copy_tree(dr_tags_t& tags, const drend_tag_c& tree) {
    drend_tag_c* const root = &copy_tag(tags, tree);
    std::vector<drend_tag_c*> pending{root};
    while (!pending.empty()) {
        drend_tag_c* tag = pending.back();
        pending.pop_back();
        for (drend_tag_c*& kid : tag->dt_kids) {
            kid = &copy_tag(tags, *kid);
            pending.push_back(kid);
        }
    }
    return root;
}

class taker_c {
  public:
    taker_c(dr_daemon_context_c& set, dr_findings_c& findings)
        : set_(set), findings_(findings) {
        for (const dr_taken_tree_s& taken : set.taken) {
            asking_.emplace(taken.command, &taken);
        }
        for (drend_command_c* command : set.commands) {
            if (command->dc_tag != nullptr || asking_.contains(command)) {
                known_.emplace(std::pair(command->dc_app_name, command->dc_name), command);
            }
        }
    }

    void take(const dr_taken_tree_s& taken) {
        const dr_taken_tree_s* at = &taken;
        for (size_t steps = 0; steps < set_.taken.size(); ++steps) {
            const auto found = known_.find({taken.command->dc_app_name, at->from});
            if (found == known_.end()) {
                fail_to_find(taken, *at);
                return;
            }
            if (found->second->dc_tag != nullptr) {
                give(taken, *found->second->dc_tag);
                return;
            }
            at = asking_.at(found->second);
        }
        fail(taken, dr_rule_e::TREE_OF_ITSELF, "its tags would be its own", {});
    }

  private:
    using name_t = std::pair<std::string_view, std::string_view>; // application, command

    void give(const dr_taken_tree_s& taken, const drend_tag_c& tree) {
        drend_tag_c* copy = copy_tree(*set_.tags, tree);
        copy->dt_commands.insert(taken.command);
        taken.command->dc_tag = copy;
    }

    void fail_to_find(const dr_taken_tree_s& taken, const dr_taken_tree_s& at) {
        dr_nearest_c nearest(at.from);
        for (const auto& [name, command] : known_) {
            if (name.first == taken.command->dc_app_name && command != at.command) {
                nearest.offer(name.second);
            }
        }
        fail(taken, dr_rule_e::NO_SUCH_COMMAND,
             "its application has no command '" + at.from + "' with tags", nearest.found());
    }

    void fail(const dr_taken_tree_s& taken, dr_rule_e rule, std::string sentence,
              std::string_view nearest) {
        findings_.add(taken.finding, rule, dr_severity_e::ERROR, taken.finding.place,
                      std::move(sentence), nearest);
    }

    dr_daemon_context_c& set_;
    dr_findings_c& findings_;
    std::map<const drend_command_s*, const dr_taken_tree_s*> asking_;
    std::map<name_t, const drend_command_s*> known_; // the first of each name
};

} // namespace

void dri_take_trees(dr_daemon_context_c& set, dr_findings_c& findings) {
    if (set.taken.empty()) {
        return;
    }
    taker_c taker(set, findings);
    for (const dr_taken_tree_s& taken : set.taken) {
        taker.take(taken);
    }
    set.taken.clear();
}
