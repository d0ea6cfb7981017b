// SPDX-License-Identifier: BSD-2-Clause

// dr_xml_cwalker_c: XML output.
//
// An element that turns out to be empty is never printed: opening tags are held back, in the
// pending buffer, until something is printed inside them.
//
//     pending   0 <interfaces>   1 <interface> + keys { name = lo }   2 <mtu>
//     value arrives:  print all of them, outermost first, then the value and </mtu>
//
//  1. The pending buffer is ordered by level; what is pending encloses what comes next.
//  2. A row's keys are read when the row opens and printed directly behind its opening tag; a key
//     that was printed so is not printed again where it stands among the leaves. A key whose
//     read failed is an ordinary leaf.
//  3. Internal tags print nothing themselves. The value of a leaf-list has no tags of its own,
//     whatever its type.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "render/dr_tags_access_context.h"
#include "render/drend_context_walker.h"

class dr_xml_cwalker_c : public dr_context_walker_c {
  public:
    // With `wrap_in_data` the whole output stands in an element "data".
    dr_xml_cwalker_c(dr_tags_access_context_c& context, void* peer, bool wrap_in_data);

    void initialize() override;
    int finalize() override;
    void push(const drend_tag_object_c* tobj) override;
    void push_value(const drend_tag_object_c* tobj, const dr_value_c& value) override;
    void push_value_private(const drend_tag_object_c* tobj,
                            const dr_value_c& value) override;
    void leaf(const dr_row_kid_s& leaf, const dr_value_c& value) override;
    dr_row_shape_s row_shape() const override {
        return {dr_text_format_e::XML, level_at_depth(context_.tag_depth() + 1)};
    }
    void pop(const drend_tag_object_c* tobj) override;
    int pop_private(const drend_tag_object_c* tobj) override;
    void push_private(const drend_tag_object_c* tobj) override;
    int indent_level() const override;

  private:
    struct pending_s {
        int level;
        const drend_tag_object_c* tobj;
    };

    int level_at_depth(size_t depth) const;
    bool is_held_back(const drend_tag_object_c* tobj) const;
    void hold_back(const drend_tag_object_c* tobj);
    void print_opening(const drend_tag_object_c* tobj);
    void print_opening_line(const drend_tag_object_c& tobj, int level);
    void print_closing_line(const drend_tag_object_c& tobj);
    void flush_tag_stack_buffer();
    void print_keys(const drend_tag_object_c* tobj);
    void print_key(const dr_list_key_val& key);
    [[gnu::noinline]] bool is_left_out(const drend_tag_c& tag, const dr_value_c& value);
    void print_leaf(const drend_tag_c& tag, const dr_value_c& value);
    bool dont_print_empty_tag(const drend_tag_object_c* tobj) const;
    void remove_key_val(int level, const drend_tag_object_c* tobj);

    std::vector<pending_s> pending_;
    std::string opening_; // of the leaf being printed
    const bool wrap_in_data_;
    // What a tag's depth on the stack is more than its level; 0 until it is known.
    mutable int levels_above_ = 0;
};
