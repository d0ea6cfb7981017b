// SPDX-License-Identifier: BSD-2-Clause

// The recursive mutex of the library's process-wide tables and its scope guard.
//
// Recursive, so that a thread that holds a table may call back into the library. Locking order is
// nobody's concern but the table's: no function holds two of them while it calls a daemon.
#pragma once

#include <atomic>

#include <pthread.h>

class drend_lock_c {
  public:
    drend_lock_c() noexcept;
    // Gives the mutex up when the calling thread still holds it, then destroys it.
    ~drend_lock_c();
    drend_lock_c(const drend_lock_c&) = delete;
    drend_lock_c& operator=(const drend_lock_c&) = delete;

    // The result of pthread_mutex_lock, or pthread_mutex_unlock: 0 or an errno value.
    int lock();
    int unlock();
    // Whether somebody holds it, for assertions.
    bool is_held() const { return held_ > 0; }

  private:
    pthread_mutexattr_t attribute_{};
    pthread_mutex_t mutex_{};
    std::atomic<unsigned> held_{0}; // how often its owner holds it
};

class drend_lock_guard_c {
  public:
    explicit drend_lock_guard_c(drend_lock_c& lock) : lock_(lock) { lock_.lock(); }
    ~drend_lock_guard_c() { lock_.unlock(); }
    drend_lock_guard_c(const drend_lock_guard_c&) = delete;
    drend_lock_guard_c& operator=(const drend_lock_guard_c&) = delete;

  private:
    drend_lock_c& lock_;
};
