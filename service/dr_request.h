// dr_request_c: the walk of one command for one peer, from its first byte to its last.
//
//     made -> running -> finished                          its maker deletes it
//                |  ^
//                v  |
//             suspended -> finished                        it deletes itself
//                |
//                +-> its peer closes, or it is dropped -> gone
//
//  1. Its end, in whatever slice it comes, runs the command end handler, finalizes the output and,
//     when asked to, answers with a bare code where nothing else was sent. Once.
//  2. While it is suspended it may be its peer's cookie; its end clears the cookie.
//  3. A peer that closes in the middle of a slice ends the walk at the next tag; the request leaves
//     the peer alone from then on.
#pragma once

#include "render/dr_tags_access_context.h"
#include "render/drend_context_walker.h"
#include "service/dr_peer_cookie.h"

enum dr_format_e : int { DR_FORMAT_XML = 1, DR_FORMAT_JSON = 2 };

// What a request is answered with that has printed nothing.
inline constexpr int DR_NOTHING_SENT_CODE = 210;

class dr_request_c final : public dr_tags_access_context_c {
  public:
    dr_request_c(void* peer, const drend_tag_c* top_tag);

    // Applies the arguments (null: none) and walks. True when the request is finished.
    bool run(int format, const char* args, bool wrap_in_data, const char* filter);

    // 0, or DREND_PEER_LOST once a send has failed.
    int status() const { return status_; }
    // Has the end answer with the bare code where nothing was sent.
    void answer_even_when_empty() { sends_code_ = true; }
    // Makes the suspended request the peer's cookie until it ends.
    void become_cookie() { cookie_.take(this); }

    dr_request_c* defer_continue() override;
    void abandon() override;
    void end_without_memory() override;

  private:
    void finish_output(dr_context_walker_c& walker) override;
    dr_context_walker_c* make_walker(int format, bool wrap_in_data);

    dr_peer_cookie_c cookie_;
    const drend_tag_c* top_tag_;
    dr_context_walker_c* output_ = nullptr; // owned by the walk once it has begun
    int status_ = 0;
    bool sends_code_ = false;
    bool is_running_ = false;
};
