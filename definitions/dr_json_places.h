// SPDX-License-Identifier: BSD-2-Clause

// dr_json_places_c: where the values of a JSON text stand, for what has to be said about them.
//
//     [{"dc_name": "c"}]      node 0: the array, 1: the object, 2: the text, with its name
//
// The library that reads JSON gives places of syntax errors only, so the text is gone through once
// more. Nodes stand in the order of the text and are linked: an array's or object's first value,
// and each value's next one.
//
// The text must be well-formed and outlive the object. Immutable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

// A place in a text: line and character of it, both from 1; no place is 0.
struct dr_text_place_s {
    uint32_t line = 0;
    uint32_t column = 0;
};

class dr_json_places_c {
  public:
    static constexpr uint32_t NONE = UINT32_MAX;
    static constexpr uint32_t ROOT = 0;

    dr_json_places_c() = default;
    explicit dr_json_places_c(std::string_view text);

    // The first value in an array or object, the value after another one, or NONE.
    uint32_t first(uint32_t node) const { return node == NONE ? NONE : nodes_[node].first; }
    uint32_t next(uint32_t node) const { return node == NONE ? NONE : nodes_[node].next; }
    // The last member of that name (as the text writes it), which is the one that counts, or NONE.
    uint32_t member(uint32_t object, std::string_view name) const;
    // Of a member; empty for others.
    std::string_view name(uint32_t node) const { return nodes_[node].name; }

    // Where a value begins, or the name of a member; no place for NONE.
    dr_text_place_s place(uint32_t node) const;
    dr_text_place_s name_place(uint32_t node) const;

  private:
    struct node_s {
        size_t begin;
        std::string_view name; // without its quotes
        uint32_t first = NONE;
        uint32_t last = NONE;
        uint32_t next = NONE;
    };

    void go_through();
    size_t end_of_text(size_t quote) const;
    void add(size_t begin);
    dr_text_place_s place_of(size_t offset) const;
    size_t characters_before(size_t offset) const;

    std::string_view text_;
    std::vector<node_s> nodes_;
    std::vector<size_t> lines_;  // where each begins
    std::vector<size_t> blocks_; // characters before each block of the text
    std::vector<uint32_t> open_;
    std::string_view pending_name_;
    bool has_name_ = false;
};
