// SPDX-License-Identifier: BSD-2-Clause

// The diagnostic dumps of the daemon's data model: its schema, and the values of all leaves.
//
// Neither uses definitions. The value dump is a walk of its own over the meta tree, suspended and
// resumed like any other. Daemon's thread. drend_dump_schema and drend_dump (drend.h) are these.
#pragma once

#include <string>
#include <vector>

#include "definitions/dr_render_context.h"
#include "model/dr_meta_context.h"
#include "render/dr_suspendable.h"
#include "service/dr_dump_path.h"

// Sends every registered path with its kind, then "\n\n". The result of the last send.
int dri_dump_schema(void* peer);

// Sends the path and value of every leaf, or of those at and below `path`, then "\n\n"; or one
// line that says what is wrong with the path. Null when it is finished; else the handle of the
// suspended dump, which is the peer's cookie and was handed to the reschedule handler.
void* dri_dump(void* peer, const char* path = nullptr);

// One node that the dump is inside of.
struct dr_dump_context_c {
    enum kind_e : int { LEAF = 1, CONT = 2, LIST = 3 };

    int kind;
    std::string path;
};

class dr_mt_dump_context_c final : public dr_render_context_c, public dr_suspendable_c {
  public:
    explicit dr_mt_dump_context_c(void* peer);
    ~dr_mt_dump_context_c() override;

    // Dumps what is at a path, or everything. True when the dump is finished.
    bool run(const char* path);
    dr_mt_dump_context_c* defer_continue() override;

  private:
    int dump_internal(const std::string& prefix, const char* name);
    int dump_top(const std::string& path);
    int dump_kid_values(const std::string& path);
    int dump_kids_from_here(const std::string& prefix);
    int dump_list(const std::string& path);
    int dump_rows(const std::string& path);
    int dump_leaf(const std::string& path);
    const dr_dump_path_c::component_s* key_here() const;
    int step_row(const dr_dump_path_c::component_s* key);
    bool read_key(const std::string& name, std::string& text);
    void note_rows(const dr_dump_path_c::component_s& key);
    int go_on_with(const dr_dump_context_c& frame);
    // Pops the innermost frame, which is of that kind.
    void pop_frame(int kind);
    bool resume() override { return defer_continue() != nullptr; }
    void finish() override;

    dr_dump_path_c path_;
    std::string error_; // what to say when nothing was sent
    bool has_sent_ = false;
    dr_meta_context_c position_;
    std::vector<dr_dump_context_c> frames_; // deepest last
};
