#include "render/dr_tags_access_context.h"

#include <algorithm>
#include <cassert>

#include "definitions/drend_load.h"
#include "frame/drend_trace.h"
#include "render/drend_context_walker.h"

int dtc_ignore_defer = 0;

namespace {

int suspends_on_hidden_rows = 0;

// A daemon's status where "suspend" may have to count as "done".
int unless_ignored(int status) {
    return status == DREND_DEFER && dtc_ignore_defer != 0 ? DREND_OK : status;
}

void call_walk_start(dr_tags_access_context_c& walk) {
    if (dr_meta_context_c* context = walk.get_top_meta_context(0)) {
        dri_call_walk_start(context);
    } else {
        dr_meta_context_c empty; // handlers may read cookies and the like from it
        dri_call_walk_start(&empty);
    }
}

} // namespace

void drend_set_suspend_on_hidden_rows(int flag) {
    suspends_on_hidden_rows = flag;
}

dr_tags_access_context_c::dr_tags_access_context_c(void* element_ref)
    : element_ref_(element_ref) {}

dr_tags_access_context_c::~dr_tags_access_context_c() {
    exit_entered();
    release_in_use();
    if (dri_retirement_waits()) {
        dri_free_daemon_context(nullptr);
    }
}

// --- slices -------------------------------------------------------------------------------

int dr_tags_access_context_c::get_value(dr_context_walker_c* walker) {
    call_walk_start(*this);
    if (walker != nullptr) {
        walker_ = walker;
    }
    drend_tag_object_c* top = get_top_tag(0);
    if (top == nullptr || walker_ == nullptr) {
        return DREND_ERR;
    }
    command_tag_ = top;
    mark_in_use(top->dto_tag);
    const int status = walk_tree(walker_);
    if (!settle(status)) {
        return DREND_DEFER;
    }
    return walker_->status() != 0 ? walker_->status() : status;
}

dr_tags_access_context_c* dr_tags_access_context_c::defer_continue() {
    call_walk_start(*this);
    if (walker_ != nullptr) {
        walker_->resumed = true;
        walker_->deferred = false;
    }
    int status = DREND_OK;
    while (!frames_.empty() && status != DREND_DEFER && walker_->status() == 0) {
        dr_defer_context_c frame = frames_.back();
        switch (frame.kind) {
        case dr_defer_context_c::LEAF:
            status = walk_leaf(walker_, &frame);
            break;
        case dr_defer_context_c::CONT:
            status = walk_cont(walker_, &frame, true);
            break;
        default:
            status = walk_list(walker_, &frame);
        }
    }
    if (!settle(status)) {
        return this;
    }
    walker_ = nullptr;
    return nullptr;
}

// Ends a slice: true when the walk is over, with everything given back that it held.
bool dr_tags_access_context_c::settle(int status) {
    const bool suspends = status == DREND_DEFER && !frames_.empty();
    if (suspends) {
        walker_->release_output();
    }
    if (suspends && walker_->status() == 0) {
        return false;
    }
    give_up();
    return true;
}

// Leaves whatever the walk is still inside of. After a walk that came to its end there is nothing.
void dr_tags_access_context_c::give_up() {
    if (!frames_.empty()) {
        frames_.clear();
        exit_entered();
        while (get_top_tag(0) != command_tag_ && pop_tag() == 0) {
        }
    }
    command_tag_ = nullptr;
    release_in_use();
}

void dr_tags_access_context_c::exit_entered() {
    for (unsigned n = 0; n < meta_depth(); ++n) {
        dr_meta_context_c* context = get_top_meta_context(n);
        context->end_visit(); // the leaf covers what was entered
        if (const dr_meta_node_c* node = context->get_top_node()) {
            context->call_exit_proc(node->type);
        }
    }
}

void dr_tags_access_context_c::mark_in_use(const drend_tag_c* tag) {
    release_in_use();
    dri_tags_add_inuse(tag);
    in_use_ = tag;
}

void dr_tags_access_context_c::release_in_use() {
    if (in_use_ != nullptr) {
        dri_tags_delete_inuse(in_use_);
        in_use_ = nullptr;
    }
}

// --- the walk -----------------------------------------------------------------------------

int dr_tags_access_context_c::walk_tree(dr_context_walker_c* walker) {
    if (walker->status() != 0) {
        return walker->status();
    }
    const drend_tag_object_c* tobj = get_top_tag(0);
    if (dri_trace_on(DREND_TRACE_WALK)) {
        trace_position(tobj);
    }
    if (dri_has_cmd_start()) {
        dri_call_cmd_start(this, "");
    }
    if (!tobj->dto_tag->has_source_child()) {
        return 0;
    }
    switch (tobj->type()) {
    case DT_TYPE_CONT:
        return walk_cont(walker, nullptr, true);
    case DT_TYPE_LIST:
    case DT_TYPE_LEAF_LIST:
        // A source that selects its row by key has positioned the walk on it already.
        return is_on_row() ? walk_cont(walker, nullptr, true) : walk_list(walker, nullptr);
    case DT_TYPE_LEAF:
        return walk_leaf(walker, nullptr);
    default:
        return 0;
    }
}

void dr_tags_access_context_c::trace_position(const drend_tag_object_c* tobj) const {
    drend_debug_trace("DR_TAGS_ACCESS: tag-type: %d\n", tobj->type());
    drend_debug_trace("DR_TAGS_ACCESS: -----------------------------------\n");
    drend_debug_trace("DR_TAGS_ACCESS: top_tag:\n");
    db_print_top_tag(this);
    drend_debug_trace("DR_TAGS_ACCESS: top_mc_stack:\n");
    db_print_mc_stack(this);
}

int dr_tags_access_context_c::walk_cont(dr_context_walker_c* walker,
                                        dr_defer_context_c* frame, bool filter) {
    drend_tag_object_c* tobj = frame == nullptr ? get_top_tag(0) : frame->tobj;
    if (frame != nullptr) {
        pop_tag(); // the kid that was suspended is finished
        if (tobj->dto_dynamic == nullptr || tobj->dto_dynamic->finished) {
            ++tobj->dto_kid;
        }
    } else if (!open_cont(walker, tobj, filter)) {
        return 0;
    }
    int status = DREND_OK;
    if (tobj->dto_dynamic != nullptr && !tobj->dto_dynamic->finished) {
        status = walk_dynamic_kids(walker, tobj);
    }
    if (status != DREND_DEFER && walker->status() == 0) {
        status = walk_static_kids(walker, tobj, status);
    }
    if (status == DREND_DEFER || walker->status() != 0) {
        return status;
    }
    // A tag without a source shares its parent's context and leaves the entering to it.
    if (!tobj->source().empty() && get_top_meta_context(0) != nullptr) {
        get_top_meta_context(0)->call_exit_proc(DMN_TYPE_CONT);
    }
    if (!tobj->dto_tag->is_hidden()) {
        walker->pop(tobj);
    }
    frames_.pop_back();
    return status;
}

// Begins a container: false when it is not shown, with no frame left.
bool dr_tags_access_context_c::open_cont(dr_context_walker_c* walker,
                                         drend_tag_object_c* tobj, bool filter) {
    const drend_tag_c* tag = tobj->dto_tag;
    if (filter && !filter_match(tobj)) {
        return false;
    }
    if (tag->has_presence() && tag->dt_type == DT_TYPE_CONT) {
        if (!presence_on(tag)) {
            return false;
        }
        tobj->set_flags(DTO_FLAG_PRESENT);
    }
    tobj->dto_kid = tag->dt_kids.begin();
    tobj->dto_dynamic.reset();
    frames_.push_back({tobj, dr_defer_context_c::CONT});
    if (!tag->is_hidden()) {
        walker->push(tobj);
    }
    dr_meta_context_c* context = get_top_meta_context(0);
    if (context == nullptr) {
        return true;
    }
    if (!tobj->source().empty()) {
        context->call_enter_proc(DMN_TYPE_CONT);
    }
    if (context->get_top_node()->cont_proc != nullptr) {
        tobj->dto_dynamic = std::make_unique<dr_dynamic_kids_s>();
        tobj->dto_dynamic->inherited_ref = context->get_element_offset(0);
        tobj->dto_dynamic->visited.resize(tag->dt_kids.size());
        context->set_attribute_ref(nullptr);
    }
    return true;
}

int dr_tags_access_context_c::walk_dynamic_kids(dr_context_walker_c* walker,
                                                drend_tag_object_c* tobj) {
    const auto& kids = tobj->dto_tag->dt_kids;
    int status = DREND_OK;
    const drend_tag_c* kid = nullptr;
    while (next_dynamic_kid(tobj, kid)) {
        if (kid == nullptr || push_tag(kid) != 0) {
            continue;
        }
        const auto at = std::find(kids.begin(), kids.end(), kid) - kids.begin();
        tobj->dto_dynamic->visited[static_cast<size_t>(at)] = true;
        status = walk_tree(walker);
        if (status == DREND_DEFER || walker->status() != 0) {
            return status;
        }
        pop_tag();
    }
    tobj->dto_dynamic->finished = true;
    return status;
}

// Asks the daemon for the next child's name. False at the end; a name that no kid has gives a null
// kid, and so does an empty one, for a kid without a source stands at no child.
bool dr_tags_access_context_c::next_dynamic_kid(drend_tag_object_c* tobj,
                                                const drend_tag_c*& kid) {
    dr_meta_context_c* context = get_top_meta_context(0);
    const void* inherited = tobj->dto_dynamic->inherited_ref;
    const int status = context->call_cont_proc();
    const dr_meta_object_c* object = context->get_top_object();
    const bool marked =
        object->attribute_ref != nullptr ||
        (object->element_ref != nullptr && object->element_ref != inherited);
    if ((status != DREND_OK && status != DREND_DEFER) || !marked) {
        // The kids that follow belong to the row that the container belongs to.
        context->set_attribute_ref(nullptr);
        context->set_top_element(inherited);
        return false;
    }
    const std::string& name = object->attribute_name;
    kid = name.empty() ? nullptr : tobj->dto_tag->find_child_from_mt_source(name.c_str());
    return true;
}

int dr_tags_access_context_c::walk_static_kids(dr_context_walker_c* walker,
                                               drend_tag_object_c* tobj, int status) {
    const auto& kids = tobj->dto_tag->dt_kids;
    for (; tobj->dto_kid != kids.end(); ++tobj->dto_kid) {
        const auto at = static_cast<size_t>(tobj->dto_kid - kids.begin());
        const bool visited = tobj->dto_dynamic != nullptr && tobj->dto_dynamic->visited[at];
        if (visited || push_tag(*tobj->dto_kid) != 0) {
            continue;
        }
        status = walk_tree(walker);
        if (status == DREND_DEFER || walker->status() != 0) {
            return status;
        }
        pop_tag();
    }
    return status;
}

int dr_tags_access_context_c::walk_list(dr_context_walker_c* walker,
                                        dr_defer_context_c* frame) {
    drend_tag_object_c* tobj = frame == nullptr ? get_top_tag(0) : frame->tobj;
    if (frame == nullptr) {
        if (tobj->source().empty() || !filter_match(tobj)) {
            return 0;
        }
        frames_.push_back({tobj, dr_defer_context_c::LIST});
        gather_filter_names(tobj);
        walker->list_start(tobj);
        get_top_meta_context(0)->call_enter_proc(DMN_TYPE_LIST);
    } else if (frame->predicate != 0) {
        const int status = walk_row(walker, tobj, DREND_OK);
        if (status == DREND_DEFER || walker->status() != 0) {
            return status;
        }
    }
    for (;;) {
        int status = walker->list_element_walk_start(tobj);
        if (status == DREND_DEFER) {
            return status;
        }
        status = get_next_element(nullptr);
        if (status != DREND_OK && status != DREND_DEFER) {
            status = walker->list_element_walk_stop(tobj, status);
            get_top_meta_context(0)->call_exit_proc(DMN_TYPE_LIST);
            walker->list_stop(tobj);
            frames_.pop_back();
            return status;
        }
        if (walker->status() != 0) {
            walker->list_element_walk_stop(tobj, walker->status());
            return walker->status();
        }
        status = walk_row(walker, tobj, status);
        if (status == DREND_DEFER || walker->status() != 0) {
            return status;
        }
    }
}

// Shows the current row, unless it is filtered out. `row_status` is what the list procedure said.
int dr_tags_access_context_c::walk_row(dr_context_walker_c* walker,
                                       drend_tag_object_c* tobj, int row_status) {
    const int judged = tobj->dto_filter == nullptr ? DREND_OK : judge_row(tobj);
    if (judged == DREND_DEFER) {
        return judged;
    }
    if (judged != DREND_OK) {
        // A suspension asked for on a hidden row passes unheeded, unless the daemon wants it.
        return walker->list_element_walk_stop(
            tobj, suspends_on_hidden_rows != 0 ? row_status : DREND_OK);
    }
    const int status = walk_cont(walker, nullptr, false);
    if (status == DREND_DEFER || walker->status() != 0) {
        return status;
    }
    return walker->list_element_walk_stop(tobj, row_status);
}

// Whether a row that is being judged is to wait: a filter may have thousands of predicates.
bool dr_tags_access_context_c::row_has_to_wait() const {
    return suspends_on_hidden_rows != 0 && dtc_ignore_defer == 0 &&
           dri_call_walk_suspend(get_top_meta_context(0));
}

int dr_tags_access_context_c::walk_leaf(dr_context_walker_c* walker,
                                        dr_defer_context_c* frame) {
    drend_tag_object_c* tobj = frame == nullptr ? get_top_tag(0) : frame->tobj;
    assert(tobj);
    const bool is_fresh = frame == nullptr;
    if (is_fresh &&
        (tobj->source().empty() || !filter_match(tobj) || !style_match(tobj->dto_tag))) {
        return 0;
    }
    if (dtc_ignore_defer == 0 && walker->defer_walker()) {
        walker->deferred = true;
        return suspend_leaf(tobj, is_fresh);
    }
    dr_value_c& value = leaf_value_;
    value.clear();
    bool shown = false;
    const int status = read_leaf(walker, tobj, shown, value);
    if (status == DREND_DEFER) {
        return suspend_leaf(tobj, is_fresh);
    }
    if (shown) {
        walker->push(tobj);
        walker->push_value(tobj, value);
        if (dri_trace_on(DREND_TRACE_WALK)) {
            dr_str_buf_c text;
            drend_debug_trace("DR_TAGS_ACCESS: value: %s\n", value.c_str(text.buf()));
        }
        walker->pop(tobj);
    }
    if (!is_fresh) {
        frames_.pop_back();
    }
    return status;
}

// A leaf has a frame only while it is suspended: it is asked again when the walk goes on.
int dr_tags_access_context_c::suspend_leaf(drend_tag_object_c* tobj, bool is_fresh) {
    if (is_fresh) {
        frames_.push_back({tobj, dr_defer_context_c::LEAF});
    }
    return DREND_DEFER;
}

// Fetches and translates the value of a leaf and says whether it is to be shown.
int dr_tags_access_context_c::read_leaf(dr_context_walker_c* walker,
                                        const drend_tag_object_c* tobj, bool& shown,
                                        dr_value_c& value) {
    const dr_value_map_c* map = tobj->dto_tag->dt_map.get();
    int status = unless_ignored(get_top_meta_context(0)->call_leaf_proc(value));
    if (status == DREND_DEFER || status == DREND_SKIP_LEAF) {
        return status;
    }
    // A map with a wildcard has something to show for a value that could not be read.
    if (status != DREND_OK && (map == nullptr || !map->has_wildcard())) {
        return status;
    }
    if (map != nullptr && !walker->need_meta_value() && !raw_values) {
        const int translated = translate(tobj, value);
        if (translated != DREND_OK) {
            return translated;
        }
    }
    shown = !is_suppressed(tobj, value);
    return status;
}

// Whether a daemon's wish to leave empty leaves out applies to this one.
bool dr_tags_access_context_c::is_suppressed(const drend_tag_object_c* tobj,
                                             const dr_value_c& value) const {
    if (dri_skip_if_empty_leaf == 0 || tobj->dto_tag->dt_data_type == DT_DATA_EMPTY ||
        tobj->dto_tag->isset_flag(DT_FLAG_MANDATORY)) {
        return false;
    }
    dr_value_c::scratch_t scratch;
    std::string_view text;
    return value.get_text(text, scratch) && text.empty();
}

// --- rows ---------------------------------------------------------------------------------

int dr_tags_access_context_c::get_first_element() {
    dr_meta_context_c* context = get_top_meta_context(0);
    const dr_meta_object_c* object = get_top_meta_type_object(0);
    if (object == nullptr || !(object->is_list() || object->is_list_el())) {
        return DREND_ERR;
    }
    context->set_top_element(nullptr);
    gather_filter_names(get_top_tag(0));
    hand_off_filter(context);
    const int status = unless_ignored(context->call_list_proc());
    if ((status == DREND_OK || status == DREND_DEFER) &&
        context->get_element_offset(0) != nullptr) {
        context->set_top_type(DMN_TYPE_LIST_EL);
    }
    return status;
}

int dr_tags_access_context_c::get_next_element(dr_meta_context_c* context) {
    if (context == nullptr) {
        context = get_top_meta_context(0);
    }
    if (context == nullptr || context->get_top_object() == nullptr) {
        return DREND_ERR;
    }
    hand_off_filter(context);
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: %s: pre: element_ref[%p] \n", "get_next_element",
                          context->get_element_offset(0));
    }
    const int status = unless_ignored(context->call_list_proc());
    const void* row = context->get_element_offset(0);
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: %s: post:element_ref[%p] \n", "get_next_element",
                          row);
    }
    if (status != DREND_OK && status != DREND_DEFER) {
        context->set_top_type(DMN_TYPE_LIST);
        return status;
    }
    context->set_top_type(row == nullptr ? DMN_TYPE_LIST : DMN_TYPE_LIST_EL);
    return row == nullptr ? DREND_NO_EL : status;
}

// What a list procedure may seek by: the request's key equalities for the list.
void dr_tags_access_context_c::hand_off_filter(dr_meta_context_c* context) const {
    static const dr_meta_context_c::names_t none;
    const drend_tag_object_c* tobj = get_top_tag(0);
    const bool gathered = tobj != nullptr && tobj->dto_filter_names != nullptr;
    context->set_filter_names(gathered ? *tobj->dto_filter_names : none);
}
