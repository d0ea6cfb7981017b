// SPDX-License-Identifier: BSD-2-Clause

// dr_render_context_c: the base of every context that walks for one request.
//
// Belongs to the daemon's thread. Whose a context is while its walk is suspended is not known here;
// see dr_suspendable_c.
#pragma once

class dr_render_context_c {
  public:
    dr_render_context_c();
    dr_render_context_c(const dr_render_context_c&) = delete;
    dr_render_context_c& operator=(const dr_render_context_c&) = delete;

    // Continues a suspended walk. This object when it is suspended again, null when the walk is
    // over.
    virtual dr_render_context_c* defer_continue() { return nullptr; }
    virtual ~dr_render_context_c() = default;
};

// The number of contexts ever made.
int dri_get_drc_count();
