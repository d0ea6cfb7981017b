// dr_context_walker_c: what turns the events of a walk into output.
//
//     walk                           walker
//     container or row opens    ->   push
//     a leaf's value            ->   push, push_value, pop
//     container or row closes   ->   pop
//     a list and its rows       ->   list_start, list_element_walk_start, _stop, list_stop
//
// A walker is made for one request and belongs to the thread of its walk. It writes through
// drend_send only, and stops writing for good once a send has failed.
#pragma once

#include <string>
#include <string_view>

#include "definitions/drend_tag_object.h"
#include "frame/drend_value.h"
#include "render/escape.h"

class dr_tags_access_context_c;

class dr_context_walker_c {
  public:
    explicit dr_context_walker_c(dr_tags_access_context_c& context) : context_(context) {}
    virtual ~dr_context_walker_c() = default;
    dr_context_walker_c(const dr_context_walker_c&) = delete;
    dr_context_walker_c& operator=(const dr_context_walker_c&) = delete;

    // Before and after the walk; finalize returns the flush's result, or 0.
    virtual void initialize() {}
    virtual int finalize() { return 0; }

    virtual void push(const drend_tag_object_c* tobj) = 0;
    virtual void push_value(const drend_tag_object_c* tobj, const dr_value_c& value) = 0;
    // The private forms print regardless of what was printed ahead.
    virtual void push_value_private(const drend_tag_object_c*, const dr_value_c&) {}
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
    virtual void serialize_result(unsigned char**, unsigned int*) {}
    virtual int indent_level() const { return 0; }
    // Whether the walk is to be suspended before the leaf it is at.
    virtual bool defer_walker() { return false; }
    // Whether values are wanted without the value map.
    virtual bool need_meta_value() const { return false; }

    // 0, or DREND_PEER_LOST once a send has failed.
    int status() const { return status_; }
    // The number of successful sends.
    unsigned sends() const { return sends_; }
    // Ends the output as a failed send would: nothing is sent any more.
    void peer_is_lost() { status_ = DREND_PEER_LOST; }

    bool resumed = false;  // the output continues an earlier slice
    bool deferred = false; // this walker asked for the suspension

  protected:
    // Formats a text and sends it. 0, or DREND_PEER_LOST.
    int drend_send(void* peer, const char* format, ...) DREND_PRINTF(3, 4);
    // Sends a finished text. 0, or DREND_PEER_LOST.
    int send_text(void* peer, const char* text);
    // Sends `before`, the value as `escape` writes it, and `after` in one send. A value that would
    // take the text over the limit of a send is cut itself, so that what follows it stays.
    int send_value_text(void* peer, dri_escaper_t escape, std::string_view before,
                        std::string_view value, std::string_view after);
    // Sends two blanks for each level.
    void dri_indent(void* peer, int level);
    // Whether a value is printed: false for a zero that its definition suppresses.
    static bool zero_suppression_check(const drend_tag_object_c* tobj,
                                       const dr_value_c& value);

    dr_tags_access_context_c& context_;
    bool keys_emitted_ = false; // the keys of the current row were printed ahead

  private:
    int status_ = 0;
    unsigned sends_ = 0;
    std::string line_; // reused for every text that holds a value
};
