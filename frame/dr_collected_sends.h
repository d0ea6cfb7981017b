// SPDX-License-Identifier: BSD-2-Clause

// dr_collected_sends_c: while one lives, what its thread sends to anybody is collected in a text.
//
//     walker -> drend_send -> [ collected ]     and no method of the daemon's is called
//
// So one and the same way renders what several peers get. Flushes, and the beginnings and ends of
// answers, are nobody's then; how the answer ended is kept. One at a time in a thread.
#pragma once

#include <cassert>
#include <cstddef>
#include <string>

#include "drend.h"

class dr_collected_sends_c {
  public:
    // A text of more than `limit` bytes is given up as one is whose peer is lost.
    explicit dr_collected_sends_c(size_t limit) : limit_(limit) {
        assert(now_ == nullptr);
        now_ = this;
    }
    ~dr_collected_sends_c() { now_ = nullptr; }
    dr_collected_sends_c(const dr_collected_sends_c&) = delete;
    dr_collected_sends_c& operator=(const dr_collected_sends_c&) = delete;

    // That of this thread, or null.
    static dr_collected_sends_c* now() { return now_; }

    // 0, or DREND_PEER_LOST. Throws std::bad_alloc.
    int take(const char* text) {
        text_ += text;
        return text_.size() > limit_ ? DREND_PEER_LOST : 0;
    }
    const std::string& text() const { return text_; }

  private:
    static inline thread_local dr_collected_sends_c* now_ = nullptr;

    const size_t limit_;
    std::string text_;
};
