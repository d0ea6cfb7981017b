// SPDX-License-Identifier: BSD-2-Clause

// dr_nested_cwalker_c: what the forms for programs have in common, whatever their brackets are.
//
// Elements are opened when something is printed inside them, so that what turns out to be empty is
// never printed.
//
//     open_      document   interfaces   interface + keys { name = lo }   ipv4
//                ------------------- printed_ = 2
//     value arrives:  open the rest, outermost first and each row with its keys, then the value
//
//  1. What is printed is a prefix of what is open.
//  2. Internal tags print nothing themselves: what is inside them belongs to what encloses them.
//  3. What a leaf prints in the row of a leaf-list is a value of the list, under its name. The
//     value of a leaf-list that stands elsewhere has neither name nor place, and is left out.
//  4. A row's keys come first, and are skipped where they stand. A key that could not be read ahead
//     is an ordinary leaf of its row.
//  5. The same elements and values are printed in all of these forms, and in XML.
#pragma once

#include <string>
#include <vector>

#include "frame/escape.h"
#include "render/dr_tags_access_context.h"
#include "render/drend_context_walker.h"

// How a form is to look.
struct dr_look_s {
    bool is_compact = false; // no line ends and indentation
    bool is_ascii = false;   // characters of values outside ASCII as escapes
};

class dr_nested_cwalker_c : public dr_context_walker_c {
  public:
    // Closes the document and flushes.
    int finalize() override;
    void push(const drend_tag_object_c* tobj) override;
    void push_value(const drend_tag_object_c* tobj, const dr_value_c& value) override;
    dr_row_shape_s row_shape() const override { return shape_in(open_.back()); }
    void pop(const drend_tag_object_c* tobj) override;

  protected:
    // An element that is open, or a tag that is none itself.
    struct open_s {
        const drend_tag_object_c* tobj = nullptr; // null: the document
        const dr_scope_c* scope = nullptr;        // inside
        const drend_tag_c* leaf_list = nullptr;   // whose row is open; null: none is
        int level = 0;                            // of what is inside
        bool is_element = true;
        bool is_mute = false; // no leaf is printed here
    };

    dr_nested_cwalker_c(dr_tags_access_context_c& context, void* peer,
                        dr_text_format_e format, bool is_compact,
                        const dri_escaper_s& escaper);

    // Called before anything is pushed or printed, when the top of the walk is known.
    virtual void begin() {}
    // What a container or row is inside of `outer`.
    virtual open_s inside_of(const drend_tag_object_c* tobj, const open_s& outer) const;
    virtual void print_opening(const open_s& opened, const open_s& outer) = 0;
    virtual void print_closing(const open_s& closed, const open_s& outer) = 0;
    // A key of a row, inside it.
    virtual void print_key(const dr_list_key_val& key, const open_s& row) = 0;
    // A leaf under the name of `named`, itself or the leaf-list that it is a value of.
    virtual void print_leaf(const drend_tag_c& named, const drend_tag_c& tag,
                            const dr_value_c& value) = 0;

    // Where the answer goes on, when it ends early and nothing else is printed.
    virtual void print_cursor_alone() {}

    // Opens what is not printed yet.
    void open_all();
    // Begins a leaf. Whether its texts in its row are to be printed, now; else it was printed in
    // another way, or is left out.
    bool begin_row_leaf(const dr_row_kid_s& leaf, const dr_value_c& value) {
        constexpr uint32_t special =
            DT_FLAG_KEY | DT_FLAG_ZERO_SUPPRESSION | DT_FLAG_INTERNAL;
        const bool is_usual =
            is_ready_ && !leaf.opening.empty() && !leaf.tag->isset_flag(special);
        return is_usual || begin_other_leaf(leaf, value);
    }
    dr_row_shape_s shape_in(const open_s& outer) const {
        return {format_, outer.level, is_compact_, outer.scope};
    }
    // The texts of a key leaf in the row that it is a key of, or null.
    static const dr_row_kid_s* in_row(const dr_list_key_val& key);

    const bool is_compact_;
    const dri_escaper_s& escaper_;
    std::vector<open_s> open_; // the document first
    std::string opening_;      // of what is being printed
    std::string closing_;

  private:
    void print_keys(const open_s& row);
    [[gnu::noinline]] bool begin_other_leaf(const dr_row_kid_s& leaf,
                                            const dr_value_c& value);
    bool is_left_out(const drend_tag_c& tag, const dr_value_c& value);
    void begin_once() {
        if (!has_begun_) {
            has_begun_ = true;
            begin();
        }
    }
    // Notes whether all is open, and leaves are printed under their own names.
    void note_place() {
        const open_s& place = open_.back();
        is_ready_ =
            printed_ == open_.size() && place.leaf_list == nullptr && !place.is_mute;
    }

    const dr_text_format_e format_;
    size_t printed_ = 0;
    bool has_begun_ = false;
    bool is_ready_ = false;
};
