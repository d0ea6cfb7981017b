// SPDX-License-Identifier: BSD-2-Clause

// dr_tags_access_context_c: the rendering of one command: a position in the definition and the
// data, a filter of rows, and the walk that moves the one and asks the other.
//
//  1. Its walk is running, suspended (frames left, root tag in use) or finished (no frames).
//  2. A walk that cannot go on, because its peer is lost or because it is deleted, gives everything
//     back: contexts are exited, tags popped.
//  3. The root tag is put in use once and taken out once.
//
// Belongs to the daemon's thread.
#pragma once

#include <memory>
#include <unordered_set>

#include <string_view>

#include "definitions/dr_tags_context.h"
#include "render/dr_page.h"
#include "render/dr_row_filter.h"
#include "render/dr_value_reader.h"
#include "render/dr_walk.h"

class dr_context_walker_c;

class dr_tags_access_context_c : public dr_tags_context_c {
  public:
    // `element_ref` is the daemon's object that the top of the walk starts from, or null.
    explicit dr_tags_access_context_c(void* element_ref);
    dr_tags_access_context_c* defer_continue() override;
    ~dr_tags_access_context_c() override;

    void set_element_ref(void* element_ref) { position_.set_element_ref(element_ref); }

    // --- rendering ---

    // Renders the tag on top of the tag stack with `walker`, or with the one it holds when that is
    // null; the walker stays the caller's. DREND_DEFER when the walk is suspended; DREND_ERR
    // without a tag or walker; else the last status met.
    int get_value(dr_context_walker_c* walker);

    // Limits what is rendered.
    void want(const dr_page_wish_s& wish);
    // Whether a limited rendering has not found the row that it was to begin behind.
    bool has_lost_cursor() const { return page_ != nullptr && page_->is_seeking(); }

    // The rows shown of lists that are in no other one, if there were any such lists.
    bool has_lists() const { return walk_.has_lists(); }
    uint64_t rows_shown() const { return walk_.rows_shown(); }

    // --- moving by tag ---

    // Pushes a tag and, when it has a source, the daemon's context moved along it. 0, or the
    // status of the move, with nothing pushed.
    int push_tag(const drend_tag_c* tag) override;
    // 0, or -1 on the root tag, which stays.
    int pop_tag() override;
    // Pushes the tags that a path of kids' names leads through, for a look-up: the step filters
    // stay where they are. A name that is no kid's is sought below the hidden kids. 0, or DREND_ERR
    // with nothing pushed.
    int push(const char* path) { return position_.look_up(path); }
    // Takes back what the last push pushed.
    void pop() { position_.take_back(); }
    // For walkers that print leaves by tag object: a tag on the tag stack alone, and off again.
    void push_tag_alone(const drend_tag_c* tag) { position_.push_tag_alone(tag); }
    void pop_tag_alone() { position_.pop_tag_alone(); }

    // --- tests and look-ups; none of them suspends, a DREND_DEFER is a failed read ---

    bool filter_match(const drend_tag_object_c* tobj) { return filter_.match(tobj); }
    bool style_match(const drend_tag_c* tag) const {
        return requested_style.empty() || tag->dt_styles.empty() || has_style(tag);
    }
    bool presence_on(const drend_tag_c* tag) { return reader_.presence_on(*tag); }
    // The text of the leaf that the tag path leads to ("": the top tag) as its output would show
    // it. 0, or DREND_ERR with `out` untouched, also when the leaf's procedure set no value.
    int get_leaf_value(const char* path, dr_str_buf_c& out) {
        return reader_.get_text(path, out);
    }
    // The same without a copy: valid until the next look-up.
    int read_leaf(std::string_view path, std::string_view& out) {
        return reader_.read(path, out);
    }
    // The same of a kid of the tag on top.
    int read_leaf(const drend_tag_c& kid, std::string_view& out) {
        return reader_.read(kid, out);
    }
    // The type of the value that was read last.
    dr_value_type_t type_read() const { return reader_.type_read(); }
    // The value of the leaf on top, as an answer shows it; see dr_value_reader_c.
    int read_top(const dr_value_c*& value, std::string_view& text) {
        return reader_.read_top(value, text);
    }
    // Replaces a text "=..." by its value. 0, also for other texts, or -1 with the text untouched.
    int eval_expression(str_buf_s* text) { return reader_.eval_expression(text); }

    // While set, values are as the daemon gives them, without the value map; look-ups give them
    // without the digits of a decimal64, too.
    void set_raw_values(bool raw) { reader_.is_raw = raw; }
    bool raw_values() const { return reader_.is_raw; }

    // --- rows of the list on top ---

    int get_first_element();
    // `context` null: the top meta context.
    int get_next_element(dr_meta_context_c* context);

  private:
    bool settle();
    void give_up();
    static void exit_entered(dr_meta_context_c& context);
    void trace_lost(const drend_tag_c& tag, int status);
    void mark_in_use(const drend_tag_c* tag);
    void release_in_use();
    bool has_style(const drend_tag_c* tag) const;

    dr_value_reader_c reader_{position_};
    dr_row_filter_c filter_{position_, reader_};
    std::unique_ptr<dr_page_c> page_; // null: everything is rendered
    dr_walk_c walk_{*this, position_, filter_, reader_};
    dr_context_walker_c* walker_ = nullptr; // not owned
    drend_tag_object_c* command_tag_ =
        nullptr;                          // the top of the walk while it is in progress
    const drend_tag_c* in_use_ = nullptr; // the root tag whose use is owed back
    std::unordered_set<const drend_tag_c*> lost_tags_; // whose loss was traced
};
