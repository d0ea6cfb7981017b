// SPDX-License-Identifier: BSD-2-Clause

// A group of hook values that are set together and read without a lock.
//
// A reader must never see one setter's function with another setter's argument. The group is kept
// as words beside a version, which is odd while a setter is at work: a reader that finds the same
// even version before and after the words has read one group, and any other reads again under the
// setters' lock. Nothing is allocated, however often a group is set.
//
// Any thread sets; any thread reads.
#pragma once

#include <array>
#include <atomic>
#include <bit>
#include <cassert>
#include <cstdint>

#include "frame/drend_lock.h"

// T is a plain record of pointers with a usable default value.
template <typename T>
class dr_published_c {
  public:
    // Whether a group other than the default may be in force; one load.
    bool was_set() const { return was_set_.load(std::memory_order_relaxed); }

    // The group in force.
    T get() const {
        if (!was_set_.load(std::memory_order_acquire)) {
            return T{};
        }
        const unsigned before = version_.load(std::memory_order_acquire);
        const words_t words = read();
        if (before % 2 == 0 && version_.load(std::memory_order_relaxed) == before) {
            return std::bit_cast<T>(words);
        }
        drend_lock_guard_c guard(lock_);
        return std::bit_cast<T>(read());
    }

    void set(const T& value) {
        const auto words = std::bit_cast<words_t>(value);
        drend_lock_guard_c guard(lock_);
        const unsigned version = version_.load(std::memory_order_relaxed);
        assert(version % 2 == 0); // one setter at a time
        version_.store(version + 1, std::memory_order_relaxed);
        for (size_t n = 0; n < words.size(); ++n) {
            words_[n].store(words[n], std::memory_order_release); // not before the version
        }
        version_.store(version + 2, std::memory_order_release);
        was_set_.store(true, std::memory_order_release);
    }

  private:
    using words_t = std::array<uintptr_t, sizeof(T) / sizeof(uintptr_t)>;
    static_assert(sizeof(words_t) == sizeof(T));

    words_t read() const {
        words_t words;
        for (size_t n = 0; n < words.size(); ++n) {
            words[n] = words_[n].load(std::memory_order_acquire); // not after the version
        }
        return words;
    }

    std::array<std::atomic<uintptr_t>, sizeof(T) / sizeof(uintptr_t)> words_{};
    std::atomic<unsigned> version_{0};
    std::atomic<bool> was_set_{false};
    mutable drend_lock_c lock_;
};
