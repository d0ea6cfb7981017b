// SPDX-License-Identifier: BSD-2-Clause

// A lock counts how often it is held, because a table may go (a daemon unloads the library) while
// the thread that does it still holds the table's lock.
#include "frame/drend_lock.h"

#include <cassert>

drend_lock_c::drend_lock_c() noexcept {
    pthread_mutexattr_init(&attribute_);
    pthread_mutexattr_settype(&attribute_, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex_, &attribute_);
}

drend_lock_c::~drend_lock_c() {
    // Unlocking a mutex that nobody holds is undefined; destroying a held one is, too.
    int unlocked = 0;
    while (held_ > 0 && unlocked == 0) {
        unlocked = unlock();
    }
    pthread_mutexattr_destroy(&attribute_);
    [[maybe_unused]] const int destroyed = pthread_mutex_destroy(&mutex_);
    assert(destroyed == 0 ||
           unlocked != 0); // another thread's hold cannot be given up here
}

int drend_lock_c::lock() {
    const int result = pthread_mutex_lock(&mutex_);
    if (result == 0) {
        ++held_;
    }
    return result;
}

int drend_lock_c::unlock() {
    const int result = pthread_mutex_unlock(&mutex_);
    if (result == 0) {
        assert(held_ > 0);
        --held_;
    }
    return result;
}
