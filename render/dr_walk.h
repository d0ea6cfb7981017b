// SPDX-License-Identifier: BSD-2-Clause

// dr_walk_c: the walk over a definition's tags, from its first byte to its last, in slices.
//
// What is unfinished is a frame for each tag being walked; one loop goes on with the frame on top,
// whether the walk has just begun, comes from a kid or was suspended:
//
//     frame stack     tag stack         what going on with it means
//     leaf            mtu               the leaf is read again
//     container       interface (row)   the kids that are left, then the row's end
//     list            interface         the end of the row before, then the next row; or the rest
//                                       of the predicates that the current row is judged by
//     container       interfaces        ...
//
//  1. A step of the loop prints what it can, and ends when it has pushed a frame (a kid's), popped
//     its own, or has to stop. Only leaves that are suspended have frames.
//  2. The walk stops when it is suspended, or when its peer is lost; frames stay. It is over when
//     there are none.
//  3. Plain kids (dr_row_c) are read and printed in a tight loop without tag objects, as long as
//     nobody watches: no trace, no start handler, no filter step that they would take.
//
// Belongs to one context on the daemon's thread.
#pragma once

#include "definitions/dr_row.h"
#include "frame/dr_stack.h"
#include "frame/drend_value.h"
#include "render/dr_row_filter.h"

class dr_context_walker_c;
class dr_page_c;
class dr_tags_access_context_c;

// One frame of the walk.
struct dr_defer_context_c {
    enum kind_e : int { LEAF = 1, CONT = 2, LIST = 3 };

    dr_defer_context_c(drend_tag_object_c* tobj_, int kind_) : tobj(tobj_), kind(kind_) {}

    drend_tag_object_c* tobj; // not owned
    int kind;
    // Of a list: what its procedure said of the current row, and the slice in which the row began
    // to be shown; a row that was suspended in the middle gets no word of its end.
    int row_status = 0;
    unsigned row_slice = 0;
    size_t predicate = 0;      // the one that the current row is to be judged by next
    bool is_outermost = false; // a list that is in no other one
};

class dr_walk_c {
  public:
    dr_walk_c(dr_tags_access_context_c& context, dr_position_c& position,
              dr_row_filter_c& filter, dr_value_reader_c& reader)
        : context_(context), position_(position), filter_(filter), reader_(reader) {}

    // Limits what is walked, until it is told otherwise; null: everything is. Not owned.
    void set_page(dr_page_c* page) { page_ = page; }

    // Visits the tag on top of the tag stack with `walker`, and everything below it. DREND_DEFER
    // when the walk is suspended; else the last status met.
    int begin(dr_context_walker_c& walker);
    // Goes on after a suspension.
    int resume();
    // Drops the frames of a walk that cannot go on. Whether there were any.
    bool abandon();

    bool is_suspended() const { return status_ == DREND_DEFER && !frames_.empty(); }

    // Of the lists that are in no other one: whether the walk came to any, and how many of their
    // rows it has begun to show.
    bool has_lists() const { return has_lists_; }
    uint64_t rows_shown() const { return rows_shown_; }

    // Moves a list's context to its first or next row. What the list procedure said, or DREND_NO_EL
    // when it left no row.
    int first_row(dr_meta_context_c& context);
    int next_row(dr_meta_context_c& context);

  private:
    int run();
    bool must_stop() const;
    void close_frame();

    void watch_top() const;
    void visit_top();
    void walk_leaf(drend_tag_object_c* tobj);
    void walk_cont(drend_tag_object_c* tobj);
    void walk_list(drend_tag_object_c* tobj);

    void visit_leaf(drend_tag_object_c* tobj);
    void show_leaf(const drend_tag_object_c* tobj);
    bool read_leaf(dr_meta_context_c& context, const drend_tag_c& tag);
    bool judge_leaf(const drend_tag_c& tag);
    bool is_suppressed(const drend_tag_c& tag) const;

    void open_cont(drend_tag_object_c* tobj);
    void begin_kids(drend_tag_object_c* tobj);
    void enter_kids(drend_tag_object_c& tobj);
    bool walk_kid();
    bool passes_over(const drend_tag_object_c& tobj, const drend_tag_c& kid) const;
    bool walk_dynamic_kids(drend_tag_object_c* tobj);
    bool push_kid(const drend_tag_c* tag, const dr_row_kid_s* in_row);
    bool walk_static_kids(drend_tag_object_c* tobj);
    const dr_row_c* prepared_row(drend_tag_object_c* tobj);
    void walk_plain_kids(drend_tag_object_c* tobj, const dr_row_c& row);
    void suspend_visit(const drend_tag_c* leaf);

    void open_list(drend_tag_object_c* tobj);
    bool note_list(const drend_tag_object_c& tobj);
    void open_selected_row(drend_tag_object_c* tobj);
    bool end_row(drend_tag_object_c* tobj);
    bool begin_row(drend_tag_object_c* tobj);
    bool fetch_row(drend_tag_object_c* tobj);
    static int step_to_row(dr_meta_context_c& context);
    int judge_row(drend_tag_object_c* tobj);
    void end_early(drend_tag_object_c* tobj);
    void skip_rest();
    void close_list(drend_tag_object_c* tobj);

    void trace_position(const drend_tag_object_c* tobj) const;

    dr_tags_access_context_c& context_;
    dr_position_c& position_;
    dr_row_filter_c& filter_;
    dr_value_reader_c& reader_;
    dr_context_walker_c* walker_ = nullptr; // not owned; set by begin
    dr_page_c* page_ = nullptr;

    dr_stack_c<dr_defer_context_c> frames_;
    dr_value_c value_; // of the leaf being walked; keeps its memory
    bool has_lists_ = false;
    uint64_t rows_shown_ = 0;
    int status_ = 0;     // the last one met
    unsigned slice_ = 0; // counts them
};
