// SPDX-License-Identifier: BSD-2-Clause

// The filter and the tags are walked side by side; where the filter selects everything the tags go
// on alone.
#include "definitions/dr_content_filter.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "definitions/dr_filter_steps.h"

namespace {

class content_filter_maker_c {
  public:
    explicit content_filter_maker_c(uint8_t content) : content_(content) {}

    dr_filter_t make(const drend_tag_c& top, const dr_filter_t& filter) {
        made_->add_below(made_->top());
        add_tag(made_->top(), top, filter == nullptr ? nullptr : below(filter->top()));
        return is_possible_ ? std::move(made_) : nullptr;
    }

  private:
    // The step whose steps are for the tags below, or null: all of them are selected.
    static const dr_filter_node_s* below(const dr_filter_node_s& step) {
        return step.below.empty() ? nullptr : &step;
    }

    // Adds the step of a tag below `above`, with what `selected` says of it. A hidden tag takes
    // none.
    void add_tag(dr_filter_node_s& above, const drend_tag_c& tag,
                 const dr_filter_node_s* selected) {
        if (tag.is_hidden()) {
            add_kids(above, tag, selected);
            return;
        }
        const dr_filter_node_s* said =
            selected == nullptr ? nullptr : &selected->step_for(&tag);
        is_possible_ = is_possible_ && (said == nullptr || !is_in_the_middle(*said));
        if ((tag.dt_content & content_) == 0 || !add_step(above, tag, said)) {
            return;
        }
        const dr_filter_node_s* next = said == nullptr ? nullptr : below(*said);
        if (next != nullptr || (tag.dt_content & ~content_) != 0) {
            dr_filter_node_s& step = *last_;
            made_->add_below(step);
            add_kids(step, tag, next);
            if (step.is_passage || !tag.has_presence()) {
                close_dead_ends(step);
            }
        }
    }

    void add_kids(dr_filter_node_s& above, const drend_tag_c& tag,
                  const dr_filter_node_s* selected) {
        for (const drend_tag_c* kid : tag.dt_kids) {
            add_tag(above, *kid, selected);
        }
    }

    static bool is_in_the_middle(const dr_filter_node_s& step) {
        return step.is_empty && !step.below.empty();
    }

    // Whether there can be one: the last that was added then.
    bool add_step(dr_filter_node_s& above, const drend_tag_c& tag,
                  const dr_filter_node_s* said) {
        std::vector<dr_step_filter_s> ways;
        if (said == nullptr || said->is_empty) {
            ways.push_back(dr_step_builder_c(tag.name()).finish());
            ways.back().within = DR_WITHIN_ANY;
        } else {
            ways = said->ways;
        }
        const bool is_open =
            std::any_of(ways.begin(), ways.end(), [&](const dr_step_filter_s& way) {
                return way.within != DR_WITHIN_NONE && way.bound_to(tag).names_tag();
            });
        if (is_open) {
            last_ = &made_->add_below(above);
            last_->tag = &tag;
            last_->ways = std::move(ways);
            last_->is_passage = tag.dt_is_config != (content_ == DT_CONTENT_CONFIG);
        }
        return is_open;
    }

    // Closes the ways within which nothing can be shown any more.
    static void close_dead_ends(dr_filter_node_s& step) {
        for (size_t i = 0; i < step.ways.size(); ++i) {
            const auto is_in_it = [&](const dr_step_filter_s& way) {
                return way.within == i || way.within == DR_WITHIN_ANY;
            };
            const bool leads = std::any_of(
                step.below.begin(), step.below.end(), [&](const dr_filter_node_s* below) {
                    return std::any_of(below->ways.begin(), below->ways.end(), is_in_it);
                });
            step.ways[i].within = leads ? step.ways[i].within : DR_WITHIN_NONE;
        }
    }

    const uint8_t content_;
    std::shared_ptr<dr_filter_c> made_ = std::make_shared<dr_filter_c>();
    dr_filter_node_s* last_ = nullptr;
    bool is_possible_ = true;
};

} // namespace

dr_filter_t dri_content_filter(const drend_tag_c& top, const dr_filter_t& filter,
                               uint8_t content) {
    return content_filter_maker_c(content).make(top, filter);
}
