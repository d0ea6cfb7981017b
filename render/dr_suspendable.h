// SPDX-License-Identifier: BSD-2-Clause

// dr_suspendable_c: the answer to one request, which may be suspended between two slices.
//
//     made -----> running -----> over                       its maker's, as a unique_ptr
//                  |   ^
//                  v   |  drend_defer_continue
//                suspended                                  kept in the table of this file
//                      |
//                      +-> its peer closes, it is dropped -> gone
//
//  1. A suspended answer belongs to the table, and is known to everybody else by its handle: a
//     timer's argument, a peer's cookie, what drend_take_suspended_rpc gives out. No handle is
//     given twice, so an old one is never taken for another answer; finding an answer takes the
//     same time however many there are.
//  2. Table, cookie and state change together, in keep() and let_go().
//  3. An answer that is ended in the middle of its slice is gone as soon as the slice is. It sends
//     nothing from then on, and leaves a peer that has closed alone.
//  4. All slices of an answer read the data sets that its first one began with; one that reads no
//     data holds none.
//
// Requests, dumps and subscriptions derive from it. Belongs to the daemon's thread.
#pragma once

#include <memory>
#include <optional>

#include "model/dr_walk_data.h"

class dr_suspendable_c {
  public:
    virtual ~dr_suspendable_c() = default;
    dr_suspendable_c(const dr_suspendable_c&) = delete;
    dr_suspendable_c& operator=(const dr_suspendable_c&) = delete;

    // Who keeps the handle of a suspended answer.
    enum class keeper_e {
        CALLER,
        PEER, // as its cookie
    };
    enum class end_e {
        DROPPED,
        PEER_CLOSED, // whose handle is not to be used any more
    };

    // Keeps an answer whose first slice was suspended, until it ends. Its handle, not null. Throws
    // std::bad_alloc, with the answer destroyed.
    static void* keep(std::unique_ptr<dr_suspendable_c> answer, keeper_e keeper);
    // Runs the next slice: 1 when the answer is suspended again, 0 when it is over and gone,
    // DREND_ERR when there is no such suspended answer. A slice in which memory runs out is an
    // answer's last, and says so to the peer.
    static int go_on(void* handle);
    // Ends an answer before its time. No-op when there is none (any more).
    static void end(void* handle, end_e why);
    // Whether a suspended answer has something to go on with. One that has not waits until it hands
    // itself to dri_deferred again.
    static bool is_ready(void* handle);
    // The peer of such an answer, suspended or in a slice; null when there is none.
    static void* peer_of(void* handle);
    // Whether there is such an answer, suspended or in a slice.
    static bool is_kept(void* handle) { return find(handle) != nullptr; }
    // The number of such answers, for diagnostics.
    static size_t kept_count();

    void* peer() const { return peer_; }
    // Whether nobody waits for this answer any more.
    bool is_gone() const { return state_ == state_e::GONE; }

  protected:
    enum class reads_e { DATA, NOTHING };
    explicit dr_suspendable_c(void* peer, reads_e reads = reads_e::DATA) : peer_(peer) {
        if (reads == reads_e::DATA) {
            data_.emplace();
        }
    }

    // Ends a slice that wishes to be suspended, or not: true when the answer is over, and
    // finished then.
    bool end_slice(bool suspends);

  private:
    enum class state_e { RUNNING, SUSPENDED, GONE };

    // Goes on with what was suspended. Whether that is suspended again.
    virtual bool resume() = 0;
    // What is left to do, and to be sent unless this is gone, when the last slice has come to its
    // end. The definitions are not held any more.
    virtual void finish() = 0;
    // Whether resume() has anything to do.
    virtual bool has_more() const { return true; }
    // The answer was ended in the middle of its slice: end that soon.
    virtual void cut_short() {}

    static dr_suspendable_c* find(void* handle);
    static void let_go(void* handle);
    bool run_slice();

    std::optional<const dr_walk_data_c> data_; // as it was when the answer began
    void* const peer_;
    state_e state_ = state_e::RUNNING;
    bool is_cookie_ = false;
};
