// SPDX-License-Identifier: BSD-2-Clause

// drend_tag_object_c: the view of one tag during one walk, an entry of the walk's tag stack.
//
// Holds what the walk has to remember about the tag while it is inside it. Belongs to the thread of
// its walk.
#pragma once

#include <atomic>
#include <cassert>
#include <memory>

#include "definitions/dr_step_filter.h"
#include "definitions/drend_tag.h"
#include "model/dr_meta_context.h"

enum dt_tag_obj_flag_e : uint32_t {
    DTO_FLAG_PRESENT = 0x1, // a presence container that is present: printed even when empty
};

// What a filter says of a kid without asking the data.
enum class dr_kid_choice_e : uint8_t {
    ASK,   // nothing
    SHOWN, // of a leaf: it is shown
    HIDDEN,
};

// What a walk remembers of a container whose kids the daemon names while it is walked.
struct dr_dynamic_kids_s {
    const void* inherited_ref = nullptr; // the row that the container belongs to
    std::vector<bool> visited;           // by kid: whether it was named
    bool finished = false;               // the rest of the kids follow
};

// The number of tag objects in existence, for diagnostics. Kept with a load and a store each: an
// exact count is not worth a locked instruction for every element that is printed.
inline std::atomic<int> dri_dto_count{0};
inline int dri_get_dto_count() {
    return dri_dto_count.load(std::memory_order_relaxed);
}

class drend_tag_object_c {
  public:
    explicit drend_tag_object_c(const drend_tag_c* tag) : dto_tag(tag) {
        dri_dto_count.store(dri_get_dto_count() + 1, std::memory_order_relaxed);
    }
    ~drend_tag_object_c() {
        dri_dto_count.store(dri_get_dto_count() - 1, std::memory_order_relaxed);
    }
    drend_tag_object_c(const drend_tag_object_c&) = delete;
    drend_tag_object_c& operator=(const drend_tag_object_c&) = delete;

    const std::string& name() const { return dto_tag->name(); }
    const std::string& source() const { return dto_tag->source(); }
    const std::string& xmlns() const { return dto_tag->xmlns(); }
    const std::string& prefix() const { return dto_tag->dt_prefix; }
    int32_t type() const {
        assert(dto_tag);
        return dto_tag->dt_type;
    }
    drend_tag_c* find(const char* name) const {
        assert(dto_tag);
        return dto_tag->find_child(name);
    }

    void set_flags(uint32_t flags) { dto_flags |= flags; }
    bool isset_flag(uint32_t flags) const { return (dto_flags & flags) != 0; }

    const drend_tag_c* dto_tag;
    bool dto_is_visit = false; // a leaf that the context of its row visits
    size_t dto_kid = 0;        // the next of its kids
    dr_row_ref_c dto_row;      // what its kids are, or null
    const dr_row_kid_s* dto_in_row =
        nullptr; // what it is in the row of its parent, or null
    const dr_filter_node_s* dto_filter =
        nullptr; // the request's filter at this level, or null
    // Which of its ways what the walk is at has passed, as the last judgement left it. Empty for a
    // single way: the walk is inside of nothing else.
    mutable std::vector<bool> dto_passed;
    bool has_passed(size_t way) const { return dto_passed.empty() || dto_passed[way]; }
    // What the filter says of the kids without asking the data, and the step that said so.
    std::vector<dr_kid_choice_e> dto_choices;
    const dr_filter_node_s* dto_chosen_by = nullptr;
    // What a list procedure may seek by, worked out when the list's walk starts.
    dr_meta_context_c::names_ref_t dto_filter_names;

    // Set while such a container is walked.
    std::unique_ptr<dr_dynamic_kids_s> dto_dynamic;

  private:
    uint32_t dto_flags = 0;
};
