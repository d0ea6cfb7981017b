// SPDX-License-Identifier: BSD-2-Clause

// The meta context: a walk's position in the daemon's data, and the one place from which
// the daemon's procedures are called.
//
// A context is a stack of meta objects, root first, each pairing a node with the daemon's
// reference of the row it stands for. To the outside it is a value: copies diverge. Inside,
// copies share frames and maps until one of them writes:
//
//     copy A  --> [mtu ]--+
//                         +--> [interface, row 7] --> [interfaces] --> [root]
//     copy B  --> [name]--+
//
//  1. A frame that more than one context or frame points to is never written; writable_object
//     makes the frames from the top down to the wanted one private first.
//  2. Frames come from a pool of the thread that makes them, so moving allocates nothing in the
//     steady state. A context and its copies stay on one thread.
//  3. An object is entered by one context. Its copies know that it is entered, and neither enter
//     it again nor exit it.
#pragma once

#include <cassert>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "frame/dr_block_pool.h"
#include "frame/drend_value.h"
#include "model/dr_nav_path.h"
#include "model/drend_meta_tree.h"

// The handle that procedures receive; the context itself.
struct dr_meta_context_s {};

class dr_meta_context_c;

class dr_meta_object_c {
  public:
    dr_meta_object_c(dr_meta_node_c* node_, const void* element_ref_)
        : node(node_), type(node_->type), element_ref(element_ref_) {}

    bool is_leaf() const { return type == DMN_TYPE_LEAF; }
    bool is_list() const { return type == DMN_TYPE_LIST; }
    bool is_list_el() const { return type == DMN_TYPE_LIST_EL; }
    bool is_cont() const { return type == DMN_TYPE_CONT; }

    // Whether no accessor has left anything in it.
    bool is_blank() const {
        return attribute_ref == nullptr && attribute_name.empty() && iterator == nullptr &&
               !entered;
    }

    // Replaces the row's reference. An iterator that the library made for the row before is
    // let go.
    void set_element_ref(const void* ref) {
        if (iterator && iterator.get() != ref) {
            let_iterator_go();
        }
        element_ref = ref;
    }

    dr_meta_node_c* node;
    dmn_type_e type;         // the node's kind; DMN_TYPE_LIST_EL while a row is current
    const void* element_ref; // the daemon's pointer to the row
    void* attribute_ref = nullptr;
    std::string attribute_name;
    std::list<dr_meta_node_c*>::iterator
        child_pos{};      // where a resumed visit of the children is
    bool entered = false; // between enter and exit
    const dr_meta_context_c* entered_by = nullptr; // who owes the exit
    std::shared_ptr<drend_iterator_c> iterator;    // drives the list; also its element_ref

  private:
    [[gnu::noinline]] void let_iterator_go() { iterator.reset(); }
};

class dr_meta_context_c : public dr_meta_context_s {
  public:
    using names_t = std::map<std::string, std::string>;
    // Shared by whoever hands them on, so that the same ones are known by their address.
    using names_ref_t = std::shared_ptr<const names_t>;

    dr_meta_context_c() = default;
    dr_meta_context_c(const dr_meta_context_c& other);
    dr_meta_context_c& operator=(const dr_meta_context_c& other);
    ~dr_meta_context_c();

    // --- the stack; absent objects give null, and writing to one does nothing ---

    const dr_meta_object_c* get_top_object() const {
        return top_ == nullptr ? nullptr : &top_->object;
    }
    dr_meta_node_c* get_top_node() const {
        return top_ == nullptr ? nullptr : top_->object.node;
    }
    // The object `n` places below the top.
    const dr_meta_object_c* get_object_offset(unsigned n) const;
    // The same for writing; valid until this context moves or is copied.
    dr_meta_object_c* writable_object(unsigned n);
    unsigned depth() const;

    void set_element_offset(unsigned n, const void* ref);
    const void* get_element_offset(unsigned n) const {
        if (n == 0 && top_ != nullptr) { // asked for by nearly every accessor
            return top_->object.element_ref;
        }
        const dr_meta_object_c* object = get_object_offset(n);
        return object == nullptr ? nullptr : object->element_ref;
    }
    void set_top_element(const void* ref) { set_element_offset(0, ref); }
    // What kind of thing the top object stands for; does not touch the node.
    void set_top_type(dmn_type_e type);
    void set_attribute_ref(void* ref);
    void* get_attribute_ref() const;
    void set_attribute_name(const char* name);

    // --- what accessors leave for each other ---

    void add_cached_value(const char* name, const std::string& value);
    // The text, valid until it is replaced or the context dies, or null.
    const char* get_cached_value(const char* name) const;
    void set_daemon_cookie(const char* name, void* cookie);
    void* get_daemon_cookie(const char* name) const;
    // What a list procedure may seek by: meta names of key leaves and the texts they must
    // equal. Null for none.
    void set_filter_names(const names_ref_t& names);
    const names_ref_t& filter_names() const;

    // --- moving ---

    // Moves along a path. DREND_OK, or DREND_ERR with the objects pushed so far left in
    // place. A null path changes nothing. `element_ref` is given to objects that would
    // inherit none; `call_list` makes the first row of each list on the way current.
    int push_path(const char* path, bool call_list, const void* element_ref);
    int push_path(const dr_nav_path_c& path, bool call_list, const void* element_ref);
    // Moves to a child of the top node; a list's object starts without a row.
    void push_child(dr_meta_node_c* child, const void* element_ref = nullptr);
    // Drops the top object, if any, without calling anything.
    void pop_object();

    // A visit: down to `leaf`, a leaf below the top node, and back up. What is stored in this
    // context during a visit is gone after it, as if a copy had been moved there. A visit costs
    // less than a copy, for nearly no accessor stores anything: what it would change is put aside
    // when it does. During a visit, ends it and begins that of another leaf below the same node.
    [[gnu::always_inline]] void visit_leaf(dr_meta_node_c* leaf, const void* element_ref) {
        assert(top_ != nullptr && leaf->is_leaf());
        if (is_visiting_ && !is_touched_) {
            top_->object.node = leaf;
        } else if (!is_visiting_ && spare_ != nullptr) {
            use_spare(leaf, element_ref);
        } else {
            begin_visit(leaf, element_ref);
        }
    }
    bool is_visiting() const { return is_visiting_; }
    // No-op when there is none.
    void end_visit() {
        if (!std::exchange(is_visiting_, false)) {
            return;
        }
        if (is_touched_) {
            take_visit_back();
        } else {
            assert(top_->refs == 1 && top_->object.is_blank());
            spare_ = std::exchange(top_, top_->below);
        }
    }
    // Takes over the memory that another context keeps for its next visit.
    void take_spare(dr_meta_context_c& other) {
        if (spare_ == nullptr) {
            spare_ = std::exchange(other.spare_, nullptr);
        }
    }

    // --- calling the daemon; the top object must exist ---
    //
    // Whether a procedure looks at the results of the calls that it makes is the daemon's affair;
    // once memory ran out in one of them, the call below throws std::bad_alloc all the same.

    // Calls the procedure when the node's kind is `kind` and the object is not entered yet,
    // or is entered by this context. DREND_OK when nothing was called.
    int call_enter_proc(dmn_type_e kind);
    int call_exit_proc(dmn_type_e kind);
    int call_list_proc();
    int call_cont_proc();
    int call_leaf_proc(dr_value_c& value);
    // The value's text; what the procedure or the conversion returned.
    int call_leaf_proc(str_buf_s* out);

    // Where the running leaf procedure's value goes; null outside a leaf call.
    dr_value_c* value() const { return value_; }

    // For a thread that will make contexts, while it starts: the first one that is dropped then
    // needs no memory.
    static void prepare_thread() { frame_s::arm_pool(); }

    // Memory ran out in a call that was made from this context: noted by the call, thrown by
    // whoever called the daemon, once it is back.
    void note_no_memory() { no_memory_ = true; }
    void check_memory() {
        if (__builtin_expect(no_memory_, false)) {
            throw_no_memory();
        }
    }

  private:
    [[noreturn, gnu::cold]] void throw_no_memory();

    struct frame_s : dr_pooled_c<frame_s> {
        frame_s(dr_meta_node_c* node, const void* element_ref, frame_s* below_)
            : object(node, element_ref), below(below_),
              depth(below_ == nullptr ? 1 : below_->depth + 1) {}
        frame_s(const dr_meta_object_c& object_, frame_s* below_)
            : object(object_), below(below_),
              depth(below_ == nullptr ? 1 : below_->depth + 1) {}

        // For a blank object: what a new frame would be.
        void stand_for(dr_meta_node_c* node, const void* element_ref, frame_s* below_) {
            assert(object.is_blank() && refs == 1);
            object.node = node;
            object.type = node->type;
            object.element_ref = element_ref;
            below = below_;
            depth = below_->depth + 1;
        }

        dr_meta_object_c object;
        frame_s* below;    // counted in its refs
        unsigned refs = 1; // contexts and frames that point here
        unsigned depth;
    };
    struct maps_s;

    void push_object(dr_meta_node_c* node, const void* element_ref);
    int push_step(const dr_nav_step_c& step, bool call_list, const void* element_ref);
    int push_named(const dr_nav_step_c& step, bool call_list, const void* element_ref);
    int select_row(const dr_nav_key_s& key, const void* element_ref);
    int find_row(dr_meta_node_c* key_leaf, const std::string& wanted);
    int drop_list(int status);
    maps_s& writable_maps();
    [[gnu::noinline]] dr_meta_object_c* own_object(unsigned n);
    // The row that a child of the top object, not itself a list, belongs to.
    const void* row_of_child(const void* element_ref) const {
        const void* inherited = top_->object.element_ref;
        return inherited != nullptr ? inherited : element_ref;
    }
    void use_spare(dr_meta_node_c* leaf, const void* element_ref) {
        spare_->stand_for(leaf, row_of_child(element_ref), top_);
        top_ = std::exchange(spare_, nullptr);
        is_visiting_ = true;
        is_touched_ = false;
    }
    void put_frames_aside();
    void put_maps_aside();
    void begin_visit(dr_meta_node_c* leaf, const void* element_ref);
    [[gnu::noinline]] void take_visit_back();
    static void release(frame_s* frame);
    static void release(maps_s* maps);

    frame_s* top_ = nullptr;
    maps_s* maps_ = nullptr; // null while all three maps are empty
    dr_value_c* value_ = nullptr;
    bool no_memory_ = false;

    // During a visit: what there was before it, once that was written to. Until something is
    // written, or copied, the visited frame is all that there is to take back.
    bool is_visiting_ = false;
    mutable bool is_touched_ = false;
    bool has_maps_aside_ = false;
    frame_s* spare_ = nullptr; // of the last visit, for the next one
    frame_s* frames_aside_ = nullptr;
    maps_s* maps_aside_ = nullptr;
};

// Inline, for every leaf takes this way.
[[gnu::always_inline]] inline int dr_meta_context_c::call_leaf_proc(dr_value_c& value) {
    assert(top_ != nullptr);
    const dr_meta_node_c* node = top_->object.node;
    if (!node->is_leaf() || node->proc == nullptr) {
        return DREND_ERR;
    }
    dr_value_c* outer = std::exchange(value_, &value);
    const int result = node->proc(this, node->data);
    value_ = outer;
    check_memory();
    return result;
}

// Inline, for every row takes this way.
inline int dr_meta_context_c::call_list_proc() {
    assert(top_ != nullptr);
    const dr_meta_node_c* node = top_->object.node;
    if (!node->is_list() || node->proc == nullptr) {
        return DREND_ERR;
    }
    const int result = node->proc(this, node->data);
    const bool suspends = result == DREND_OK && dri_call_walk_suspend(this);
    check_memory();
    return suspends ? DREND_DEFER : result;
}

// What drend_get_skip_if_empty_leaf returns.
extern int dri_skip_if_empty_leaf;

// The context behind a procedure's handle.
inline dr_meta_context_c* dri_get_meta_context(dr_meta_context_s* ctx) {
    return static_cast<dr_meta_context_c*>(ctx);
}
