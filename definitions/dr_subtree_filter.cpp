// SPDX-License-Identifier: BSD-2-Clause

// Both trees are walked side by side, elements and tags, for all elements of a level at once: the
// same element may be named twice, and what either selects is shown.
#include "definitions/dr_subtree_filter.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "definitions/dr_filter_steps.h"
#include "definitions/dr_scope.h"

namespace {

// Definitions may show one element in several places: what a filter may make of them.
constexpr size_t STEPS_MAX = size_t{4} * DR_SUBTREE_NODES_MAX;

// The namespaces that are declared around a tag, from the inside out.
struct scope_s {
    std::string_view attributes; // as they stand behind a tag's name
    const scope_s* around;

    // Of a prefix, or of none; empty for an unknown one.
    std::string_view find(std::string_view prefix) const {
        for (const scope_s* scope = this; scope != nullptr; scope = scope->around) {
            if (const auto xmlns = dri_declared_namespace(scope->attributes, prefix)) {
                return *xmlns;
            }
        }
        return {};
    }
};

bool fits(const dr_subtree_node_s& element, const drend_tag_c& tag, const scope_s& scope) {
    const std::string_view name = tag.name();
    const size_t colon = name.find(':');
    const bool has_prefix = colon != std::string_view::npos;
    if (element.has_attributes || element.name != name.substr(has_prefix ? colon + 1 : 0)) {
        return false;
    }
    return element.xmlns.empty() ||
           element.xmlns == scope.find(has_prefix ? name.substr(0, colon) : "");
}

// Calls `visit` with each visible kid, those below choices and cases included, until it says stop.
template <typename Visit>
bool any_visible_kid(const drend_tag_c& tag, const Visit& visit) {
    return std::any_of(tag.dt_kids.begin(), tag.dt_kids.end(), [&](const drend_tag_c* kid) {
        return kid->is_hidden() ? any_visible_kid(*kid, visit) : visit(*kid);
    });
}

// What a level is asked for: an element, or everything when it is null, within a way of the step
// above.
struct asked_s {
    const dr_subtree_node_s* element;
    size_t within;
};
using asked_t = std::vector<asked_s>;

class subtree_maker_c {
  public:
    dr_filter_t make(const drend_tag_c& top, const dr_subtree_node_s& root) {
        asked_t asked;
        for (const dr_subtree_node_s& branch : root.kids) {
            asked.push_back({&branch, 0});
        }
        filter_->add_below(filter_->top());
        add_tag(filter_->top(), top, nullptr, asked);
        return filter_->size() > STEPS_MAX ? nullptr : std::move(filter_);
    }

  private:
    // Adds what is asked of the tags below one. The first step is for those that nobody asks for.
    void add_level(dr_filter_node_s& above, const drend_tag_c& tag, const scope_s& scope,
                   const asked_t& asked) {
        filter_->add_below(above);
        any_visible_kid(tag, [&](const drend_tag_c& kid) {
            add_tag(above, kid, &scope, asked);
            return false;
        });
    }

    // A hidden top tag takes no step: its kids are the level then.
    void add_tag(dr_filter_node_s& above, const drend_tag_c& tag, const scope_s* around,
                 const asked_t& asked) {
        const scope_s scope{tag.xmlns(), around};
        if (tag.is_hidden()) {
            any_visible_kid(tag, [&](const drend_tag_c& kid) {
                add_tag(above, kid, &scope, asked);
                return false;
            });
            return;
        }
        std::vector<dr_step_filter_s> ways;
        asked_t below;
        bool restricts = false;
        for (const asked_s& one : asked) {
            if (one.element == nullptr || fits(*one.element, tag, scope)) {
                restricts = add_way(tag, scope, one, ways, below) || restricts;
            }
        }
        // A content match is judged where it is a sibling, unless it has none.
        const bool has_siblings = &above != &filter_->top();
        if (has_siblings && tag.dt_type == DT_TYPE_LEAF) {
            for (dr_step_filter_s& way : ways) {
                way.value.reset();
            }
        }
        if (ways.empty() || filter_->size() > STEPS_MAX) {
            return;
        }
        dr_filter_node_s& step = filter_->add_below(above);
        step.tag = &tag;
        step.ways = std::move(ways);
        if (restricts) {
            add_level(step, tag, scope, below);
            close_dead_ends(step, below);
        }
    }

    // Adds the way that is asked for, if there can be one. Whether that shows less than everything.
    static bool add_way(const drend_tag_c& tag, const scope_s& scope, const asked_s& asked,
                        std::vector<dr_step_filter_s>& ways, asked_t& below) {
        dr_step_builder_c step(tag.name());
        std::vector<dr_entry_s> entries;
        const dr_subtree_node_s* element = asked.element;
        const bool is_possible =
            element == nullptr ||
            (element->kids.empty() ? has_fit_kind(tag, *element)
                                   : add_contents(tag, scope, *element, step, entries));
        if (!is_possible) {
            return false;
        }
        dr_step_filter_s& way = ways.emplace_back(step.finish());
        way.within = asked.within;
        way.entries = std::move(entries);
        if (element != nullptr && !element->text.empty()) {
            way.value = std::make_shared<const std::string>(element->text);
        }
        const size_t index = ways.size() - 1;
        if (element == nullptr || shows_everything(*element)) {
            below.push_back({nullptr, index});
            return false;
        }
        for (const dr_subtree_node_s& kid : element->kids) {
            below.push_back({&kid, index});
        }
        return true;
    }

    // Whether an element without elements can select a tag: one with a text is a content match.
    static bool has_fit_kind(const drend_tag_c& tag, const dr_subtree_node_s& element) {
        return element.text.empty() || tag.dt_type == DT_TYPE_LEAF ||
               tag.dt_type == DT_TYPE_LEAF_LIST;
    }

    // Nothing but content matches, or nothing at all.
    static bool shows_everything(const dr_subtree_node_s& element) {
        return std::none_of(element.kids.begin(), element.kids.end(),
                            [](const auto& kid) { return kid.text.empty(); });
    }

    // Adds an element's content matches. False when one of them can never hold.
    static bool add_contents(const drend_tag_c& tag, const scope_s& scope,
                             const dr_subtree_node_s& element, dr_step_builder_c& step,
                             std::vector<dr_entry_s>& entries) {
        return std::all_of(element.kids.begin(), element.kids.end(),
                           [&](const dr_subtree_node_s& kid) {
                               return kid.text.empty() ||
                                      any_visible_kid(tag, [&](const drend_tag_c& leaf) {
                                          return fits(kid, leaf, {leaf.xmlns(), &scope}) &&
                                                 add_content(leaf, kid.text, step, entries);
                                      });
                           });
    }

    static bool add_content(const drend_tag_c& leaf, const std::string& text,
                            dr_step_builder_c& step, std::vector<dr_entry_s>& entries) {
        if (leaf.dt_type == DT_TYPE_LEAF_LIST) {
            entries.push_back({leaf.name(), text});
        } else if (leaf.dt_type == DT_TYPE_LEAF) {
            step.add(leaf.name(), text);
        } else {
            return false;
        }
        return true;
    }

    // Closes the ways within which no step can be passed.
    static void close_dead_ends(dr_filter_node_s& step, const asked_t& asked) {
        std::vector<bool> leads(step.ways.size());
        for (const asked_s& one : asked) {
            leads[one.within] = leads[one.within] || one.element == nullptr;
        }
        for (const dr_filter_node_s* below : step.below) {
            for (const dr_step_filter_s& way : below->ways) {
                if (way.within != DR_WITHIN_NONE) {
                    leads[way.within] = true;
                }
            }
        }
        for (size_t i = 0; i < step.ways.size(); ++i) {
            step.ways[i].within = leads[i] ? step.ways[i].within : DR_WITHIN_NONE;
        }
    }

    std::shared_ptr<dr_filter_c> filter_ = std::make_shared<dr_filter_c>();
};

} // namespace

dr_filter_t dri_subtree_filter(const drend_tag_c& top, const dr_subtree_node_s& root) {
    return subtree_maker_c().make(top, root);
}
