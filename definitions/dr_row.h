// SPDX-License-Identifier: BSD-2-Clause

// dr_row_c: what a walk needs of the kids of a container or list, worked out once.
//
//     tag "route"  +  node /routes/route  +  XML, level 2
//
//     kid         node        opening               closing
//     prefix      prefix      "    <prefix>"        "</prefix>\n"
//     protocol    protocol    "    <protocol>"      "</protocol>\n"
//     next        next        "    <next>\n"        "    </next>\n"
//
//  1. A row is immutable. It fits one node of the daemon's data in one generation of the tree, one
//     format and one level of indentation.
//  2. A kid is plain when its value is the value of one leaf below the row's node, perhaps
//     translated by a map without expressions. What the node's procedure and kind are is asked
//     for each visit.
//  3. Rows are counted: their tag keeps the last ones it made, walks the one that they are in.
//     They belong to the daemon's thread.
#pragma once

#include <cassert>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/drend_meta_tree.h"

class drend_tag_c;
class dr_scope_c;

// What the texts of a row are made for.
enum class dr_text_format_e : uint8_t { NONE, XML, JSON, IETF_XML, IETF_JSON };
struct dr_row_shape_s {
    dr_text_format_e format = dr_text_format_e::NONE;
    int level = 0; // of the kids' indentation
    // Of the IETF's formats: without line ends and indentation, and what is in force around the
    // kids; null: nothing.
    bool is_compact = false;
    const dr_scope_c* scope = nullptr;
    bool operator==(const dr_row_shape_s&) const = default;
};

struct dr_row_kid_s {
    bool is_plain() const { return is_plain_leaf; }
    size_t texts_size() const { return opening.size() + closing.size(); }

    const drend_tag_c* tag;
    // Where its source leads, or null where that is not just to a child of the row's node.
    dr_meta_node_c* node = nullptr;
    bool is_plain_leaf = false;
    // Padded texts (dr_plain_text.h) with all that stands between the kid's content and that of its
    // neighbours, with quotes in JSON; empty where none is prepared. A list's are those of its
    // rows, but for the opening in JSON: that is the array's own, with the first row's in the
    // IETF's.
    std::string_view opening{};
    std::string_view closing{};
};

class dr_row_c {
  public:
    dr_row_c(const drend_tag_c& tag, const dr_meta_node_c* node, dr_row_shape_s shape);
    dr_row_c(const dr_row_c&) = delete;
    dr_row_c& operator=(const dr_row_c&) = delete;
    ~dr_row_c() { assert(uses_ == 0); }

    bool fits(const dr_meta_node_c* node, dr_row_shape_s shape) const {
        return node_ == node && shape_ == shape && generation_ == dmn_generation();
    }
    // One for each kid of the tag, in its order.
    const std::vector<dr_row_kid_s>& kids() const { return kids_; }
    // What the row has of a tag for which it has texts, or null.
    const dr_row_kid_s* find(const drend_tag_c& tag) const;

  private:
    friend class dr_row_ref_c;

    void make_texts(dr_row_shape_s shape);

    const dr_meta_node_c* const node_;
    const unsigned generation_;
    const dr_row_shape_s shape_;
    std::vector<dr_row_kid_s> kids_;
    std::string texts_; // what the kids' texts are parts of
    unsigned uses_ = 0;
};

// A counted reference, or null.
class dr_row_ref_c {
  public:
    dr_row_ref_c() = default;
    explicit dr_row_ref_c(dr_row_c* row) : row_(row) { ++row_->uses_; }
    dr_row_ref_c(const dr_row_ref_c& other) : row_(other.row_) {
        if (row_ != nullptr) {
            ++row_->uses_;
        }
    }
    dr_row_ref_c& operator=(dr_row_ref_c other) {
        std::swap(row_, other.row_);
        return *this;
    }
    ~dr_row_ref_c() {
        assert(row_ == nullptr || row_->uses_ > 0);
        if (row_ != nullptr && --row_->uses_ == 0) {
            delete row_;
        }
    }

    const dr_row_c* get() const { return row_; }
    const dr_row_c* operator->() const { return row_; }

  private:
    dr_row_c* row_ = nullptr;
};

// The rows that a tag has made last.
class dr_row_cache_c {
  public:
    dr_row_ref_c find_or_make(const drend_tag_c& tag, const dr_meta_node_c* node,
                              dr_row_shape_s shape);

  private:
    // As many shapes as one tag is usually walked in at once: two formats, in two places.
    static constexpr size_t KEPT = 4;

    dr_row_ref_c rows_[KEPT];
    size_t next_ = 0; // the one that is replaced
};
