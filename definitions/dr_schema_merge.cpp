// SPDX-License-Identifier: BSD-2-Clause

// The schema merge: commands that share a name become one tree.
//
//     show (ospf)  /routes/ospf         __root__ (combined)
//     show (bgp)   /routes/bgp    -->    +-- routes (combined: a copy of the first)
//                                             +-- ospf, bgp (the very tags of their commands)
//
//  1. A tag that two trees have becomes a combined copy; a tag that only one has is shared.
//  2. A combined tree that is in force is never changed: when commands of its name are added,
//     a new one is made from all its sources and takes its place. The old one stays with the
//     set for the walks that are in it.
//  3. A command is merged once, under the name that it was loaded with. Merging what is
//     merged changes nothing: of the name only the combined command is left.
//
// The kids of combined tags are found through an index that lives as long as the merge, so its
// work is linear in the tags that meet each other.
#include "definitions/dr_current_set.h"

#include <cassert>
#include <deque>
#include <functional>
#include <memory>
#include <unordered_set>

namespace {

constexpr char ROOT_NAME[] = "__root__";
constexpr char COMBINED_CLI_COMMAND[] = "aggregator";

// A position among the kids of a combined tag.
using kid_place_t = size_t;

// --- the kids of combined tags by name ---

struct kid_key_s {
    const drend_tag_c* parent;
    std::string_view name;
    bool operator==(const kid_key_s&) const = default;
};

struct kid_key_hash_s {
    size_t operator()(const kid_key_s& key) const {
        return std::hash<std::string_view>()(key.name) ^
               (std::hash<const void*>()(key.parent) * 0x9e3779b97f4a7c15U);
    }
};

// Where the kids of one name stand in their list, in its order.
struct places_s {
    kid_place_t first;
    std::unique_ptr<std::deque<kid_place_t>> others; // null: none

    void add(kid_place_t place) {
        if (!others) {
            others = std::make_unique<std::deque<kid_place_t>>();
        }
        others->push_back(place);
    }
};

class kid_index_c {
  public:
    places_s* find(const drend_tag_c* parent, std::string_view name) {
        const auto found = places_.find({parent, name});
        return found == places_.end() ? nullptr : &found->second;
    }

    void add(const drend_tag_c* parent, kid_place_t place) {
        const auto [known, is_new] = places_.try_emplace(
            {parent, parent->dt_kids[place]->name()}, places_s{place, nullptr});
        if (!is_new) {
            known->second.add(place);
        }
    }

    // Notes that the first kid of a name has moved to the end of the list.
    static void move_first(places_s& places, kid_place_t new_place) {
        places.first = new_place;
        if (places.others) {
            places.add(new_place);
            places.first = places.others->front();
            places.others->pop_front();
        }
    }

  private:
    std::unordered_map<kid_key_s, places_s, kid_key_hash_s> places_;
};

// --- merging trees ---

class tree_merge_c {
  public:
    explicit tree_merge_c(dr_tags_t& tags)
        : tags_(tags), root_(&tags.emplace_back(ROOT_NAME, "")) {
        root_->set_flags(DT_FLAG_COMBINED | DT_FLAG_HIDDEN);
        combined_.push_back(root_);
    }

    // Merges a command's tree into the root, its tags before each other in order and each
    // before its kids.
    void add(drend_tag_c* tree, drend_command_s* owner) {
        pending_.push_back({tree, root_});
        while (!pending_.empty()) {
            const auto [tag, parent] = pending_.back();
            pending_.pop_back();
            own(*tag, owner);
            if (drend_tag_c* combined = merge(tag, parent, owner)) {
                for (auto kid = tag->dt_kids.rbegin(); kid != tag->dt_kids.rend(); ++kid) {
                    pending_.push_back({*kid, combined});
                }
            }
        }
        root_->dt_merged_sources.push_back(tree);
    }

    // The finished tree.
    drend_tag_c* finish() {
        for (drend_tag_c* tag : combined_) {
            std::erase(tag->dt_kids, nullptr);
        }
        return root_;
    }

  private:
    struct task_s {
        drend_tag_c* tag;
        drend_tag_c* parent;
    };

    static void own(drend_tag_c& tag, drend_command_s* owner) {
        tag.dt_commands.insert(owner);
    }

    // Puts `tag` below `parent`. The combined tag below which its kids have to be merged, or
    // null when it came along with its kids.
    drend_tag_c* merge(drend_tag_c* tag, drend_tag_c* parent, drend_command_s* owner) {
        parent->add_what_is_in(*tag);
        own(*parent, owner);
        places_s* places = index_.find(parent, tag->name());
        if (places == nullptr) {
            append(parent, tag);
            return nullptr;
        }
        drend_tag_c* kid = parent->dt_kids[places->first];
        if (!kid->is_combined()) {
            kid = replace_by_copy(parent, *places);
        }
        if (kid->source().empty() && !tag->source().empty()) {
            kid->set_source(tag->source());
            kid->set_flags(DT_FLAG_SOURCE_CHILD);
        }
        parent->add_what_is_in(*kid);
        return kid;
    }

    void append(drend_tag_c* parent, drend_tag_c* tag) {
        parent->dt_kids.push_back(tag);
        index_.add(parent, parent->dt_kids.size() - 1);
    }

    // Replaces the first kid of a name by a combined copy at the end of the list. Its place
    // stays empty until the tree is finished, so that no other kid moves.
    drend_tag_c* replace_by_copy(drend_tag_c* parent, places_s& places) {
        const drend_tag_c& original = *parent->dt_kids[places.first];
        assert(!original.is_combined());
        drend_tag_c* const copy = &tags_.emplace_back(original);
        copy->set_flags(DT_FLAG_COMBINED);
        combined_.push_back(copy);
        for (kid_place_t place = 0; place < copy->dt_kids.size(); ++place) {
            copy->dt_kids[place]->dt_commands = copy->dt_commands;
            index_.add(copy, place);
        }
        parent->dt_kids.push_back(copy);
        parent->dt_kids[places.first] = nullptr;
        kid_index_c::move_first(places, parent->dt_kids.size() - 1);
        return copy;
    }

    dr_tags_t& tags_;
    drend_tag_c* const root_;
    std::vector<drend_tag_c*> combined_; // the root and all copies
    kid_index_c index_;
    std::vector<task_s> pending_;
};

// --- merging the commands of one name ---

// The commands of one name that have a tag and were not merged before, in load order, with
// the combined command of the name among them.
using group_t = std::vector<drend_command_c*>;

drend_command_c* find_combined(const group_t& group) {
    for (drend_command_c* command : group) {
        if (command->dc_tag->is_combined()) {
            return command;
        }
    }
    return nullptr;
}

drend_tag_c* merge_trees(const group_t& group, const drend_command_c* combined,
                         dr_tags_t& tags) {
    tree_merge_c merge(tags);
    if (combined != nullptr) {
        for (drend_tag_c* source : combined->dc_tag->dt_merged_sources) {
            merge.add(source, *source->dt_commands.begin());
        }
    }
    for (drend_command_c* command : group) {
        if (command != combined) {
            assert(!command->dc_tag->is_combined());
            merge.add(command->dc_tag, command);
        }
    }
    return merge.finish();
}

drend_command_c* append_combined(dr_daemon_context_c& set, const std::string& name) {
    auto command = std::make_unique<drend_command_c>(
        name.c_str(), name.c_str(), COMBINED_CLI_COMMAND, "", "", "", "", -1);
    command->dc_load_order = static_cast<unsigned>(set.commands.size());
    set.commands.push_back(command.get());
    return command.release();
}

// The counter counts the combined command too, which keeps its name, so the numbers depend on
// where it stands.
void rename_sources(const group_t& group, drend_command_c& combined,
                    const std::string& name) {
    std::string full_command;
    unsigned counter = 0;
    for (drend_command_c* command : group) {
        if (full_command.empty()) {
            full_command = command->dc_full_command;
        }
        if (command != &combined) {
            command->set_name(name + "-" + std::to_string(counter));
        }
        ++counter;
    }
    if (!full_command.empty()) {
        combined.set_full_command(full_command);
    }
}

void merge_group(dr_daemon_context_c& set, const std::string& name, const group_t& group) {
    drend_command_c* combined = find_combined(group);
    drend_tag_c* const root = merge_trees(group, combined, *set.tags);
    if (combined == nullptr) {
        combined = append_combined(set, name);
    }
    combined->dc_tag = root;
    rename_sources(group, *combined, name);
}

// The root tags that earlier merges took in.
std::unordered_set<const drend_tag_c*> merged_roots(const dr_daemon_context_c& set) {
    std::unordered_set<const drend_tag_c*> roots;
    for (const drend_command_c* command : set.commands) {
        if (command->dc_tag != nullptr) {
            roots.insert(command->dc_tag->dt_merged_sources.begin(),
                         command->dc_tag->dt_merged_sources.end());
        }
    }
    return roots;
}

} // namespace

void dri_merge_set(dr_daemon_context_c& set) {
    if (set.merged_commands == set.commands.size()) {
        return;
    }
    set.forget_names(); // commands are given new ones
    const std::unordered_set<const drend_tag_c*> merged = merged_roots(set);
    std::unordered_map<std::string, group_t> groups;
    std::vector<const std::pair<const std::string, group_t>*> recurring;
    for (drend_command_c* command : set.commands) {
        if (command->dc_tag == nullptr || merged.contains(command->dc_tag)) {
            continue;
        }
        const auto group = groups.try_emplace(command->dc_name).first;
        group->second.push_back(command);
        if (group->second.size() == 2) {
            recurring.push_back(&*group);
        }
    }
    for (const auto* group : recurring) {
        merge_group(set, group->first, group->second);
    }
    set.merged_commands = set.commands.size();
    set.index_names();
}
