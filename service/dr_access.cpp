// SPDX-License-Identifier: BSD-2-Clause

// Moving: each component of a path is a step of a filter, taken by the tag that it names, so that
// predicates mean here what they mean in a request. What is wrong with a component is found in the
// definition, before anything moves.

#include "service/dr_access.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <utility>

#include "definitions/dr_filter_steps.h"
#include "definitions/dr_tag_names.h"
#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "frame/dr_no_such.h"
#include "frame/str_util.h"
#include "render/dr_dynamic_kids.h"

namespace {

constexpr size_t npos = std::string::npos;

// Whether a path has a quote that is never closed: cutting it would lose what stands there.
bool has_open_quote(const char* path) {
    int code = XP_TOKEN_WORD;
    while (code != XP_TOKEN_END && code != XP_TOKEN_ERROR) {
        code = dri_xp_next_token(path).code;
    }
    return code == XP_TOKEN_ERROR;
}

// A word that no element can be called: 7, -7, 0x7.
bool is_number(const std::string& word) {
    const char first = word[word.find_first_not_of("+-") == 1 ? 1 : 0];
    return first >= '0' && first <= '9';
}

// The position that the predicate "[3]" asks for, when it is the only one; else 0.
size_t wanted_position(const dr_xpath_c& step) {
    if (step.predicates().size() != 1) {
        return 0;
    }
    const xp_node_c& root = *step.predicates()[0].node;
    const xp_node_c* value = root.type == XP_NODE_EXPR ? root.left.get() : nullptr;
    const bool is_position = value != nullptr && value->type == XP_NODE_VALUE &&
                             value->kind == XP_TOKEN_WORD && value->text.size() < 10 &&
                             value->text.find_first_not_of("0123456789") == npos;
    return is_position ? strtoul(value->text.c_str(), nullptr, 10) : 0;
}

} // namespace

// --- moving -------------------------------------------------------------------------------------

int dr_access_c::fail(int status, std::string error) {
    error_ = std::move(error);
    return status;
}

int dr_access_c::begin_push(const char* path) {
    assert(!is_searching_);
    if (has_open_quote(path)) {
        return fail(DREND_ERR, "a quote is never closed");
    }
    steps_ = dri_cut_filter(path);
    if (steps_ == nullptr) {
        return fail(DREND_ERR, "the path is too large");
    }
    next_step_ = 0;
    levels_before_ = levels_.size();
    return go_on();
}

int dr_access_c::go_on() {
    for (; next_step_ < steps_->size(); ++next_step_) {
        const dr_step_filter_s& step = steps_->step(next_step_).ways.front();
        if (step.text.empty()) {
            continue; // a "/" too many
        }
        if (!std::exchange(is_searching_, false)) {
            if (const int status = enter_step(step)) {
                return give_up(status);
            }
            const bool chooses =
                levels_.back().filter != nullptr || levels_.back().wanted > 0;
            if (!chooses || !dri_is_list(*here())) {
                continue;
            }
        }
        const int status = next_row();
        if (status == DREND_DEFER) {
            is_searching_ = true;
            return status;
        }
        if (status != DREND_OK) {
            return give_up(status == DREND_NO_EL ? no_such_row() : status);
        }
    }
    pushes_.push_back(levels_before_);
    return DREND_OK;
}

int dr_access_c::give_up(int status) {
    drop_levels(levels_before_);
    return status;
}

int dr_access_c::push_path(const char* path) {
    int status = begin_push(path);
    while (status == DREND_DEFER) {
        status = go_on();
    }
    return status;
}

int dr_access_c::pop_path() {
    if (pushes_.empty()) {
        return fail(DREND_ERR, "nothing is pushed");
    }
    drop_levels(pushes_.back());
    pushes_.pop_back();
    return DREND_OK;
}

void dr_access_c::drop_levels(size_t count) {
    while (levels_.size() > count) {
        while (tag_depth() > levels_.back().tag_depth) {
            const drend_tag_object_c* top = position_.tag(0);
            if (!top->dto_is_visit && !top->source().empty()) {
                dr_meta_context_c* context = position_.context(0);
                context->call_exit_proc(context->get_top_node()->type);
            }
            position_.leave();
        }
        forget_filter(levels_.back());
        levels_.pop_back();
    }
    is_searching_ = false;
}

void dr_access_c::forget_filter(level_s& level) {
    if (level.filter != nullptr) {
        set_filter(dr_filter_t());
        level.filter = nullptr;
    }
}

// --- one component ------------------------------------------------------------------------------

int dr_access_c::enter_step(const dr_step_filter_s& step) {
    if (step.parsed == nullptr || step.parsed->steps().front().text.empty()) {
        return fail(DREND_ERR,
                    dri_quoted_word(dri_step_text(step)) + " is no component of a path");
    }
    const std::string& name = step.parsed->steps().front().text;
    std::vector<const drend_tag_c*> way;
    if (!find_way(name, way)) {
        return no_such_kid(name, here(), get_path());
    }
    if (here() != nullptr && dri_is_list(*here()) && !is_at_row()) {
        return fail(DREND_NO_EL, "which element of " + get_path() + "?");
    }
    for (const dr_xp_predicate_s& predicate : step.parsed->predicates()) {
        if (const int status = check_words(*predicate.node, *way.back())) {
            return status;
        }
    }
    const size_t wanted = dri_is_list(*way.back()) ? wanted_position(*step.parsed) : 0;
    dr_filter_t filter;
    if (wanted == 0 && !step.parsed->predicates().empty()) {
        auto only = std::make_shared<dr_filter_c>();
        only->add_below(only->top()).ways.push_back(step);
        filter = std::move(only);
    }
    return enter(way, filter, wanted);
}

bool dr_access_c::find_way(std::string_view name,
                           std::vector<const drend_tag_c*>& way) const {
    if (const drend_tag_c* tag = here()) {
        return dri_find_nameable(*tag, name, way);
    }
    way.push_back(&root_);
    return root_.is_hidden() ? dri_find_nameable(root_, name, way) : root_.name() == name;
}

// Whether every name in a predicate is that of something below the element that it is asked of.
int dr_access_c::check_words(const xp_node_c& node, const drend_tag_c& tag) {
    std::vector<const drend_tag_c*> way;
    if (node.type == XP_NODE_VALUE && node.kind == XP_TOKEN_WORD && !is_number(node.text) &&
        !dri_find_nameable(tag, node.text, way)) {
        no_such_kid(node.text, &tag, dri_below(get_path(), tag.name()));
        return fail(DREND_ERR, error_ + " (texts stand in quotes)");
    }
    for (const xp_node_c* part : {node.left.get(), node.right.get()}) {
        if (part != nullptr && check_words(*part, tag) != DREND_OK) {
            return DREND_ERR;
        }
    }
    const auto is_wrong = [&](const auto& arg) {
        return check_words(*arg, tag) != DREND_OK;
    };
    return std::any_of(node.args.begin(), node.args.end(), is_wrong) ? DREND_ERR : DREND_OK;
}

int dr_access_c::no_such_kid(std::string_view name, const drend_tag_c* tag,
                             const std::string& place) {
    std::vector<std::string> names;
    for (const drend_tag_c* kid : tag == nullptr ? get_kids() : dri_nameable_kids(*tag)) {
        names.push_back(kid->name());
    }
    return fail(DREND_ERR, dri_no_such(name, place, names));
}

int dr_access_c::enter(const std::vector<const drend_tag_c*>& way,
                       const dr_filter_t& filter, size_t wanted) {
    remember_row();
    if (here() != nullptr && here()->dt_type == DT_TYPE_CONT) {
        find_dynamic_kid(*way.front());
    }
    level_s level{way.back(), filter, tag_depth()};
    level.wanted = wanted;
    levels_.push_back(std::move(level));
    for (const drend_tag_c* tag : way) {
        if (const int status = enter_tag(*tag, tag == way.back() ? filter : nullptr)) {
            return status;
        }
    }
    return DREND_OK;
}

int dr_access_c::enter_tag(const drend_tag_c& tag, const dr_filter_t& filter) {
    set_filter(filter);
    if (push_tag(&tag) != DREND_OK) {
        return fail(DREND_NO_EL, get_path() + " has no data: the source '" + tag.source() +
                                     "' leads nowhere");
    }
    drend_tag_object_c& tobj = *position_.tag(0);
    if (dri_is_list(tag)) {
        enter_list(tobj);
        return DREND_OK;
    }
    if (!filter_match(&tobj)) {
        return fail(DREND_NO_EL, get_path() + " is not as its predicate says");
    }
    return tag.dt_type == DT_TYPE_CONT ? enter_container(tobj) : DREND_OK;
}

int dr_access_c::enter_container(drend_tag_object_c& tobj) {
    const drend_tag_c& tag = *tobj.dto_tag;
    if (tag.has_presence() && !presence_on(&tag)) {
        return fail(DREND_NO_EL, get_path() + " is not there");
    }
    dr_meta_context_c* context = position_.context(0);
    if (context == nullptr) {
        return DREND_OK;
    }
    // A tag without a source shares its parent's context and leaves the entering to it.
    if (!tag.source().empty()) {
        context->call_enter_proc(DMN_TYPE_CONT);
    }
    levels_.back().inherited = context->get_element_offset(0);
    return DREND_OK;
}

void dr_access_c::enter_list(const drend_tag_object_c& tobj) {
    const dr_meta_object_c* object = position_.object();
    if (tobj.source().empty() || object == nullptr) {
        return;
    }
    // A source that selects its row by key has positioned the walk on it already.
    levels_.back().is_single = object->is_list_el();
    if (object->is_list()) {
        position_.context(0)->call_enter_proc(DMN_TYPE_LIST);
    }
}

// Has a daemon that names its container's kids get to the one that is asked for.
void dr_access_c::find_dynamic_kid(const drend_tag_c& kid) {
    dr_meta_context_c* context = position_.context(0);
    if (context == nullptr || context->get_top_node()->cont_proc == nullptr) {
        return;
    }
    const void* inherited = levels_.back().inherited;
    context->set_attribute_ref(nullptr);
    context->set_top_element(inherited);
    const drend_tag_c* named = nullptr;
    while (dri_next_dynamic_kid(*context, inherited, *here(), named)) {
        if (named == &kid) {
            return;
        }
    }
}
