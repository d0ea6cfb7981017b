// SPDX-License-Identifier: BSD-2-Clause

// dr_access_c: one command's values, asked for one by one: down a path, from row to row, a leaf at
// a time. What drx_ functions and the "xwalker" command stand on.
//
//     push_path("/interfaces/interface[name='lo']")      levels
//                                                         interface   list, at a row
//                                                         interfaces  container, entered
//
//  1. It moves on the stacks of a walk: what a path leads through is entered, its rows are stepped
//     to by the daemon's list procedures and judged as a filter's are. What is entered is exited,
//     once, when it is left or the whole goes.
//  2. A push is taken back as a whole, and one that fails leaves nothing behind.
//  3. A list procedure's wish to suspend is passed on where a search would go on: DREND_DEFER, to
//     be called again for the rest. A row that is found is found.
//  4. After std::bad_alloc it may be destroyed and nothing else.
//
// The root tag is in use for as long as it lives; its maker sees to that. Daemon's thread.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "render/dr_tags_access_context.h"

class dr_access_c final : public dr_tags_access_context_c {
  public:
    // `place` is what stands in front of paths where they are shown.
    explicit dr_access_c(const drend_tag_c& root, std::string place = {})
        : dr_tags_access_context_c(nullptr), root_(root), place_(std::move(place)) {}

    // --- moving; error() says what failed ---

    // Begins a move from here along a path of names, whose predicates choose rows: DREND_OK when it
    // is made, DREND_DEFER when a search is to go on, else the status with nothing moved:
    // DREND_NO_EL for a row or container that is not there now, DREND_ERR for a path that leads
    // nowhere.
    int begin_push(const char* path);
    int go_on();
    // The same to its end.
    int push_path(const char* path);
    // Takes back the last push. DREND_ERR when there is none.
    int pop_path();

    // The next row of the list on top that its predicates want, the first after the end:
    // DREND_OK, DREND_NO_EL at the end, DREND_DEFER when the search is to go on, DREND_ERR.
    int next_row();
    // The same to its end.
    int get_row(bool from_the_first);
    // Whether the list procedure that was called last wished to suspend.
    bool is_asked_to_wait() const { return is_asked_to_wait_; }

    // --- looking ---

    // The tag on top, or null above the root tag.
    const drend_tag_c* here() const {
        return levels_.empty() ? nullptr : levels_.back().tag;
    }
    bool is_at_row() const { return !levels_.empty() && levels_.back().row > 0; }
    // An enum drx_type, and its word.
    int get_type() const;
    std::vector<const drend_tag_c*> get_kids() const;
    // "/interfaces/interface[name='lo']/mtu"; "/" above the root tag.
    std::string get_path();
    // The value of the leaf at `path`, "" for the one on top: DREND_OK, DREND_DEFER when the daemon
    // cannot say yet, DREND_NO_EL when there is none, DREND_ERR when it is no leaf. Both valid
    // until the next call.
    int read(const char* path, const dr_value_c*& value, std::string_view& text);

    // One sentence on what failed since it was forgotten; empty when nothing did.
    const std::string& error() const { return error_; }
    void forget_error() { error_.clear(); }

    // Moves to where another one of the same root is, which it asks for its rows' keys. The new one
    // must not have moved. DREND_NO_EL when a row has gone.
    int follow(dr_access_c& other);

  private:
    // What one component of a path has pushed.
    struct level_s {
        const drend_tag_c* tag;
        dr_filter_t filter;     // of one step, or null
        size_t tag_depth;       // before it
        size_t wanted = 0;      // the position of the only row that is asked for, or 0
        size_t passed = 0;      // rows of the list that were stepped to
        size_t row = 0;         // of those, how many were wanted; 0: at no row
        bool is_single = false; // the source has selected the row
        std::string row_text{}; // "[name='lo']", once something is pushed below the row
        const void* inherited =
            nullptr; // of a dynamic container: the row that it belongs to
    };

    int fail(int status, std::string error);
    int give_up(int status);
    int enter_step(const dr_step_filter_s& step);
    int enter(const std::vector<const drend_tag_c*>& way, const dr_filter_t& filter,
              size_t wanted);
    int enter_tag(const drend_tag_c& tag, const dr_filter_t& filter);
    int enter_container(drend_tag_object_c& tobj);
    void enter_list(const drend_tag_object_c& tobj);
    void find_dynamic_kid(const drend_tag_c& kid);
    bool find_way(std::string_view name, std::vector<const drend_tag_c*>& way) const;
    int check_words(const xp_node_c& node, const drend_tag_c& tag);
    int no_such_kid(std::string_view name, const drend_tag_c* tag,
                    const std::string& place);
    int no_such_row();
    int step_row(const level_s& level);
    bool is_wanted(const level_s& level);
    void drop_levels(size_t count);
    void forget_filter(level_s& level);
    std::string row_text();
    void remember_row();
    // The path of as many levels.
    std::string path_of(size_t count) const;
    int read_here(const dr_value_c*& value, std::string_view& text);
    int told(int status, const std::string& path);
    bool look_up_leaf(const char* path);
    int follow_row(const level_s& level);

    const drend_tag_c& root_;
    const std::string place_;
    std::vector<level_s> levels_;
    std::vector<size_t> pushes_; // how many levels there were before each
    std::string error_;
    bool is_asked_to_wait_ = false;

    // The move under way.
    dr_filter_t steps_;
    size_t next_step_ = 0;
    size_t levels_before_ = 0;
    bool is_searching_ = false;
};

// "container", "list" and so on, of an enum drx_type.
const char* dri_type_word(int type);
// The path of `name` below that of a place.
std::string dri_below(const std::string& place, const std::string& name);
// Whether there are rows of a tag.
bool dri_is_list(const drend_tag_c& tag);
// A step's text as people write it: its tokens stand apart.
std::string dri_step_text(const dr_step_filter_s& step);
