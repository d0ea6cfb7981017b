// SPDX-License-Identifier: BSD-2-Clause

// dr_page_c: how much of an answer a request wants: how many levels, how many rows, and from where
// on.
//
//     limit=2      /routes/route    a, b shown; c is one too many: the answer ends there
//                                   and says where to go on, behind b
//     cursor of b  /routes/route    straight to b, which is not shown; c, d shown
//     depth=2      /routes/route    the rows with their keys, and nothing below them
//
//  1. The rows that count are those of the outermost lists that have more than one row; those of
//     several such lists count together. A list has one row when the filter says what all its keys
//     are, or when the daemon has no second one.
//  2. Behind the last row that was wanted the walk goes on as far as the next one that the filter
//     shows: an answer says that there is more when there is.
//  3. Of a container that a cursor leads through, what comes before is not shown again.
//
// Belongs to one walk on the daemon's thread; what is asked of it is asked for containers, lists
// and rows only, and only in requests that want less than everything.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "definitions/dr_position.h"
#include "render/dr_cursor.h"
#include "render/dr_row_filter.h"
#include "render/dr_value_reader.h"

struct dr_page_wish_s {
    uint64_t limit = 0;                        // rows; 0: all
    unsigned depth = 0;                        // levels; 0: all
    bool rows_only = false;                    // neither leaves nor leaf-lists
    std::shared_ptr<const dr_cursor_s> behind; // null: from the beginning

    bool is_everything() const {
        return limit == 0 && depth == 0 && !rows_only && behind == nullptr;
    }
};

class dr_page_c {
  public:
    dr_page_c(const dr_page_wish_s& wish, dr_position_c& position, dr_row_filter_c& filter,
              dr_value_reader_c& reader)
        : wish_(wish), position_(position), filter_(filter), reader_(reader),
          is_seeking_(wish.behind != nullptr) {}

    // The container on top, or the row of the list on top, begins: notes in it whether some of its
    // kids are not to be walked.
    void restrict(drend_tag_object_c& tobj);
    // Whether such a kid of it, the next in whatever order they are walked, is not.
    bool passes_over(const drend_tag_c& in, const drend_tag_c& kid) const;
    // The list on top begins.
    void list_begins(drend_tag_object_c& tobj);
    // Whether the row of the list on top, which the filter shows, is wanted. Once the page is full
    // none is.
    bool wants_row(drend_tag_object_c& tobj);
    void list_ends(const drend_tag_object_c& tobj);

    // Whether nothing more is wanted: there was a row more than that, or the list with the row to
    // begin behind has ended without it.
    bool is_over() const { return is_over_; }
    // Where to go on then.
    const std::string& cursor() const { return cursor_; }
    // Whether the row that the cursor stands for has not been found, so far.
    bool is_seeking() const { return is_seeking_; }

  private:
    bool seek(drend_tag_object_c& tobj);
    bool is_sought_in(const drend_tag_object_c& tobj) const {
        return wish_.behind->way.back() == tobj.dto_tag;
    }
    bool is_sought(const drend_tag_object_c& tobj);
    void seek_by_keys(drend_tag_object_c& tobj);
    bool has_one_row(const drend_tag_object_c& tobj);
    bool is_pinned(const drend_tag_object_c& tobj) const;
    void note_row(const drend_tag_object_c& tobj);
    const drend_tag_c* next_on_way(const drend_tag_c& tag) const;
    bool is_last_level(const drend_tag_c& tag) const;
    unsigned level() const;

    const dr_page_wish_s wish_;
    dr_position_c& position_;
    dr_row_filter_c& filter_;
    dr_value_reader_c& reader_;

    bool is_seeking_;
    const drend_tag_object_c* counted_ =
        nullptr;         // the list whose rows count, while inside it
    uint64_t row_ = 0;   // of that list, or of the one sought in
    uint64_t shown_ = 0; // rows that count
    std::string cursor_;
    bool is_over_ = false;
};
