// SPDX-License-Identifier: BSD-2-Clause

// Definitions against the registered data: each tree is walked as a request would walk it, with
// names instead of rows. What a tag's source leads to is known before anything has a value.
//
// The trees are as deep as their files, so the walk keeps a stack of its own.
#include <algorithm>
#include <charconv>
#include <limits>

#include "definitions/dr_check.h"
#include "definitions/dr_nearest.h"

namespace {

// --- what a value of a leaf can read ---

template <typename Number>
bool is_number(std::string_view text, Number least, Number most) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    return read.ec == std::errc() && read.ptr == end && number >= least && number <= most;
}

template <typename Number>
bool is_of(std::string_view text) {
    using limits_t = std::numeric_limits<Number>;
    if constexpr (limits_t::is_signed) {
        return is_number<int64_t>(text, limits_t::min(), limits_t::max());
    } else {
        return is_number<uint64_t>(text, 0, limits_t::max());
    }
}

// Whether a leaf that was registered so may read `text`. The code of uint8 is that of truths, too.
bool may_read(dmn_leaf_type_e type, std::string_view text) {
    switch (type) {
    case DMN_LEAF_UINT8:
        return text == "true" || text == "false" || is_of<uint8_t>(text);
    case DMN_LEAF_UINT16:
        return is_of<uint16_t>(text);
    case DMN_LEAF_UINT32:
        return is_of<uint32_t>(text);
    case DMN_LEAF_UINT64:
        return is_of<uint64_t>(text);
    case DMN_LEAF_INT8:
        return is_of<int8_t>(text);
    case DMN_LEAF_INT16:
        return is_of<int16_t>(text);
    case DMN_LEAF_INT32:
        return is_of<int32_t>(text);
    case DMN_LEAF_INT64:
        return is_of<int64_t>(text);
    default:
        return true;
    }
}

bool may_match(const dr_value_map_c& map, dmn_leaf_type_e type) {
    const auto& pairs = map.pairs();
    return map.has_wildcard() ||
           std::any_of(pairs.begin(), pairs.end(), [type](const dr_map_pair_s& pair) {
               return may_read(type, pair.from);
           });
}

// --- the walk ---

class model_checker_c {
  public:
    explicit model_checker_c(dr_findings_c& findings)
        : findings_(findings), places_{{nullptr, NOWHERE}} {}

    void check(const drend_tag_c& root, const char* command, bool is_notification) {
        command_ = command;
        is_notification_ = is_notification;
        pending_.push_back({&root, NOWHERE, 0});
        while (!pending_.empty()) {
            const task_s task = pending_.back();
            pending_.pop_back();
            way_.resize(task.depth);
            way_.push_back(task.tag);
            const size_t place = follow(*task.tag, task.place);
            if (place != UNKNOWN && place != NOWHERE) {
                check_tag(*task.tag, *places_[place].node);
            }
            for (auto kid = task.tag->dt_kids.rbegin(); kid != task.tag->dt_kids.rend();
                 ++kid) {
                pending_.push_back({*kid, place, task.depth + 1});
            }
        }
        places_.resize(1);
    }

  private:
    // Places in the data: the first one is outside of it, where every walk begins.
    static constexpr size_t NOWHERE = 0;
    static constexpr size_t UNKNOWN = SIZE_MAX; // below a source that leads nowhere

    struct place_s {
        const dr_meta_node_c* node;
        size_t above;
    };
    struct task_s {
        const drend_tag_c* tag;
        size_t place;
        size_t depth;
    };

    // Where a tag's source leads, with a finding when that is nowhere.
    size_t follow(const drend_tag_c& tag, size_t place) {
        for (const dr_nav_step_c& step : tag.source_path().steps()) {
            if (step.kind() == dr_nav_kind_e::ROOT) {
                place = add(dmn_get_root(), NOWHERE);
            } else if (place == UNKNOWN) {
                return UNKNOWN; // has been said of a tag above
            } else if (step.kind() == dr_nav_kind_e::CHILD) {
                place = enter(tag, step, place);
            } else if (step.kind() == dr_nav_kind_e::UP && place != NOWHERE &&
                       places_[place].above != NOWHERE) {
                place = places_[place].above;
            } else if (step.kind() != dr_nav_kind_e::SELF || place == NOWHERE) {
                return fail(tag, "dts_source '" + dri_shown(tag.source()) +
                                     "' leads out of the data");
            }
            if (place == UNKNOWN) {
                return UNKNOWN;
            }
        }
        return place;
    }

    size_t enter(const drend_tag_c& tag, const dr_nav_step_c& step, size_t place) {
        const dr_meta_node_c* node = places_[place].node;
        if (node == nullptr) {
            return fail(tag, "dts_source '" + dri_shown(tag.source()) +
                                 "' needs a '/' in front: no tag above has a source");
        }
        const dr_meta_node_c* child = step.find_in(node);
        if (child == nullptr) {
            return fail(tag, "the data has no '" + dri_shown(step.name()) + "' here",
                        nearest_of(*node, step.name()));
        }
        if (child->is_list() && step.key() != nullptr &&
            child->find_child(step.key()->name) == nullptr) {
            return fail(tag,
                        "list '" + dri_shown(step.name()) + "' has no leaf '" +
                            dri_shown(step.key()->name) + "' to select by",
                        nearest_of(*child, step.key()->name));
        }
        return add(child, place);
    }

    static std::string nearest_of(const dr_meta_node_c& node, std::string_view name) {
        dr_nearest_c nearest(name);
        for (const dr_meta_node_c* child : node.child_list) {
            nearest.offer(child->name.c_str());
        }
        return std::string(nearest.found());
    }

    size_t add(const dr_meta_node_c* node, size_t above) {
        places_.push_back({node, above});
        return places_.size() - 1;
    }

    size_t fail(const drend_tag_c& tag, std::string sentence, std::string nearest = "") {
        say(tag,
            tag.isset_flag(DT_FLAG_KEY) ? dr_rule_e::KEY_WITHOUT_LEAF
                                        : dr_rule_e::NO_SUCH_SOURCE,
            std::move(sentence), std::move(nearest));
        return UNKNOWN;
    }

    void check_tag(const drend_tag_c& tag, const dr_meta_node_c& node) {
        const bool wants_list =
            tag.dt_type == DT_TYPE_LIST || tag.dt_type == DT_TYPE_LEAF_LIST;
        if (wants_list && !tag.source().empty() && !node.is_list()) {
            say(tag, dr_rule_e::SOURCE_IS_NO_LIST,
                "dts_source leads to " + kind_of(node) + ", not to a list");
        } else if (tag.dt_type == DT_TYPE_CONT && tag.has_presence() && !node.is_leaf()) {
            say(tag, dr_rule_e::PRESENCE_WITHOUT_LEAF,
                "dts_presence needs a source that is a leaf; this is " + kind_of(node));
        } else if (tag.dt_type == DT_TYPE_LEAF && !tag.source().empty()) {
            check_leaf(tag, node);
        }
    }

    void check_leaf(const drend_tag_c& tag, const dr_meta_node_c& node) {
        if (!node.is_leaf()) {
            say(tag,
                tag.isset_flag(DT_FLAG_KEY) ? dr_rule_e::KEY_WITHOUT_LEAF
                                            : dr_rule_e::SOURCE_IS_NO_LEAF,
                "dts_source leads to " + kind_of(node) + ", not to a leaf");
        } else if (tag.dt_map != nullptr && !may_match(*tag.dt_map, node.leaf_type)) {
            say(tag, dr_rule_e::MAP_NEVER_MATCHES,
                "no pair of dts_map can be a value of '" + dri_shown(node.name.c_str()) +
                    "'");
        }
    }

    static std::string kind_of(const dr_meta_node_c& node) {
        return node.is_leaf() ? "a leaf" : node.is_list() ? "a list" : "a container";
    }

    void say(const drend_tag_c& tag, dr_rule_e rule, std::string sentence,
             std::string nearest = "") {
        dr_finding_s finding{rule, DR_RULES[static_cast<size_t>(rule)].severity};
        const dr_tag_place_s& place = tag.dt_place;
        finding.file = place.file == nullptr ? "" : *place.file;
        finding.place = place.source.line > 0 ? place.source : place.tag;
        finding.command = command_;
        finding.is_notification = is_notification_;
        for (const drend_tag_c* above : way_) {
            finding.path += (finding.path.empty() ? "" : "/") + dri_shown(above->name());
        }
        finding.sentence = std::move(sentence);
        finding.nearest = std::move(nearest);
        findings_.add(std::move(finding));
    }

    dr_findings_c& findings_;
    const char* command_ = "";
    bool is_notification_ = false;
    std::vector<place_s> places_;
    std::vector<task_s> pending_;
    std::vector<const drend_tag_c*> way_; // from the top to the tag
};

} // namespace

void dri_check_model(const dr_daemon_context_c& set, dr_findings_c& findings) {
    if (dmn_get_root()->child_list.empty()) {
        return;
    }
    model_checker_c checker(findings);
    for (const drend_command_c* command : set.commands) {
        if (command->dc_tag != nullptr && !command->dc_tag->is_combined()) {
            checker.check(*command->dc_tag, command->dc_name, false);
        }
    }
    for (const auto& [name, events] : set.external_events) {
        for (const drend_event_c* event : events) {
            if (event->dc_tag != nullptr) {
                checker.check(*event->dc_tag, event->dc_external_notify_name.c_str(), true);
            }
        }
    }
}
