// SPDX-License-Identifier: BSD-2-Clause

// A stack whose elements keep their addresses while they are on it.
//
//     blocks   [ 0 1 2 3 4 5 6 7 ] [ 8 9 . . . . . . ]      top: 9
//
// Blocks are kept until the stack goes: pushing asks the heap for nothing when the stack has been
// as high before. Not safe for concurrent use.
#pragma once

#include <cassert>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

template <typename T>
class dr_stack_c {
  public:
    dr_stack_c() = default;
    ~dr_stack_c() {
        while (!empty()) {
            pop();
        }
    }
    dr_stack_c(const dr_stack_c&) = delete;
    dr_stack_c& operator=(const dr_stack_c&) = delete;

    bool empty() const { return size_ == 0; }
    size_t size() const { return size_; }
    // The element `n` places below the top, or null.
    T* from_top(size_t n) const {
        if (n == 0) {
            return top_;
        }
        return n < size_ ? slot(size_ - 1 - n) : nullptr;
    }

    template <typename... Arguments>
    T& push(Arguments&&... arguments) {
        T* const place = size_ % BLOCK != 0 ? top_ + 1 : first_of_block();
        top_ = new (place) T(std::forward<Arguments>(arguments)...);
        ++size_;
        return *top_;
    }
    // The stack must not be empty.
    void pop() {
        assert(!empty());
        top_->~T();
        --size_;
        top_ = size_ % BLOCK != 0 ? top_ - 1 : last_of_block();
    }

  private:
    static constexpr size_t BLOCK = 8;
    struct block_s {
        alignas(T) std::byte room[BLOCK * sizeof(T)];
    };

    // Where the next element goes when the last block is full, and the top when it is empty.
    T* first_of_block() {
        if (size_ == blocks_.size() * BLOCK) {
            blocks_.push_back(std::make_unique_for_overwrite<block_s>());
        }
        return slot(size_);
    }
    T* last_of_block() const { return size_ == 0 ? nullptr : slot(size_ - 1); }
    T* slot(size_t index) const {
        return reinterpret_cast<T*>(blocks_[index / BLOCK]->room) + index % BLOCK;
    }

    std::vector<std::unique_ptr<block_s>> blocks_;
    size_t size_ = 0;
    T* top_ = nullptr; // or null
};
