// SPDX-License-Identifier: BSD-2-Clause

#include "render/dr_row_filter.h"

#include <algorithm>
#include <utility>

#include "expr/dr_xp_eval.h"
#include "frame/drend_trace.h"

int dri_suspends_on_hidden_rows = 0;

void drend_set_suspend_on_hidden_rows(int flag) {
    dri_suspends_on_hidden_rows = flag;
}

bool dr_row_filter_c::step_match(const drend_tag_object_c* tobj) {
    dr_bound_step_c& step = bind(tobj);
    if (!step_is_for(tobj, step)) {
        return false;
    }
    const auto& predicates = tobj->dto_filter->parsed->predicates();
    return std::all_of(predicates.begin(), predicates.end(),
                       [&](const dr_xp_predicate_s& predicate) {
                           return predicate_match(tobj, step, predicate);
                       });
}

void dr_row_filter_c::bind_anew(const dr_step_filter_s& filter, const drend_tag_c& tag) {
    const auto found = std::find_if(bound_steps_.begin(), bound_steps_.end(),
                                    [&](const auto& step) { return step->is_of(filter); });
    if (found != bound_steps_.end()) {
        bound_ = found->get();
    } else {
        bound_ = bound_steps_.emplace_back(std::make_unique<dr_bound_step_c>(filter)).get();
    }
    if (!bound_->is_bound_to(tag)) {
        bound_->bind(tag);
    }
}

bool dr_row_filter_c::step_is_for(const drend_tag_object_c* tobj,
                                  const dr_bound_step_c& step) {
    const dr_step_filter_s* filter = tobj->dto_filter;
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: filter_match: tag: %s filter: %s\n",
                          tobj->name().c_str(), filter->text.c_str());
    }
    if (filter->parsed == nullptr && dri_trace_on(DREND_TRACE_ERROR)) {
        drend_debug_trace("DR_ERROR: Invalid dto_filter '%s'\n", filter->text.c_str());
    }
    return step.names_tag();
}

int dr_row_filter_c::judge(const drend_tag_object_c* tobj, size_t& next) {
    size_t at = std::exchange(next, 0);
    dr_bound_step_c& step = bind(tobj);
    if (at == 0 && !step_is_for(tobj, step)) {
        return DREND_NO_EL;
    }
    const auto& predicates = tobj->dto_filter->parsed->predicates();
    while (at < predicates.size()) {
        if (!predicate_match(tobj, step, predicates[at])) {
            return DREND_NO_EL;
        }
        if (++at < predicates.size() && row_has_to_wait()) {
            next = at;
            return DREND_DEFER;
        }
    }
    return DREND_OK;
}

// Whether a row that is being judged is to wait: a filter may have thousands of predicates.
bool dr_row_filter_c::row_has_to_wait() const {
    return dri_suspends_on_hidden_rows != 0 && dtc_ignore_defer == 0 &&
           dri_call_walk_suspend(position_.context(0));
}

bool dr_row_filter_c::predicate_match(const drend_tag_object_c* tobj, dr_bound_step_c& step,
                                      const dr_xp_predicate_s& predicate) {
    const dr_meta_object_c* object = position_.object();
    if (object == nullptr) {
        return false;
    }
    const bool by_name = predicate.calls_local_name && !predicate.holds_bare_word;
    if (object->is_list() && tobj->type() == DT_TYPE_LIST && !by_name) {
        return true; // waits for the rows
    }
    drend_tags_access_context_value_lookup_c lookup(position_, reader_, &step);
    return dri_holds(*predicate.node, lookup);
}

void dr_row_filter_c::gather_names(drend_tag_object_c* tobj) {
    tobj->dto_filter_names.reset();
    if (tobj->dto_filter == nullptr || tobj->dto_filter->parsed == nullptr) {
        return;
    }
    drend_tags_access_context_value_lookup_c lookup(position_, reader_);
    dr_meta_context_c::names_t names;
    for (const dr_xp_predicate_s& predicate : tobj->dto_filter->parsed->predicates()) {
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
        step_ == nullptr ? dr_word_s{dr_word_s::BEYOND, nullptr} : step_->word(name, slot);
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
    if (list == nullptr || position_.look_up(name) != DREND_OK) {
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
