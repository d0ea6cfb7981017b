// dr_tags_context_c: where a walk is, in the definition and in the daemon's data.
//
//     tag stack            meta context stack        step filters of /a/b[x='1']
//     leaf  mtu            .../interface/mtu
//     list  interface      .../interface             b[x='1']   <- taken by "interface"
//     cont  interfaces     /interfaces               a          <- taken by "interfaces"
//
//  1. A tag without a source pushes no meta context; the stacks differ in height.
//  2. Visible tags take one step of the filter each, hidden tags none.
//  3. Objects on the stacks keep their addresses while they are on them, and every meta context on
//     its stack has a top object.
//
// A tags context belongs to one walk on the daemon's thread.
#pragma once

#include <string>
#include <vector>

#include "definitions/dr_render_context.h"
#include "definitions/drend_tag_object.h"
#include "frame/dr_published.h"
#include "frame/dr_stack.h"
#include "model/dr_meta_context.h"

class dr_tags_context_c : public dr_render_context_c {
  public:
    dr_tags_context_c() = default;
    ~dr_tags_context_c() override = default;

    // Pushes a tag object, which takes the current step filter unless the tag is hidden.
    void push_tag(const drend_tag_c* tag);
    // Drops the top tag object and gives its step filter back. Nothing on an empty stack.
    void pop_tag();
    // Pushes a copy of the top meta context, moved along the path. The status of the move; the
    // stack changes only when it is DREND_OK.
    int push_meta_context(const char* path, const void* element);
    // The same with a path that is cut already; `shown` is its text for the trace.
    int push_meta_context(const dr_nav_path_c& path, const char* shown,
                          const void* element);
    void pop_meta_context() {
        if (!meta_contexts_.empty()) {
            meta_contexts_.pop();
        }
    }

    // The object `n` places below the top, or null.
    drend_tag_object_c* get_top_tag(unsigned n) const { return tags_.from_top(n); }
    dr_meta_context_c* get_top_meta_context(unsigned n) const {
        return meta_contexts_.from_top(n);
    }
    size_t tag_depth() const { return tags_.size(); }
    size_t meta_depth() const { return meta_contexts_.size(); }

    // Cuts a request's filter into its steps, replacing what was set before. 0, or DREND_ERR, with
    // no filter set, when it holds more than a filter may.
    int set_filter(const char* filter);

    // The style that the request asks for; empty for none.
    std::string requested_style;

  protected:
    // For look-ups, which leave the step filters where they are.
    void push_tag_without_filter(const drend_tag_c* tag) { tags_.push(tag); }
    void pop_tag_without_filter() {
        if (!tags_.empty()) {
            tags_.pop();
        }
    }

  private:
    dr_stack_c<drend_tag_object_c> tags_;
    dr_stack_c<dr_meta_context_c> meta_contexts_;
    std::vector<dr_step_filter_s> step_filters_;
    size_t current_step_ = 0;
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
