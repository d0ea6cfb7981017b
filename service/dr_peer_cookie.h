// A suspended walk's tie to its peer: the cookie that the peer's connection keeps for it.
#pragma once

#include "definitions/dr_render_context.h"
#include "render/dr_deferral.h"
#include "service/dr_answer.h"

class dr_peer_cookie_c {
  public:
    explicit dr_peer_cookie_c(void* peer) : peer_(peer) {}
    // Clears the cookie, unless the peer is gone.
    ~dr_peer_cookie_c() {
        if (is_taken_) {
            dri_set_cookie(peer_, nullptr);
        }
    }
    dr_peer_cookie_c(const dr_peer_cookie_c&) = delete;
    dr_peer_cookie_c& operator=(const dr_peer_cookie_c&) = delete;

    void take(dr_render_context_c* walk) {
        walk->note_suspended();
        dri_set_cookie_cleanup(peer_, dri_cleanup_cookie);
        dri_set_cookie(peer_, walk);
        is_taken_ = true;
    }
    void peer_is_gone() {
        is_taken_ = false;
        is_gone_ = true;
    }

    // Tells the peer that its answer ends here because memory ran out.
    void send_no_memory() {
        if (!is_gone_) {
            dri_send_no_memory(peer_);
        }
    }

    void* peer() const { return peer_; }
    bool is_gone() const { return is_gone_; }

  private:
    void* peer_;
    bool is_taken_ = false;
    bool is_gone_ = false;
};
