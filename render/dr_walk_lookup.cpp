// Look-ups during a walk: by tag path, for filters, keys and value-map expressions. They push what
// they need and take all of it back, and leave the step filters where they are.

#include <algorithm>
#include <cstring>
#include <utility>

#include "expr/dr_map_expr.h"
#include "expr/dr_xp_eval.h"
#include "frame/drend_trace.h"
#include "frame/str_util.h"
#include "render/dr_tags_access_context.h"

// --- moving by tag --------------------------------------------------------------------------

int dr_tags_access_context_c::push_tag(const drend_tag_c* tag) {
    dr_tags_context_c::push_tag(tag);
    if (tag->source().empty()) {
        return 0;
    }
    // A trace shows a context for each source, so there are no visits while the walk is traced.
    if (tag->dt_type == DT_TYPE_LEAF && meta_depth() > 0 &&
        !dri_trace_on(DREND_TRACE_WALK) &&
        get_top_meta_context(0)->visit_leaf(tag->source_path(), element_ref_)) {
        get_top_tag(0)->dto_is_visit = true;
        return 0;
    }
    const int status =
        push_meta_context(tag->source_path(), tag->source().c_str(), element_ref_);
    if (status != DREND_OK) {
        dr_tags_context_c::pop_tag();
        if (dri_trace_on(DREND_TRACE_ERROR)) {
            drend_debug_trace("DR_ERROR: Couldn't push tag->dt_source:'%s':ret=%d\n",
                              tag->source().c_str(), status);
        }
    }
    return status;
}

int dr_tags_access_context_c::pop_tag() {
    if (tag_depth() <= 1) {
        return -1;
    }
    const drend_tag_object_c* tobj = get_top_tag(0);
    if (tobj->dto_is_visit) {
        get_top_meta_context(0)->end_visit();
    } else if (!tobj->source().empty()) {
        pop_meta_context();
    }
    dr_tags_context_c::pop_tag();
    return 0;
}

void dr_tags_access_context_c::push_key_tag(const drend_tag_c* tag) {
    push_tag_without_filter(tag);
}

void dr_tags_access_context_c::pop_key_tag() {
    pop_tag_without_filter();
}

int dr_tags_access_context_c::push_for_lookup(const drend_tag_c* tag) {
    if (!tag->source().empty()) {
        const int status =
            push_meta_context(tag->source_path(), tag->source().c_str(), element_ref_);
        if (status != DREND_OK) {
            return status;
        }
    }
    push_tag_without_filter(tag);
    return DREND_OK;
}

void dr_tags_access_context_c::pop_after_lookup(unsigned count) {
    while (count-- > 0) {
        if (!get_top_tag(0)->source().empty()) {
            pop_meta_context();
        }
        pop_tag_without_filter();
    }
}

// Pushes the kid of that name, below hidden kids when it is not a direct one. The number of tags
// pushed, 0 when there is none.
unsigned dr_tags_access_context_c::push_component(const char* name) {
    const drend_tag_c* tag = get_top_tag(0)->dto_tag;
    if (const drend_tag_c* kid = tag->find_child(name)) {
        return push_for_lookup(kid) == DREND_OK ? 1 : 0;
    }
    for (const drend_tag_c* kid : tag->dt_kids) {
        if (!kid->is_hidden() || push_for_lookup(kid) != DREND_OK) {
            continue;
        }
        if (const unsigned below = push_component(name); below > 0) {
            return below + 1;
        }
        pop_after_lookup(1);
    }
    return 0;
}

int dr_tags_access_context_c::push(const char* path) {
    unsigned count = 0;
    if (get_top_tag(0) == nullptr) {
        return DREND_ERR;
    }
    if (strchr(path, '/') == nullptr) {
        count = push_component(path);
    } else {
        std::vector<std::string> components;
        str_split(path, components, "/", false);
        for (const std::string& component : components) {
            const unsigned pushed = push_component(component.c_str());
            if (pushed == 0) {
                pop_after_lookup(std::exchange(count, 0));
                break;
            }
            count += pushed;
        }
    }
    if (count == 0) {
        return DREND_ERR;
    }
    pushed_.push_back(count);
    return DREND_OK;
}

void dr_tags_access_context_c::pop() {
    if (!pushed_.empty()) {
        pop_after_lookup(pushed_.back());
        pushed_.pop_back();
    }
}

dr_meta_node_c* dr_tags_access_context_c::get_top_meta_type_node(unsigned n) const {
    const dr_meta_context_c* context = get_top_meta_context(n);
    return context == nullptr ? nullptr : context->get_top_node();
}

const dr_meta_object_c*
dr_tags_access_context_c::get_top_meta_type_object(unsigned n) const {
    const dr_meta_context_c* context = get_top_meta_context(n);
    return context == nullptr ? nullptr : context->get_top_object();
}

int dr_tags_access_context_c::get_top_tag_mobj(const drend_tag_c** tag,
                                               const dr_meta_object_c** object) const {
    const drend_tag_object_c* tobj = get_top_tag(0);
    *tag = tobj == nullptr ? nullptr : tobj->dto_tag;
    *object = get_top_meta_type_object(0);
    return *object == nullptr ? DREND_ERR : DREND_OK;
}

// --- values -------------------------------------------------------------------------------

// Replaces a value by what its tag's map says.
int dr_tags_access_context_c::translate(const drend_tag_object_c* tobj, dr_value_c& value) {
    const std::vector<dr_map_term_s>* expression = nullptr;
    const int status = tobj->dto_tag->translate_value(value, expression);
    if (status != DREND_OK || expression == nullptr) {
        return status;
    }
    std::string result;
    const int evaluated = eval_terms(*expression, result);
    return evaluated == 0 ? value.set_string(result.c_str()) : evaluated;
}

int dr_tags_access_context_c::get_leaf_value(const char* path, dr_str_buf_c& out) {
    const bool moved = *path != '\0';
    if (moved && push(path) != DREND_OK) {
        return DREND_ERR;
    }
    const int status = read_top_leaf(out);
    if (moved) {
        pop();
    }
    return status;
}

// The text of the leaf on top, as its output would show it or raw.
int dr_tags_access_context_c::read_top_leaf(dr_str_buf_c& out) {
    const drend_tag_object_c* tobj = get_top_tag(0);
    dr_meta_context_c* context = get_top_meta_context(0);
    if (tobj == nullptr || tobj->type() != DT_TYPE_LEAF || context == nullptr) {
        return DREND_ERR;
    }
    dr_value_c value;
    dr_value_c::scratch_t scratch;
    // DREND_DEFER is a failed read, too: a look-up cannot suspend.
    if (context->call_leaf_proc(value) != DREND_OK || value.type() == DRV_NONE) {
        return DREND_ERR;
    }
    const drend_tag_c* tag = tobj->dto_tag;
    if (tag->dt_map != nullptr && !raw_values && translate(tobj, value) != 0) {
        return DREND_ERR;
    }
    out = (raw_values ? value.text(scratch) : tag->value_text(value, scratch)).data();
    return DREND_OK;
}

int dr_tags_access_context_c::eval_expression(str_buf_s* text) {
    if (*sbuf_str(text) != '=') {
        return 0;
    }
    std::vector<dr_map_term_s> terms;
    std::string result;
    if (dri_map_expr_parse(sbuf_str(text), terms) != 0 || eval_terms(terms, result) != 0) {
        return -1;
    }
    dri_must_write(sbuf_cpy(text, result.c_str()));
    return 0;
}

// Concatenates literals and the raw values of leaves. A malformed expression has no terms.
int dr_tags_access_context_c::eval_terms(const std::vector<dr_map_term_s>& terms,
                                         std::string& out) {
    for (const dr_map_term_s& term : terms) {
        if (!term.is_val) {
            out += term.text;
            continue;
        }
        if (push_meta_context(term.text.c_str(), element_ref_) != DREND_OK) {
            return -1;
        }
        dr_str_buf_c value;
        const bool outer = std::exchange(raw_values, true);
        const int status = get_leaf_value("", value);
        raw_values = outer;
        pop_meta_context();
        if (status != DREND_OK) {
            return -1;
        }
        out += value;
    }
    return terms.empty() ? -1 : 0;
}

// --- filters, styles, presence --------------------------------------------------------------

bool dr_tags_access_context_c::step_match(const drend_tag_object_c* tobj) {
    if (!step_is_for(tobj)) {
        return false;
    }
    const auto& predicates = tobj->dto_filter->parsed->predicates();
    return std::all_of(predicates.begin(), predicates.end(),
                       [&](const dr_xp_predicate_s& predicate) {
                           return predicate_match(tobj, predicate);
                       });
}

// Whether the step parses and names the tag, if anything.
bool dr_tags_access_context_c::step_is_for(const drend_tag_object_c* tobj) const {
    const dr_step_filter_s* filter = tobj->dto_filter;
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: filter_match: tag: %s filter: %s\n",
                          tobj->name().c_str(), filter->text.c_str());
    }
    if (filter->parsed == nullptr) {
        if (dri_trace_on(DREND_TRACE_ERROR)) {
            drend_debug_trace("DR_ERROR: Invalid dto_filter '%s'\n", filter->text.c_str());
        }
        return false;
    }
    const xp_node_c& step = filter->parsed->steps().front();
    return step.text.empty() || step.text == tobj->name();
}

// Judges the row of the list on top: DREND_OK, DREND_NO_EL when it is hidden, or DREND_DEFER when
// the rest of the predicates has to wait for the next slice. Each slice gets one further.
int dr_tags_access_context_c::judge_row(const drend_tag_object_c* tobj) {
    size_t next = std::exchange(frames_.back().predicate, 0);
    if (next == 0 && !step_is_for(tobj)) {
        return DREND_NO_EL;
    }
    const auto& predicates = tobj->dto_filter->parsed->predicates();
    while (next < predicates.size()) {
        if (!predicate_match(tobj, predicates[next])) {
            return DREND_NO_EL;
        }
        if (++next < predicates.size() && row_has_to_wait()) {
            frames_.back().predicate = next;
            return DREND_DEFER;
        }
    }
    return DREND_OK;
}

bool dr_tags_access_context_c::predicate_match(const drend_tag_object_c* tobj,
                                               const dr_xp_predicate_s& predicate) {
    const dr_meta_object_c* object = get_top_meta_type_object(0);
    if (object == nullptr) {
        return false;
    }
    // A list as a whole can only be judged by its name; everything else waits for the rows.
    const bool by_name = predicate.calls_local_name && !predicate.holds_bare_word;
    if (object->is_list() && tobj->type() == DT_TYPE_LIST && !by_name) {
        return true;
    }
    drend_tags_access_context_value_lookup_c lookup(*this);
    dr_str_buf_c result;
    return dri_eval_expr(*predicate.node, lookup, result) == 1;
}

void dr_tags_access_context_c::gather_filter_names(drend_tag_object_c* tobj) {
    tobj->dto_filter_names.reset();
    if (tobj->dto_filter == nullptr || tobj->dto_filter->parsed == nullptr) {
        return;
    }
    drend_tags_access_context_value_lookup_c lookup(*this);
    auto names = std::make_unique<dr_meta_context_c::names_t>();
    for (const dr_xp_predicate_s& predicate : tobj->dto_filter->parsed->predicates()) {
        dri_gather_filter_expr(*predicate.node, lookup, *names);
    }
    if (!names->empty()) {
        tobj->dto_filter_names = std::move(names);
    }
}

bool dr_tags_access_context_c::has_style(const drend_tag_c* tag) const {
    const auto& styles = tag->dt_styles;
    return std::find(styles.begin(), styles.end(), requested_style) != styles.end();
}

bool dr_tags_access_context_c::presence_on(const drend_tag_c* tag) {
    dr_meta_context_c* context = get_top_meta_context(0);
    if (!tag->has_presence() || context == nullptr) {
        return false;
    }
    dr_str_buf_c text;
    return context->call_leaf_proc(text.buf()) != DREND_OK || text == "true";
}

// --- names in expressions -------------------------------------------------------------------

bool drend_tags_access_context_value_lookup_c::get_value(const char* name,
                                                         dr_str_buf_c& out) {
    return *name != '\0' && context_.get_leaf_value(name, out) == DREND_OK;
}

void drend_tags_access_context_value_lookup_c::get_local_name(dr_str_buf_c& out) {
    out = context_.get_top_tag(0)->name();
}

bool drend_tags_access_context_value_lookup_c::get_meta_name(const char* name,
                                                             dr_str_buf_c& out) {
    const dr_meta_node_c* list = context_.get_top_meta_type_node(0);
    if (list == nullptr || context_.push(name) != DREND_OK) {
        return false;
    }
    const drend_tag_object_c* tobj = context_.get_top_tag(0);
    const dr_meta_context_c* context = context_.get_top_meta_context(0);
    const dr_meta_object_c* above = context->get_object_offset(1);
    const bool is_field = tobj->type() == DT_TYPE_LEAF &&
                          tobj->dto_tag->dt_map == nullptr && above != nullptr &&
                          above->node == list;
    if (is_field) {
        out = context->get_top_node()->name;
    }
    context_.pop();
    return is_field;
}
