// SPDX-License-Identifier: BSD-2-Clause

// dr_tags_context_c: what a command runs in: its position, the steps of its filter, its style.
//
//     tag stack            steps of /a/b[x='1']
//     leaf  mtu
//     list  interface      b[x='1']   <- taken by "interface"
//     cont  interfaces     a          <- taken by "interfaces"
//
// Visible tags take one step of the filter each, hidden tags none. Belongs to one walk on the
// daemon's thread.
#pragma once

#include <string>
#include <vector>

#include "definitions/dr_position.h"
#include "definitions/dr_render_context.h"
#include "definitions/dr_step_filter.h"
#include "frame/dr_published.h"

class dr_tags_context_c : public dr_render_context_c {
  public:
    // `element_ref` is the daemon's object that the top of the walk starts from, or null.
    explicit dr_tags_context_c(const void* element_ref = nullptr)
        : position_(element_ref) {}

    // Pushes a tag object, which takes the current step filter unless the tag is hidden. DREND_OK.
    virtual int push_tag(const drend_tag_c* tag);
    // Drops the top tag object and gives its step filter back. 0, or -1 on an empty stack.
    virtual int pop_tag();
    // Pushes a copy of the top meta context, moved along the path. The status of the move; the
    // stack changes only when it is DREND_OK.
    int push_meta_context(const char* path, const void* element) {
        return position_.push_context(path, element);
    }
    void pop_meta_context() { position_.pop_context(); }

    // The object `n` places below the top, or null.
    drend_tag_object_c* get_top_tag(unsigned n) const { return position_.tag(n); }
    dr_meta_context_c* get_top_meta_context(unsigned n) const {
        return position_.context(n);
    }
    size_t tag_depth() const { return position_.tag_depth(); }
    size_t meta_depth() const { return position_.context_depth(); }

    // Cuts a request's filter into its steps, replacing what was set before. 0, or DREND_ERR, with
    // no filter set, when it holds more than a filter may.
    int set_filter(const char* filter);
    // Sets a filter that is cut already; null for none.
    void set_filter(dr_filter_t filter);
    // Whether the next visible tag takes a step.
    bool has_steps_left() const {
        return current_step_ != nullptr && !current_step_->below.empty();
    }
    // What that step is chosen from.
    const dr_filter_node_s* current_step() const { return current_step_; }

    // The style that the request asks for; empty for none.
    std::string requested_style;

  protected:
    // Gives the step back that the tag on top has taken.
    void give_step_back();

    dr_position_c position_;

  private:
    dr_filter_t filter_;
    const dr_filter_node_s* current_step_ = nullptr; // taken last; null without a filter
};

// The sources on the tag stack, bottom first, joined with "/".
void dri_get_cur_source(const dr_tags_context_c* ctx, std::string& out);

struct dr_cmd_handlers_s {
    drend_cmd_handler_t start = nullptr;
    drend_cmd_handler_t end = nullptr;
    void* user_data = nullptr;
};
extern dr_published_c<dr_cmd_handlers_s> dri_cmd_handlers;
// Whether a start handler is installed: nearly never, and asked for every tag.
inline bool dri_has_cmd_start() {
    return dri_cmd_handlers.was_set() && dri_cmd_handlers.get().start != nullptr;
}
// Calls the installed command handlers; see drend_add_cmd_handlers. The start handler gets "/" and
// the name of the first tag on `ctx` that is not "__root__", or `command` when there is none.
void dri_call_cmd_start(const dr_tags_context_c* ctx, const char* command);
void dri_call_cmd_end(const drend_tag_c* tag);

// Trace the stacks, one line each, when the walk is traced.
void db_print_top_tag(const dr_tags_context_c* ctx);
void db_print_mc(const dr_meta_context_c* context);
void db_print_mc_stack(const dr_tags_context_c* ctx);
