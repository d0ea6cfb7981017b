// A group of hook values that are set together and read without a lock.
//
// A reader must never see one setter's function with another setter's argument. Every group
// that is ever set is kept for the life of the process, once, and published by a single
// pointer; a daemon that switches between a few groups therefore costs a few records,
// however often.
//
// Any thread sets; any thread reads.
#pragma once

#include <algorithm>
#include <atomic>
#include <forward_list>

#include "frame/dr_no_memory.h"
#include "frame/drend_lock.h"

// T is a plain record with operator== and a usable default value.
template <typename T>
class dr_published_c {
  public:
    // The group in force. The reference stays valid for good.
    const T& get() const { return *current_.load(std::memory_order_acquire); }

    // 0, or -1 with the group in force unchanged when memory ran out.
    int set(const T& value) {
        drend_lock_guard_c guard(lock_);
        return dri_unless_no_memory(-1, [&] {
            auto known = std::find(kept_.begin(), kept_.end(), value);
            if (known == kept_.end()) {
                kept_.push_front(value);
                known = kept_.begin();
            }
            current_.store(&*known, std::memory_order_release);
            return 0;
        });
    }

  private:
    const T initial_{};
    std::atomic<const T*> current_{&initial_};
    std::forward_list<T> kept_;
    drend_lock_c lock_;
};
