// SPDX-License-Identifier: BSD-2-Clause

// dr_subscription_c: the answer without an end that a peer gets who has asked for events.
//
//     announced -> offer -> [ queue ] -> slices -> peer
//
//  1. It is a suspended answer and its peer's cookie: interrupts and closing end it as any other.
//  2. No more than QUEUE_MAX bytes wait. What finds no room is dropped and counted, and the number
//     stands where it was dropped, before anything else is sent.
//  3. It asks to be continued when it has something to send, and then once.
//
// Texts are shared by the subscribers that get the same. Belongs to the daemon's thread.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "render/dr_suspendable.h"
#include "service/dr_notification.h"

class dr_subscription_c final : public dr_suspendable_c {
  public:
    static constexpr size_t QUEUE_MAX = 65536;
    using text_t = std::shared_ptr<const std::string>;

    // Subscribes the peer, whose cookie it becomes. False when the peer keeps no cookie: it could
    // not be told from one that has gone. Throws std::bad_alloc.
    static bool begin(void* peer, const dr_event_form_s& form);
    // Those that there are; valid until one begins or ends.
    static const std::vector<dr_subscription_c*>& all();
    // Has all be continued that have something to send and have not asked yet. Needs no memory.
    static void wake_all();

    dr_subscription_c(void* peer, dr_event_form_s form);
    ~dr_subscription_c() override;

    const dr_event_form_s& form() const { return form_; }
    // Queues a text, or drops it: also null, one that is too long for any queue.
    void offer(const text_t& text);
    // Counts as many events that could not be offered.
    void drop() { ++dropped_; }

  private:
    bool resume() override;
    void finish() override {} // the peer is lost
    bool has_more() const override { return !queue_.empty() || dropped_ > 0; }
    void push(text_t text);
    text_t gap() const;

    const dr_event_form_s form_;
    void* handle_ = nullptr;
    bool is_awake_ = false; // it has asked to be continued
    std::deque<text_t> queue_;
    size_t waiting_ = 0;   // bytes
    uint64_t dropped_ = 0; // behind the last of the queue
};
