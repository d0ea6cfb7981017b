// SPDX-License-Identifier: BSD-2-Clause

// dr_context_walker_c: what turns the events of a walk into output.
//
//     walk                           walker
//     container or row opens    ->   push
//     a leaf with its value     ->   leaf, by default push, push_value, pop
//     container or row closes   ->   pop
//     a list and its rows       ->   list_start, list_element_walk_start, _stop, list_stop
//
// A walker is made for one request and belongs to the thread of its walk. It writes through
// drend_send only, and stops writing for good once a send has failed.
#pragma once

#include <string>
#include <vector>

#include "definitions/drend_tag_object.h"
#include "frame/drend_value.h"
#include "render/dr_output.h"

class dr_tags_access_context_c;

// A key that is printed ahead of its row's content.
struct dr_list_key_val {
    const drend_tag_object_c* owner = nullptr; // the row
    const drend_tag_c* tag = nullptr;          // the key's leaf
    std::string value;                         // its text, not escaped
    dr_value_type_t type = DRV_NONE;           // of what the text is that of
    int level = 0;                             // of indentation
};

class dr_context_walker_c {
  public:
    // `peer` is whom the output goes to; a walker that sends nothing has none.
    explicit dr_context_walker_c(dr_tags_access_context_c& context, void* peer = nullptr)
        : context_(context), output_(peer) {}
    virtual ~dr_context_walker_c() = default;
    dr_context_walker_c(const dr_context_walker_c&) = delete;
    dr_context_walker_c& operator=(const dr_context_walker_c&) = delete;

    // The walk ends early: an answer goes on at `cursor` (dr_cursor.h), if somebody asks for it.
    // What is open is closed then.
    void goes_on_at(const std::string& cursor) { cursor_ = cursor; }
    // Empty when there is nothing more.
    const std::string& cursor() const { return cursor_; }

    // Before and after the walk; finalize returns the flush's result, or 0.
    virtual void initialize() {}
    virtual int finalize() { return 0; }

    virtual void push(const drend_tag_object_c* tobj) = 0;
    virtual void push_value(const drend_tag_object_c* tobj, const dr_value_c& value) = 0;
    // The private forms print regardless of what was printed ahead.
    virtual void push_value_private(const drend_tag_object_c*, const dr_value_c&) {}
    // A leaf as a whole, perhaps with the texts that the walker's row_shape had prepared for it:
    // what the walk calls. This one has the other three called, with a tag object.
    virtual void leaf(const dr_row_kid_s& leaf, const dr_value_c& value);
    // What texts to prepare for the leaves of the container that was pushed last.
    virtual dr_row_shape_s row_shape() const { return {}; }
    virtual void pop(const drend_tag_object_c* tobj) = 0;
    virtual int pop_private(const drend_tag_object_c*) { return 0; }
    virtual void push_private(const drend_tag_object_c*) {}
    // Prints the key leaves of a row ahead of its other content.
    virtual void emit_keys_for_parent(const drend_tag_object_c* tobj,
                                      dr_context_walker_c* walker);
    virtual void list_start(const drend_tag_object_c*) {}
    // DREND_DEFER suspends before the row, or after it.
    virtual int list_element_walk_start(const drend_tag_object_c*) { return 0; }
    virtual void list_stop(const drend_tag_object_c*) {}
    virtual int list_element_walk_stop(const drend_tag_object_c*, int status) {
        return status;
    }
    virtual int indent_level() const { return 0; }
    // Whether the walk is to be suspended before the leaf it is at.
    virtual bool defer_walker() { return false; }
    // Whether leaves are wanted at all. One and the same answer always.
    virtual bool wants_leaves() const { return true; }
    // Whether values are wanted without the value map.
    virtual bool need_meta_value() const { return false; }

    // 0, or DREND_PEER_LOST once a send has failed.
    int status() const { return output_.status(); }
    // The number of successful sends.
    unsigned sends() const { return output_.sends(); }
    // Ends the output as a failed send would: nothing is sent any more.
    void peer_is_lost() { output_.peer_is_lost(); }
    // Sends what is collected; the walk is suspended now.
    void release_output() { output_.release(); }

  protected:
    // Ends the output: sends what is collected and flushes, unless the peer is lost.
    int finish_output();
    // Whether a value is printed: false for a zero that its definition suppresses.
    static bool zero_suppression_check(const drend_tag_c& tag, const dr_value_c& value);

    // Where a leaf is printed that a key, an internal tag or a zero may be.
    enum class leaf_place_e : uint8_t {
        HERE,
        WITH_ROW, // a key, which goes out with its row's opening
        NOWHERE,  // it is internal, or a zero that its definition suppresses
    };
    leaf_place_e place_of(const drend_tag_c& tag, const dr_value_c& value) const;

    // Reads the keys of a row that is printed, for `level` of indentation.
    void read_keys(const drend_tag_object_c* row, int level);
    // Reads a key, a kid of its row's tag, ahead of the row's content. Its record, valid until the
    // next key is read, or null when it is no leaf or cannot be read: then it is printed where it
    // stands.
    dr_list_key_val* read_key(const drend_tag_object_c* row, const drend_tag_c& kid);
    // The record of a key leaf that was read ahead of its row's content, or null for other leaves.
    const dr_list_key_val* find_key(const drend_tag_c& leaf) const;
    // Forgets the keys of a row, which is the innermost one that has any.
    void clear_keys(const drend_tag_object_c* row);

    dr_tags_access_context_c& context_;
    dr_output_c output_;
    // The keys of the rows that are open, innermost last; records above keys_used_ are kept for
    // their memory.
    std::vector<dr_list_key_val> keys_;
    size_t keys_used_ = 0;

  private:
    std::string cursor_;
};
