// SPDX-License-Identifier: BSD-2-Clause

// dr_request_c: the answer to one command for one peer, from its first byte to its last.
//
//  1. The end of its walk, in whatever slice it comes, runs the command end handler, finalizes the
//     output and, when asked to, answers with a bare code where nothing else was sent. Once.
//  2. Once a send has failed nothing more is sent, and the request's status says so.
//  3. A peer that closes in the middle of a slice ends the walk at the next tag.
#pragma once

#include <memory>
#include <string>

#include "render/dr_suspendable.h"
#include "render/dr_tags_access_context.h"
#include "render/drend_context_walker.h"
#include "service/dr_forms.h"

// What a request is answered with that has printed nothing.
inline constexpr char DR_NOTHING_SENT[] = "210\n";

// What is asked for, by whom. Tag and texts stay the caller's: the tag for as long as the answer
// takes, the texts until run() returns.
struct dr_request_s {
    void* peer = nullptr;
    const drend_tag_c* top_tag = nullptr;
    const char* args = nullptr; // null: none
    int format = DR_FORMAT_XML;
    bool wrap_in_data = false;
    const char* filter = nullptr; // null: none
};

class dr_request_c final : public dr_tags_access_context_c, public dr_suspendable_c {
  public:
    explicit dr_request_c(const dr_request_s& asked);

    // Applies the arguments and walks. True when the request is finished.
    bool run(const dr_request_s& asked);

    // Of a finished request: 0, or DREND_PEER_LOST once a send has failed.
    int status() const { return status_; }
    // Has the end answer with the bare code where nothing was sent.
    void answer_even_when_empty() { sends_code_ = true; }

  private:
    bool resume() override { return defer_continue() != nullptr; }
    void finish() override;
    void cut_short() override {
        output_->peer_is_lost();
    } // the walk notices at its next tag
    std::string apply(const dr_request_s& asked);

    const drend_tag_c* top_tag_;
    const char* media_type_ = nullptr;
    std::unique_ptr<dr_context_walker_c> output_; // until the end of its answer
    int status_ = 0;
    bool sends_code_ = false;
};
