// SPDX-License-Identifier: BSD-2-Clause

// A filter from a request's arguments: each argument is searched in the command's tree, depth
// first, and becomes a predicate at the level of the tag that holds it.
//
// Arguments of different branches meet at the level that they share; what that selects is kept as
// it is, because requests rely on it.
#include "service/dr_derived_filter.h"

#include <memory>

#include "definitions/dr_filter_steps.h"
#include "frame/str_util.h"

namespace {

// The levels of a filter, built up argument by argument. Steps found by earlier arguments stay, and
// an argument whose tag lies below another branch adds to the step that its depth has already.
class filter_builder_c {
  public:
    // Finds the tag called `name` in the tree below `top`, and puts a predicate on its parent.
    void add(const drend_tag_c& top, const std::string& name, std::string_view value) {
        name_ = &name;
        value_ = value;
        search(top, -1);
    }

    dr_filter_t finish() {
        if (steps_.empty()) {
            return nullptr;
        }
        auto filter = std::make_shared<dr_filter_c>();
        dr_filter_node_s* above = &filter->top();
        for (dr_step_builder_c& step : steps_) {
            above = &filter->add_below(*above);
            above->ways.push_back(step.finish());
        }
        return filter;
    }

  private:
    // `depth` is the level of the tag's parent among the visible tags, -1 for the top.
    bool search(const drend_tag_c& tag, int depth) {
        if (tag.name() == *name_ && tag.dt_type != DT_TYPE_EMPTY) {
            if (depth >= 0) {
                steps_[static_cast<size_t>(depth)].add(*name_, value_);
            }
            return true;
        }
        // Choices and cases are no level of a filter.
        const int level = tag.is_hidden() ? depth : depth + 1;
        const bool adds = level > depth && steps_.size() <= static_cast<size_t>(level);
        if (adds) {
            steps_.emplace_back(tag.name());
        }
        for (const drend_tag_c* kid : tag.dt_kids) {
            if (search(*kid, level)) {
                return true;
            }
        }
        if (adds) {
            steps_.pop_back();
        }
        return false;
    }

    const std::string* name_ = nullptr;
    std::string_view value_;
    std::vector<dr_step_builder_c> steps_;
};

} // namespace

dr_request_wish_s dri_derive_wish(const drend_tag_c& top_tag,
                                  const std::vector<dr_argument_s>& args) {
    dr_request_wish_s wish;
    if (!top_tag.dt_styles.empty()) {
        wish.style = top_tag.dt_styles.back();
    }
    filter_builder_c builder;
    for (const drend_tag_c* input : top_tag.dt_input_kids) {
        const dr_argument_s* given = dri_find_arg(args, input->name());
        if (given == nullptr) {
            continue;
        }
        builder.add(top_tag, input->name(), dri_strip_quotes(given->value));
        if (!input->dt_styles.empty()) {
            wish.style = input->dt_styles.back();
        }
    }
    wish.filter = builder.finish();
    return wish;
}
