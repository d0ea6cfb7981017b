// SPDX-License-Identifier: BSD-2-Clause

// Judging: a step's ways one after the other, a way's tests in their order, each of which may read
// leaves of the row. What does not depend on the row is kept with the step (dr_bound_step_c).

#include "render/dr_row_filter.h"

#include <algorithm>
#include <cassert>
#include <utility>

#include "definitions/dr_filter_steps.h"
#include "expr/dr_xp_eval.h"
#include "frame/drend_trace.h"

int dri_suspends_on_hidden_rows = 0;

void drend_set_suspend_on_hidden_rows(int flag) {
    dri_suspends_on_hidden_rows = flag;
}

namespace {

[[gnu::cold, gnu::noinline]] void trace_match(const drend_tag_object_c& tobj) {
    drend_debug_trace("DR_TAGS_ACCESS: filter_match: tag: %s filter: %s\n",
                      tobj.name().c_str(), dri_traced_step(*tobj.dto_filter).c_str());
}

} // namespace

// --- ways -----------------------------------------------------------------------------------

bool dr_row_filter_c::step_match(const drend_tag_object_c* tobj) {
    if (dri_trace_on(DREND_TRACE_WALK)) {
        trace_match(*tobj);
    }
    const auto& ways = tobj->dto_filter->ways;
    if (ways.size() == 1) {
        return is_open(tobj, ways[0]) && way_match(tobj, ways[0]);
    }
    open_ways(tobj);
    bool is_passed = false;
    for (size_t i = 0; i < ways.size(); ++i) {
        tobj->dto_passed[i] = tobj->dto_passed[i] && way_match(tobj, ways[i]);
        is_passed = is_passed || tobj->dto_passed[i];
    }
    return is_passed;
}

bool dr_row_filter_c::way_match(const drend_tag_object_c* tobj,
                                const dr_step_filter_s& way) {
    size_t test = 0;
    return judge_way(tobj, way, test, false) == DREND_OK;
}

bool dr_row_filter_c::is_within_passed(const drend_tag_object_c* tobj,
                                       const dr_step_filter_s& way) const {
    if (way.within == DR_WITHIN_ANY) {
        return true;
    }
    const dr_filter_node_s* above = tobj->dto_filter->above;
    size_t n = 1;
    while (position_.tag(n) != nullptr && position_.tag(n)->dto_filter != above) {
        ++n;
    }
    return position_.tag(n) != nullptr && position_.tag(n)->has_passed(way.within);
}

void dr_row_filter_c::open_ways(const drend_tag_object_c* tobj) const {
    const auto& ways = tobj->dto_filter->ways;
    tobj->dto_passed.resize(ways.size());
    for (size_t i = 0; i < ways.size(); ++i) {
        tobj->dto_passed[i] = is_open(tobj, ways[i]);
    }
}

int dr_row_filter_c::judge(const drend_tag_object_c* tobj, size_t& next) {
    assert(position_.object() != nullptr && position_.object()->is_list_el());
    if (next == 0 && dri_trace_on(DREND_TRACE_WALK)) {
        trace_match(*tobj);
    }
    const auto& ways = tobj->dto_filter->ways;
    if (ways.size() != 1) {
        return judge_ways(tobj, next);
    }
    if (!is_open(tobj, ways[0])) {
        return DREND_NO_EL;
    }
    size_t test = std::exchange(next, 0);
    const int judged = judge_way(tobj, ways[0], test, true);
    next = judged == DREND_DEFER ? test : 0;
    return judged;
}

// The tests count on from way to way.
int dr_row_filter_c::judge_ways(const drend_tag_object_c* tobj, size_t& next) {
    const auto& ways = tobj->dto_filter->ways;
    const size_t at = std::exchange(next, 0);
    if (at == 0) {
        open_ways(tobj);
    }
    size_t first = 0;
    bool is_passed = false;
    for (size_t i = 0; i < ways.size(); ++i) {
        const size_t tests = ways[i].bound_to(*tobj->dto_tag).tests();
        if (tobj->dto_passed[i] && at < first + tests) {
            size_t test = at > first ? at - first : 0;
            const int judged = judge_way(tobj, ways[i], test, true);
            const bool ends_slice =
                judged == DREND_OK && tests > 1 && i + 1 < ways.size() && row_has_to_wait();
            if (judged == DREND_DEFER || ends_slice) {
                next = first + test;
                return DREND_DEFER;
            }
            tobj->dto_passed[i] = judged == DREND_OK;
        }
        is_passed = is_passed || tobj->dto_passed[i];
        first += tests;
    }
    return is_passed ? DREND_OK : DREND_NO_EL;
}

[[gnu::always_inline]] inline bool
dr_row_filter_c::predicate_match(const drend_tag_object_c* tobj,
                                 const dr_step_filter_s& way,
                                 const dr_xp_predicate_s& predicate) {
    const dr_meta_object_c* object = position_.object();
    if (object == nullptr) {
        return false;
    }
    const bool by_name = predicate.calls_local_name && !predicate.holds_bare_word;
    if (object->is_list() && tobj->type() == DT_TYPE_LIST && !by_name) {
        return true; // waits for the rows
    }
    drend_tags_access_context_value_lookup_c lookup(position_, reader_, &way);
    return dri_holds(*predicate.node, lookup);
}

// A test behind that of the name. Inline, for every row takes this way.
[[gnu::always_inline]] inline bool
dr_row_filter_c::passes_test(const drend_tag_object_c* tobj, const dr_step_filter_s& way,
                             size_t test) {
    const auto& predicates = way.parsed->predicates();
    if (test <= predicates.size()) {
        return predicate_match(tobj, way, predicates[test - 1]);
    }
    if (position_.object() != nullptr && position_.object()->is_list()) {
        return true; // waits for the rows
    }
    test -= predicates.size() + 1;
    return test < way.entries.size() ? has_entry(way.entries[test])
                                     : has_value(tobj, *way.value);
}

// Whether a row that is being judged is to wait: a filter may have thousands of predicates.
bool dr_row_filter_c::row_has_to_wait() const {
    return dri_suspends_on_hidden_rows != 0 && dtc_ignore_defer == 0 &&
           dri_call_walk_suspend(position_.context(0));
}

// Judges by the tests of a way from `test` on. DREND_DEFER between two of them, with `test` where
// to go on, only if it `may_wait`.
int dr_row_filter_c::judge_way(const drend_tag_object_c* tobj, const dr_step_filter_s& way,
                               size_t& test, bool may_wait) {
    const dr_bound_step_c& step = way.bound_to(*tobj->dto_tag);
    if (!step.names_tag()) {
        if (way.parsed == nullptr && dri_trace_on(DREND_TRACE_ERROR)) {
            drend_debug_trace("DR_ERROR: Invalid dto_filter '%s'\n", way.text.c_str());
        }
        return DREND_NO_EL;
    }
    const size_t tests = step.tests();
    for (test = std::max(test, size_t{1}); test < tests;) {
        if (!passes_test(tobj, way, test)) {
            return DREND_NO_EL;
        }
        ++test;
        if (may_wait && test < tests && row_has_to_wait()) {
            return DREND_DEFER;
        }
    }
    return DREND_OK;
}

// Whether the leaf-list of that name, below where the walk is, has such an entry.
bool dr_row_filter_c::has_entry(const dr_entry_s& entry) {
    if (position_.look_up(entry.name) != DREND_OK) {
        return false;
    }
    const dr_meta_object_c* object = position_.object();
    const bool is_found = object != nullptr && object->is_list() && find_entry(entry.text);
    position_.take_back();
    return is_found;
}

// Goes through the entries of the leaf-list on top, as a walk would.
bool dr_row_filter_c::find_entry(std::string_view text) {
    dr_meta_context_c& list = *position_.context(0);
    hand_off(nullptr, list);
    list.call_enter_proc(DMN_TYPE_LIST);
    bool is_found = false;
    while (!is_found && step_to_row(list)) {
        is_found = has_value(position_.tag(0), text);
    }
    list.call_exit_proc(DMN_TYPE_LIST);
    return is_found;
}

bool dr_row_filter_c::step_to_row(dr_meta_context_c& list) {
    const int status = list.call_list_proc();
    const bool is_row = (status == DREND_OK || status == DREND_DEFER) &&
                        list.get_element_offset(0) != nullptr;
    list.set_top_type(is_row ? DMN_TYPE_LIST_EL : DMN_TYPE_LIST);
    return is_row;
}

// Whether the leaf on top, or the entry of the leaf-list on top, has that value.
bool dr_row_filter_c::has_value(const drend_tag_object_c* tobj, std::string_view text) {
    const char* leaf = tobj->type() == DT_TYPE_LEAF_LIST ? DT_LEAF_LIST_VALUE : "";
    std::string_view value;
    return reader_.read(leaf, value) == DREND_OK && value == text;
}

const dr_step_filter_s* dr_row_filter_c::only_way(const drend_tag_object_c* tobj) const {
    const dr_step_filter_s* only = nullptr;
    if (tobj->dto_filter == nullptr) {
        return nullptr;
    }
    for (const dr_step_filter_s& way : tobj->dto_filter->ways) {
        if (is_open(tobj, way)) {
            if (only != nullptr) {
                return nullptr;
            }
            only = &way;
        }
    }
    return only;
}

// --- kids -----------------------------------------------------------------------------------

namespace {

dr_kid_choice_e choose_kid(const drend_tag_c& kid, const dr_filter_node_s& above) {
    const dr_filter_node_s& step = above.step_for(&kid);
    if (kid.is_hidden() || above.ways.size() > 1 || step.is_empty || step.ways.size() > 1) {
        return dr_kid_choice_e::ASK;
    }
    if (step.ways.empty() || step.ways[0].within == DR_WITHIN_NONE) {
        return dr_kid_choice_e::HIDDEN;
    }
    const dr_step_filter_s& way = step.ways[0];
    if (way.parsed == nullptr) {
        return dr_kid_choice_e::ASK;
    }
    const xp_node_c& name = way.parsed->steps().front();
    if (!name.text.empty() && name.text != kid.name()) {
        return dr_kid_choice_e::HIDDEN;
    }
    const bool is_sure = kid.dt_type == DT_TYPE_LEAF && way.value == nullptr &&
                         way.entries.empty() && way.parsed->predicates().empty();
    return is_sure ? dr_kid_choice_e::SHOWN : dr_kid_choice_e::ASK;
}

} // namespace

const std::vector<dr_kid_choice_e>& dr_row_filter_c::choose(drend_tag_object_c* tobj,
                                                            const dr_filter_node_s* step) {
    const auto& kids = tobj->dto_tag->dt_kids;
    if (tobj->dto_chosen_by != step) {
        tobj->dto_chosen_by = step;
        tobj->dto_choices.clear();
        for (const drend_tag_c* kid : kids) {
            tobj->dto_choices.push_back(choose_kid(*kid, *step));
        }
    }
    return tobj->dto_choices;
}

// --- seeking --------------------------------------------------------------------------------

void dr_row_filter_c::gather_names(drend_tag_object_c* tobj) {
    tobj->dto_filter_names.reset();
    const dr_step_filter_s* way = only_way(tobj);
    if (way == nullptr || way->parsed == nullptr) {
        return;
    }
    drend_tags_access_context_value_lookup_c lookup(position_, reader_);
    dr_meta_context_c::names_t names;
    for (const dr_xp_predicate_s& predicate : way->parsed->predicates()) {
        dri_gather_filter_expr(*predicate.node, lookup, names);
    }
    if (!names.empty()) {
        tobj->dto_filter_names =
            std::make_shared<const dr_meta_context_c::names_t>(std::move(names));
    }
}

void dr_row_filter_c::hand_off(const drend_tag_object_c* tobj, dr_meta_context_c& context) {
    if (tobj == nullptr) {
        context.set_filter_names(nullptr);
    } else {
        context.set_filter_names(tobj->dto_filter_names);
    }
}

// --- names in expressions -------------------------------------------------------------------

bool drend_tags_access_context_value_lookup_c::get_value(const char* name,
                                                         dr_str_buf_c& out) {
    return *name != '\0' && reader_.get_text(name, out) == DREND_OK;
}

bool drend_tags_access_context_value_lookup_c::find_value(const std::string& name,
                                                          unsigned slot,
                                                          dr_xp_value_c& out) {
    const dr_word_s word =
        way_ == nullptr ? dr_word_s{dr_word_s::BEYOND, nullptr}
                        : way_->bound_to(*position_.tag(0)->dto_tag).word(name, slot);
    switch (word.leads) {
    case dr_word_s::TO_LEAF:
        return reader_.find(*word.leaf, name, out);
    case dr_word_s::NOWHERE:
        return false;
    default:
        return reader_.find(name, out);
    }
}

void drend_tags_access_context_value_lookup_c::get_local_name(dr_str_buf_c& out) {
    out = position_.tag(0)->name();
}

bool drend_tags_access_context_value_lookup_c::get_meta_name(const char* name,
                                                             dr_str_buf_c& out) {
    const dr_meta_node_c* list = position_.node();
    if (list == nullptr) {
        return false;
    }
    const drend_tag_c* kid = position_.leaf_below_row(name);
    const dr_meta_node_c* leaf =
        kid == nullptr ? nullptr : kid->source_path().child_of(list);
    if (leaf != nullptr && leaf->is_leaf()) {
        out = leaf->name;
        return kid->dt_map == nullptr;
    }
    if (position_.look_up(name) != DREND_OK) {
        return false;
    }
    const drend_tag_object_c* tobj = position_.tag(0);
    const dr_meta_object_c* above = position_.context(0)->get_object_offset(1);
    const bool is_field = tobj->type() == DT_TYPE_LEAF &&
                          tobj->dto_tag->dt_map == nullptr && above != nullptr &&
                          above->node == list;
    if (is_field) {
        out = position_.node()->name;
    }
    position_.take_back();
    return is_field;
}
