// dr_render_context_c: the base of everything that answers one request and can be suspended.
//
// A suspended context may be deleted before its turn comes, when its peer closes. Timers that are
// still due then hold a stale pointer, so every continuation asks the registry kept here first.
// Belongs to the daemon's thread.
#pragma once

class dr_render_context_c {
  public:
    dr_render_context_c();
    dr_render_context_c(const dr_render_context_c&) = delete;
    dr_render_context_c& operator=(const dr_render_context_c&) = delete;

    // Continues a suspended walk. This object when it is suspended again, null when it is finished;
    // in delete-when-done mode it is gone then.
    virtual dr_render_context_c* defer_continue() { return nullptr; }
    virtual ~dr_render_context_c();
    // The peer is gone: ends and deletes this context, at once or, when it is running, as soon as
    // its slice ends.
    virtual void abandon() { delete this; }
    // Memory ran out in a slice: tells the peer, ends and deletes this context.
    virtual void end_without_memory() { delete this; }

    // Non-zero: the context finalizes and deletes its walker and then itself when its walk ends.
    int delete_when_done = 0;

    // Notes that a timer may be holding this context.
    void note_suspended();
    // The suspended context at that address, or null when there is none (any more).
    static dr_render_context_c* find_suspended(void* address);

  private:
    bool noted_ = false;
    dr_render_context_c* previous_noted_ = nullptr;
    dr_render_context_c* next_noted_ = nullptr;
};

// The number of contexts ever made.
int dri_get_drc_count();
