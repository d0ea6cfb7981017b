// SPDX-License-Identifier: BSD-2-Clause

// How a context keeps its copies apart: frames and maps have reference counts, and whoever writes
// to a shared one makes a copy of its own first (copy-on-write). Copying a context costs two
// increments, and nearly no copy is ever written to.
//
// A visit of a leaf is cheaper still: one frame is pointed at leaf after leaf. Only an accessor
// that stores something makes it dear, for then what was there before is put aside and restored.
#include "model/dr_meta_context.h"

#include <cassert>
#include <new>
#include <utility>

#include "frame/drend_trace.h"
#include "frame/str_util.h"

struct dr_meta_context_c::maps_s {
    std::map<std::string, std::string, std::less<>> cached_values;
    std::map<std::string, void*, std::less<>> daemon_cookies;
    names_ref_t filter_names;
    unsigned refs = 1;
};

void dr_meta_context_c::release(frame_s* frame) {
    while (frame != nullptr) {
        assert(frame->refs > 0);
        if (--frame->refs > 0) {
            return;
        }
        delete std::exchange(frame, frame->below);
    }
}

void dr_meta_context_c::release(maps_s* maps) {
    assert(maps == nullptr || maps->refs > 0);
    if (maps != nullptr && --maps->refs == 0) {
        delete maps;
    }
}

dr_meta_context_c::dr_meta_context_c(const dr_meta_context_c& other)
    : dr_meta_context_s(), top_(other.top_), maps_(other.maps_), value_(other.value_) {
    // NOLINTNEXTLINE(cert-oop58-cpp): the flag says who shares, which a copy changes
    other.is_touched_ = true; // a visited frame is the copy's, too, now
    if (top_ != nullptr) {
        ++top_->refs;
    }
    if (maps_ != nullptr) {
        ++maps_->refs;
    }
}

dr_meta_context_c& dr_meta_context_c::operator=(const dr_meta_context_c& other) {
    dr_meta_context_c copy(other);
    std::swap(top_, copy.top_);
    std::swap(maps_, copy.maps_);
    value_ = other.value_;
    return *this;
}

dr_meta_context_c::~dr_meta_context_c() {
    end_visit();
    delete spare_;
    release(top_);
    release(maps_);
}

const dr_meta_object_c* dr_meta_context_c::get_object_offset(unsigned n) const {
    const frame_s* frame = top_;
    while (frame != nullptr && n-- > 0) {
        frame = frame->below;
    }
    return frame == nullptr ? nullptr : &frame->object;
}

dr_meta_object_c* dr_meta_context_c::writable_object(unsigned n) {
    is_touched_ = true;
    if (n == 0 && top_ != nullptr && top_->refs == 1) { // nearly always
        return &top_->object;
    }
    return own_object(n);
}

// Makes the frames down to that of an object this context's own.
dr_meta_object_c* dr_meta_context_c::own_object(unsigned n) {
    if (is_visiting_ && n > 0) {
        put_frames_aside();
    }
    for (frame_s** link = &top_; *link != nullptr; link = &(*link)->below) {
        frame_s* frame = *link;
        if (frame->refs > 1) {
            auto* own = new frame_s(frame->object, frame->below);
            if (own->below != nullptr) {
                ++own->below->refs;
            }
            --frame->refs;
            *link = frame = own;
        }
        assert(frame->refs == 1); // nobody else sees what is written
        if (n-- == 0) {
            return &frame->object;
        }
    }
    return nullptr;
}

unsigned dr_meta_context_c::depth() const {
    return top_ == nullptr ? 0 : top_->depth;
}

void dr_meta_context_c::set_element_offset(unsigned n, const void* ref) {
    if (dr_meta_object_c* object = writable_object(n)) {
        object->set_element_ref(ref);
    }
}

void dr_meta_context_c::set_top_type(dmn_type_e type) {
    if (top_ != nullptr && top_->object.type != type) {
        writable_object(0)->type = type;
    }
}

void dr_meta_context_c::set_attribute_ref(void* ref) {
    if (dr_meta_object_c* object = writable_object(0)) {
        object->attribute_ref = ref;
    }
}

void* dr_meta_context_c::get_attribute_ref() const {
    return top_ == nullptr ? nullptr : top_->object.attribute_ref;
}

void dr_meta_context_c::set_attribute_name(const char* name) {
    if (dr_meta_object_c* object = writable_object(0)) {
        object->attribute_name = name;
    }
}

dr_meta_context_c::maps_s& dr_meta_context_c::writable_maps() {
    if (is_visiting_) {
        put_maps_aside();
    }
    if (maps_ == nullptr) {
        maps_ = new maps_s;
    } else if (maps_->refs > 1) {
        auto* own = new maps_s(*maps_);
        own->refs = 1;
        --maps_->refs;
        maps_ = own;
    }
    assert(maps_->refs == 1);
    return *maps_;
}

void dr_meta_context_c::add_cached_value(const char* name, const std::string& value) {
    if (name != nullptr) {
        writable_maps().cached_values.insert_or_assign(name, value);
    }
}

const char* dr_meta_context_c::get_cached_value(const char* name) const {
    if (maps_ == nullptr || name == nullptr) {
        return nullptr;
    }
    const auto found = maps_->cached_values.find(name);
    return found == maps_->cached_values.end() ? nullptr : found->second.c_str();
}

void dr_meta_context_c::set_daemon_cookie(const char* name, void* cookie) {
    writable_maps().daemon_cookies.insert_or_assign(name, cookie);
}

void* dr_meta_context_c::get_daemon_cookie(const char* name) const {
    if (maps_ == nullptr) {
        return nullptr;
    }
    const auto found = maps_->daemon_cookies.find(name);
    return found == maps_->daemon_cookies.end() ? nullptr : found->second;
}

void dr_meta_context_c::set_filter_names(const names_ref_t& names) {
    if (maps_ == nullptr ? names != nullptr : maps_->filter_names != names) {
        writable_maps().filter_names = names;
    }
}

const dr_meta_context_c::names_ref_t& dr_meta_context_c::filter_names() const {
    static const names_ref_t none;
    return maps_ == nullptr ? none : maps_->filter_names;
}

void dr_meta_context_c::throw_no_memory() {
    no_memory_ = false;
    throw std::bad_alloc();
}

int dr_meta_context_c::call_enter_proc(dmn_type_e kind) {
    const dr_meta_object_c* obj = get_top_object();
    assert(obj);
    const dr_meta_node_c* node = obj->node;
    if (node->enter == nullptr || node->type != kind || obj->entered) {
        return DREND_OK;
    }
    writable_object(0); // made its own while nothing is owed
    const int result = node->enter->proc(this, node->enter->data);
    dr_meta_object_c* entered = writable_object(0);
    assert(entered->node == node &&
           !entered->entered); // it neither moved nor entered again
    entered->entered = true;
    entered->entered_by = this;
    check_memory();
    return result;
}

int dr_meta_context_c::call_exit_proc(dmn_type_e kind) {
    const dr_meta_object_c* obj = get_top_object();
    assert(obj);
    const dr_meta_node_c* node = obj->node;
    if (node->type != kind || !obj->entered || obj->entered_by != this) {
        return DREND_OK;
    }
    const int result =
        node->exit == nullptr ? DREND_OK : node->exit->proc(this, node->exit->data);
    writable_object(0)->entered = false;
    no_memory_ = false; // nothing is shown of what it stored
    return result;
}

int dr_meta_context_c::call_cont_proc() {
    const dr_meta_node_c* node = get_top_node();
    assert(node && node->cont_proc);
    const int result = node->cont_proc(this, node->data);
    check_memory();
    return result;
}

int dr_meta_context_c::call_leaf_proc(str_buf_s* out) {
    dr_value_c value;
    const int result = call_leaf_proc(value);
    return result == DREND_OK ? value.get_string(out) : result;
}

void dr_meta_context_c::push_object(dr_meta_node_c* node, const void* element_ref) {
    top_ = new frame_s(node, element_ref, top_);
}

void dr_meta_context_c::pop_object() {
    if (top_ == nullptr) {
        return;
    }
    frame_s* below = top_->below;
    assert(below == nullptr || top_->depth == below->depth + 1);
    if (top_->refs == 1) { // what it counted is this context's now
        delete std::exchange(top_, below);
        return;
    }
    if (below != nullptr) {
        ++below->refs;
    }
    --top_->refs;
    top_ = below;
}

// Of the first visit of a context, and after one that was touched.
void dr_meta_context_c::begin_visit(dr_meta_node_c* leaf, const void* element_ref) {
    end_visit();
    if (spare_ != nullptr) {
        use_spare(leaf, element_ref);
        return;
    }
    push_child(leaf, element_ref);
    is_visiting_ = true;
    is_touched_ = false;
}

void dr_meta_context_c::take_visit_back() {
    assert(top_ != nullptr && top_->object.is_leaf()); // the visited one
    if (top_->refs == 1 && top_->object.is_blank()) {
        spare_ = std::exchange(top_, top_->below);
    } else {
        pop_object();
    }
    if (frames_aside_ != nullptr) {
        release(std::exchange(top_, std::exchange(frames_aside_, nullptr)));
    }
    if (std::exchange(has_maps_aside_, false)) {
        release(std::exchange(maps_, maps_aside_));
    }
}

// The frames below the visited leaf are shared from here on, so that a write makes its own.
void dr_meta_context_c::put_frames_aside() {
    if (frames_aside_ == nullptr) {
        frames_aside_ = top_->below;
        ++frames_aside_->refs;
    }
}

void dr_meta_context_c::put_maps_aside() {
    is_touched_ = true;
    if (!has_maps_aside_) {
        has_maps_aside_ = true;
        maps_aside_ = maps_;
        if (maps_ != nullptr) {
            ++maps_->refs;
        }
    }
}

int dr_meta_context_c::push_path(const char* path, bool call_list,
                                 const void* element_ref) {
    return path == nullptr ? DREND_OK
                           : push_path(dr_nav_path_c(path), call_list, element_ref);
}

int dr_meta_context_c::push_path(const dr_nav_path_c& path, bool call_list,
                                 const void* element_ref) {
    for (const dr_nav_step_c& step : path.steps()) {
        const int status = push_step(step, call_list, element_ref);
        if (status != DREND_OK) {
            return status;
        }
    }
    return DREND_OK;
}

int dr_meta_context_c::push_step(const dr_nav_step_c& step, bool call_list,
                                 const void* element_ref) {
    switch (step.kind()) {
    case dr_nav_kind_e::CHILD:
        return push_named(step, call_list, element_ref);
    case dr_nav_kind_e::SELF:
        return DREND_OK;
    case dr_nav_kind_e::ROOT:
        release(std::exchange(top_, nullptr));
        push_object(dmn_get_root(), nullptr);
        return DREND_OK;
    case dr_nav_kind_e::UP:
        if (depth() <= 1) {
            return DREND_ERR; // the root stays
        }
        pop_object();
        return DREND_OK;
    case dr_nav_kind_e::BROKEN:
        break;
    }
    return DREND_ERR;
}

void dr_meta_context_c::push_child(dr_meta_node_c* child, const void* element_ref) {
    assert(top_ != nullptr && get_top_node()->find_child(child->name.c_str()) == child);
    if (child->is_list()) {
        push_object(child, nullptr);
        return;
    }
    push_object(child, row_of_child(element_ref));
}

int dr_meta_context_c::push_named(const dr_nav_step_c& step, bool call_list,
                                  const void* element_ref) {
    if (dri_trace_on(DREND_TRACE_WALK)) {
        drend_debug_trace("DR_TAGS_ACCESS: %s: child %s\n", "push_path",
                          step.name().c_str());
    }
    dr_meta_node_c* child = top_ == nullptr ? nullptr : step.find_in(top_->object.node);
    if (child == nullptr) {
        return DREND_ERR;
    }
    push_child(child, element_ref);
    if (!child->is_list()) {
        return DREND_OK;
    }
    if (call_list) {
        const names_ref_t outer = filter_names();
        set_filter_names(nullptr);
        call_list_proc();
        set_filter_names(outer);
        return DREND_OK;
    }
    return step.key() == nullptr ? DREND_OK : select_row(*step.key(), element_ref);
}

// Makes the row of the list on top current whose key leaf reads as the key's value.
int dr_meta_context_c::select_row(const dr_nav_key_s& key, const void* element_ref) {
    dr_meta_node_c* key_leaf = get_top_node()->find_child(key.name);
    if (key_leaf == nullptr) {
        fprintf(stderr, "Leaf %s not found from element_ref", key.name.c_str());
        pop_object();
        return DREND_ERR;
    }
    std::string wanted = key.value;
    if (wanted.starts_with('/')) {
        // The value may name a leaf that holds the key; otherwise the text itself is the
        // key.
        dr_meta_context_c elsewhere;
        dr_str_buf_c text;
        if (elsewhere.push_path(wanted.c_str(), false, element_ref) == DREND_OK &&
            elsewhere.call_leaf_proc(text.buf()) == DREND_OK) {
            wanted = text.c_str();
        }
    }
    const names_ref_t outer = filter_names();
    set_filter_names(std::make_shared<const names_t>(names_t{{key.name, wanted}}));
    const int status = find_row(key_leaf, wanted);
    set_filter_names(outer);
    return status;
}

int dr_meta_context_c::find_row(dr_meta_node_c* key_leaf, const std::string& wanted) {
    for (;;) {
        const int listed = call_list_proc();
        const void* row = get_element_offset(0);
        if ((listed != DREND_OK && listed != DREND_DEFER) || row == nullptr) {
            fprintf(stderr, "No entry found while trying to fetch element_ref for list %s",
                    get_top_node()->name.c_str());
            return drop_list(DREND_ERR);
        }
        dr_value_c value;
        dr_value_c::scratch_t scratch;
        std::string_view text;
        push_object(key_leaf, row);
        const int read = call_leaf_proc(value);
        pop_object();
        if (read != DREND_OK || !value.get_text(text, scratch)) {
            fprintf(stderr, "Leaf accessor for %s returned error", key_leaf->name.c_str());
            return drop_list(DREND_ERR);
        }
        if (text == wanted) {
            set_top_type(DMN_TYPE_LIST_EL);
            return DREND_OK;
        }
    }
}

// Gives the list on top up; an iterator that drove it goes with it.
int dr_meta_context_c::drop_list(int status) {
    set_top_element(nullptr);
    pop_object();
    return status;
}
