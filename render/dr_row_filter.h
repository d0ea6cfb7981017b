// SPDX-License-Identifier: BSD-2-Clause

// dr_row_filter_c: which of the daemon's rows and leaves a request wants to see.
//
//     /routes/route[metric='10']/prefix
//      |       |                 '---- a step: only the kid of this name
//      |       '---------------------- a step and a predicate, asked of every row
//      '------------------------------ taken by the tag "routes"
//
//  1. Visible tags take one step each, hidden tags none; a tag gives its step back when it is left.
//     An empty step filters nothing and is not given back.
//  2. A list as a whole is judged by what can be judged of it, its name; the rest waits for the
//     rows. What passes a step of several ways is remembered with the tag, for the steps below it.
//  3. Equalities that must hold for a row to be shown are handed to list procedures, to seek by.
//
// Belongs to one walk on the daemon's thread.
#pragma once

#include <string_view>
#include <vector>

#include "definitions/dr_bound_step.h"
#include "definitions/dr_position.h"
#include "definitions/dr_step_filter.h"
#include "expr/dr_xp_parser.h"
#include "expr/drend_value_lookup.h"
#include "render/dr_value_reader.h"

// What drend_set_suspend_on_hidden_rows set.
extern int dri_suspends_on_hidden_rows;

class dr_row_filter_c {
  public:
    dr_row_filter_c(dr_position_c& position, dr_value_reader_c& reader)
        : position_(position), reader_(reader) {}

    // Whether the tag and, with a predicate, what the walk is at now pass the tag's step.
    bool match(const drend_tag_object_c* tobj) {
        return tobj->dto_filter == nullptr || step_match(tobj);
    }
    // Judges the row of the list on top, by its predicates from `next` on: DREND_OK, DREND_NO_EL
    // when it is hidden, or, with `next` where to go on, DREND_DEFER when the rest of the
    // predicates has to wait for the next slice. Each slice gets one further.
    int judge_row(const drend_tag_object_c* tobj, size_t& next) {
        return tobj->dto_filter == nullptr ? DREND_OK : judge(tobj, next);
    }
    // Works out what procedures of the list on top may seek by.
    void gather_names(drend_tag_object_c* tobj);
    // Hands that to the context whose list procedure is called next.
    static void hand_off(const drend_tag_object_c* tobj, dr_meta_context_c& context);

    // What the filter says of the kids of the container on top, one for each. Their steps are below
    // `step`. Valid until it is asked for another step.
    static const std::vector<dr_kid_choice_e>& choose(drend_tag_object_c* tobj,
                                                      const dr_filter_node_s* step);

    // The only way of the tag's step that is open to it, or null.
    const dr_step_filter_s* only_way(const drend_tag_object_c* tobj) const;
    // Has the daemon step a list's context to its next row. Whether there is one.
    static bool step_to_row(dr_meta_context_c& list);

  private:
    int judge(const drend_tag_object_c* tobj, size_t& next);
    int judge_ways(const drend_tag_object_c* tobj, size_t& next);
    int judge_way(const drend_tag_object_c* tobj, const dr_step_filter_s& way, size_t& test,
                  bool may_wait);
    bool step_match(const drend_tag_object_c* tobj);
    bool way_match(const drend_tag_object_c* tobj, const dr_step_filter_s& way);
    // Whether the way above was passed that this one belongs to.
    bool is_open(const drend_tag_object_c* tobj, const dr_step_filter_s& way) const {
        return way.within != DR_WITHIN_NONE &&
               (tobj->dto_filter->above->ways.size() < 2 || is_within_passed(tobj, way));
    }
    bool is_within_passed(const drend_tag_object_c* tobj,
                          const dr_step_filter_s& way) const;
    void open_ways(const drend_tag_object_c* tobj) const;
    bool passes_test(const drend_tag_object_c* tobj, const dr_step_filter_s& way,
                     size_t test);
    bool row_has_to_wait() const;
    bool predicate_match(const drend_tag_object_c* tobj, const dr_step_filter_s& way,
                         const dr_xp_predicate_s& predicate);
    bool has_entry(const dr_entry_s& entry);
    bool find_entry(std::string_view text);
    bool has_value(const drend_tag_object_c* tobj, std::string_view text);

    dr_position_c& position_;
    dr_value_reader_c& reader_;
};

// Names in expressions, looked up where a walk is. The words of a way of the filter are found as
// its bound step says, at the tag on top.
// A lookup may leave a leaf visited until it goes.
class drend_tags_access_context_value_lookup_c final : public drend_value_lookup_c {
  public:
    drend_tags_access_context_value_lookup_c(dr_position_c& position,
                                             dr_value_reader_c& reader,
                                             const dr_step_filter_s* way = nullptr)
        : position_(position), reader_(reader), way_(way) {}
    ~drend_tags_access_context_value_lookup_c() { reader_.end_visit(); }
    drend_tags_access_context_value_lookup_c(
        const drend_tags_access_context_value_lookup_c&) = delete;
    drend_tags_access_context_value_lookup_c&
    operator=(const drend_tags_access_context_value_lookup_c&) = delete;

    bool get_value(const char* name, dr_str_buf_c& out) override;
    void get_local_name(dr_str_buf_c& out) override;
    // Only names whose daemon's leaf is a field of the current row and is shown without a value
    // map, so that a list procedure may seek by them.
    bool get_meta_name(const char* name, dr_str_buf_c& out) override;
    bool find_value(const std::string& name, unsigned slot, dr_xp_value_c& out) override;

  private:
    dr_position_c& position_;
    dr_value_reader_c& reader_;
    const dr_step_filter_s* way_; // or null
};
