// dr_tags_access_context_c: the walk of one request.
//
// The walk visits the definition's tags depth first, moves the daemon's context along with them and
// hands tags and values to a walker, which prints them. It can stop at any leaf or row and go on
// later; what is unfinished is kept as one frame for each tag being walked:
//
//     frame stack     tag stack         what a resumption does
//     leaf            mtu               reads the leaf again
//     container       interface         goes on with the kid after it
//     list            interface         goes on with the next row, or with the rest of the
//                                       predicates that its row is judged by
//     container       interfaces        ...
//
//  1. The walk is running, suspended (frames left, root tag in use) or finished (no frames).
//  2. Each frame is popped by the function that finishes its tag. A walk that cannot go on, because
//     its peer is lost or because it is deleted, gives everything back in give_up().
//  3. The root tag is put in use once and taken out once.
//
// A context belongs to the daemon's thread.
#pragma once

#include <vector>

#include "definitions/dr_tags_context.h"
#include "expr/dr_xp_parser.h"
#include "expr/drend_value_lookup.h"

class dr_context_walker_c;

// One frame of the walk.
struct dr_defer_context_c {
    enum kind_e : int { LEAF = 1, CONT = 2, LIST = 3 };

    drend_tag_object_c* tobj; // not owned
    int kind;
    size_t predicate = 0; // of a list: the one that its row is to be judged by next
};

class dr_tags_access_context_c : public dr_tags_context_c {
  public:
    // `element_ref` is the daemon's object that the top of the walk starts from, or null.
    explicit dr_tags_access_context_c(void* element_ref);
    dr_tags_access_context_c* defer_continue() override;
    ~dr_tags_access_context_c() override;

    void set_element_ref(void* element_ref) { element_ref_ = element_ref; }

    // --- rendering ---

    // Renders the tag on top of the tag stack with `walker`, or with the one it holds when that is
    // null; the walker stays the caller's. DREND_DEFER when the walk is suspended; DREND_ERR
    // without a tag or walker; else the last status met.
    int get_value(dr_context_walker_c* walker);

    int walk_tree(dr_context_walker_c* walker);
    // A null frame starts the top tag afresh, another one resumes it. `filter` tells whether the
    // tag's filter still has to be applied.
    int walk_cont(dr_context_walker_c* walker, dr_defer_context_c* frame, bool filter);
    int walk_list(dr_context_walker_c* walker, dr_defer_context_c* frame);
    int walk_leaf(dr_context_walker_c* walker, dr_defer_context_c* frame);

    // --- moving by tag ---

    // Pushes a tag and, when it has a source, the daemon's context moved along it. 0, or the
    // status of the move, with nothing pushed.
    int push_tag(const drend_tag_c* tag);
    // 0, or -1 on the root tag, which stays.
    int pop_tag();
    // Pushes the tags that a path of kids' names leads through, for a look-up: the step filters
    // stay where they are. A name that is no kid's is sought below the hidden kids. 0, or DREND_ERR
    // with nothing pushed.
    int push(const char* path);
    // Takes back what the last push pushed.
    void pop();
    // For walkers that print keys ahead: a tag on the tag stack alone, and off again.
    void push_key_tag(const drend_tag_c* tag);
    void pop_key_tag();

    // --- tests and look-ups; none of them suspends, a DREND_DEFER is a failed read ---

    bool filter_match(const drend_tag_object_c* tobj) {
        return tobj->dto_filter == nullptr || step_match(tobj);
    }
    bool style_match(const drend_tag_c* tag) const {
        return requested_style.empty() || tag->dt_styles.empty() || has_style(tag);
    }
    bool presence_on(const drend_tag_c* tag);
    // The text of the leaf that the tag path leads to ("": the top tag) as its output would show
    // it. 0, or DREND_ERR with `out` untouched, also when the leaf's procedure set no value.
    int get_leaf_value(const char* path, dr_str_buf_c& out);
    // Replaces a text "=..." by its value. 0, also for other texts, or -1 with the text untouched.
    int eval_expression(str_buf_s* text);

    dr_meta_node_c* get_top_meta_type_node(unsigned n) const;
    const dr_meta_object_c* get_top_meta_type_object(unsigned n) const;
    int get_top_tag_mobj(const drend_tag_c** tag, const dr_meta_object_c** object) const;

    // --- rows of the list on top ---

    int get_first_element();
    // `context` null: the top meta context.
    int get_next_element(dr_meta_context_c* context);

    // While set, values are shown as the daemon gives them, without the value map; look-ups give
    // them without the digits of a decimal64, too.
    bool raw_values = false;

  private:
    bool settle(int status);
    void give_up();
    void exit_entered();
    void mark_in_use(const drend_tag_c* tag);
    void release_in_use();
    void trace_position(const drend_tag_object_c* tobj) const;

    bool open_cont(dr_context_walker_c* walker, drend_tag_object_c* tobj, bool filter);
    int walk_dynamic_kids(dr_context_walker_c* walker, drend_tag_object_c* tobj);
    int walk_static_kids(dr_context_walker_c* walker, drend_tag_object_c* tobj, int status);
    bool next_dynamic_kid(drend_tag_object_c* tobj, const drend_tag_c*& kid);
    bool is_on_row() const {
        const dr_meta_object_c* object = get_top_meta_type_object(0);
        return object != nullptr && object->is_list_el();
    }
    int suspend_leaf(drend_tag_object_c* tobj, bool is_fresh);
    int walk_row(dr_context_walker_c* walker, drend_tag_object_c* tobj, int row_status);
    int read_leaf(dr_context_walker_c* walker, const drend_tag_object_c* tobj, bool& shown,
                  dr_value_c& value);
    bool is_suppressed(const drend_tag_object_c* tobj, const dr_value_c& value) const;

    bool step_match(const drend_tag_object_c* tobj);
    bool step_is_for(const drend_tag_object_c* tobj) const;
    int judge_row(const drend_tag_object_c* tobj);
    bool row_has_to_wait() const;
    bool has_style(const drend_tag_c* tag) const;
    bool predicate_match(const drend_tag_object_c* tobj,
                         const dr_xp_predicate_s& predicate);
    void gather_filter_names(drend_tag_object_c* tobj);
    void hand_off_filter(dr_meta_context_c* context) const;
    int push_for_lookup(const drend_tag_c* tag);
    void pop_after_lookup(unsigned count);
    unsigned push_component(const char* name);
    int read_top_leaf(dr_str_buf_c& out);
    int translate(const drend_tag_object_c* tobj, dr_value_c& value);
    int eval_terms(const std::vector<dr_map_term_s>& terms, std::string& out);

    void* element_ref_;
    dr_context_walker_c* walker_ = nullptr; // not owned
    std::vector<dr_defer_context_c> frames_;
    drend_tag_object_c* command_tag_ =
        nullptr;                          // the top of the walk while it is in progress
    const drend_tag_c* in_use_ = nullptr; // the root tag whose use is owed back
    dr_value_c leaf_value_;               // of the leaf being walked; keeps its memory
    std::vector<unsigned> pushed_;        // how many tags each push pushed
};

// Names in expressions, looked up where a walk is.
class drend_tags_access_context_value_lookup_c final : public drend_value_lookup_c {
  public:
    explicit drend_tags_access_context_value_lookup_c(dr_tags_access_context_c& context)
        : context_(context) {}

    bool get_value(const char* name, dr_str_buf_c& out) override;
    void get_local_name(dr_str_buf_c& out) override;
    // Only names whose daemon's leaf is a field of the current row and is shown without a value
    // map, so that a list procedure may seek by them.
    bool get_meta_name(const char* name, dr_str_buf_c& out) override;

  private:
    dr_tags_access_context_c& context_;
};
