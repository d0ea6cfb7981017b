// SPDX-License-Identifier: BSD-2-Clause

// dr_json_cwalker_c: JSON output.
//
// Everything is printed when it opens; the comma stack says, for each open object or array, whether
// something stands in it already:
//
//     {  "interfaces" : {  "interface" : [{  "name" : "lo",  "mtu" : "65536"  }, ...
//     0  1                 2              3
//
//  1. Every value is a JSON string, numbers included.
//  2. Below a root that is not printed itself (definitions merged under one name) the answer is one
//     object, which opens with the first output; nothing is sent when nothing is printed.
//  3. A command whose own top tag is a list prints that member alone, without an object around it.
//  4. A row's keys come first, and are skipped where they stand. A key that could not be read ahead
//     is an ordinary leaf of its row.
//  5. An array has no names: what stands in the row of a leaf-list is printed without its own.
//  6. Where the answer ends early, "cursor" is its last member.
//  7. Internal tags are printed like any other.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "render/drend_context_walker.h"

class dr_json_cwalker_c : public dr_context_walker_c {
  public:
    dr_json_cwalker_c(dr_tags_access_context_c& context, void* peer)
        : dr_context_walker_c(context, peer) {}

    int finalize() override;
    void push(const drend_tag_object_c* tobj) override;
    void push_value(const drend_tag_object_c* tobj, const dr_value_c& value) override;
    void push_value_private(const drend_tag_object_c* tobj,
                            const dr_value_c& value) override;
    void leaf(const dr_row_kid_s& leaf, const dr_value_c& value) override;
    dr_row_shape_s row_shape() const override;
    void pop(const drend_tag_object_c* tobj) override;
    // 1 when nothing is open any more, else 0.
    int pop_private(const drend_tag_object_c* tobj) override;
    void push_private(const drend_tag_object_c* tobj) override;
    void list_start(const drend_tag_object_c* tobj) override;
    void list_stop(const drend_tag_object_c* tobj) override;
    int indent_level() const override;

  private:
    // What an open level has seen so far.
    enum level_e : char {
        EMPTY,
        WRITTEN,       // a member or element stands in it
        LEAF_LIST_ROW, // a row of a leaf-list, which prints nothing itself
    };

    bool is_left_out(const drend_tag_c& tag) const;
    bool is_in_leaf_list_row() const {
        return !levels_.empty() && levels_.back() == LEAF_LIST_ROW;
    }
    bool has_hidden_root() const;
    void open_answer(const drend_tag_c& tag);
    bool begin_member();
    void open_element(const drend_tag_object_c* tobj);
    void make_opening(const drend_tag_c& tag, bool wrote_before, int level);
    void open_member(const drend_tag_object_c* tobj);
    void end_answer(std::string_view closing);
    void close_object(const drend_tag_object_c* tobj);
    // A leaf has no level on the comma stack, for nothing stands in it.
    int leaf_level() const { return dr_json_cwalker_c::indent_level() + 1; }
    void print_leaf(const drend_tag_c& tag, const dr_value_c& value);

    std::vector<level_e> levels_;
    std::string opening_;           // of what is being printed
    bool answer_is_object_ = false; // the object below a hidden root is open
    // The lists whose brackets are open, and whether they opened for a single selected row.
    struct list_s {
        const drend_tag_object_c* tobj;
        bool is_single_row;
    };
    std::vector<list_s> lists_;
};
