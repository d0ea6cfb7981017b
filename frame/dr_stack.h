// SPDX-License-Identifier: BSD-2-Clause

// A stack whose elements keep their addresses while they are on it.
//
//     blocks   [ 0 1 2 3 4 5 6 7 ] <-> [ 8 9 . . . . . . ]      top: 9
//
// Blocks are kept until the stack goes: pushing asks the heap for nothing when the stack has been
// as high before. An element far below the top is found block by block. Not safe for concurrent
// use.
#pragma once

#include <cassert>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

template <typename T>
class dr_stack_c {
  public:
    dr_stack_c() = default;
    ~dr_stack_c() {
        while (!empty()) {
            pop();
        }
        while (first_ != nullptr) { // a deep one is not freed by recursion
            first_ = std::move(first_->above);
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
        return n < size_ ? below_top(n) : nullptr;
    }

    template <typename... Arguments>
    T& push(Arguments&&... arguments) {
        const size_t in_block = size_ % BLOCK;
        block_s* const block = in_block != 0 ? block_ : next_block();
        top_ = new (block->slot(in_block)) T(std::forward<Arguments>(arguments)...);
        block_ = block;
        ++size_;
        return *top_;
    }
    // The stack must not be empty.
    void pop() {
        assert(!empty());
        top_->~T();
        --size_;
        top_ = size_ % BLOCK != 0 ? top_ - 1 : last_of_block_below();
    }

  private:
    // Blocks of less than a kilobyte are those that allocators have at hand.
    static constexpr size_t BLOCK = sizeof(T) > 120 ? 4 : 8;
    struct block_s {
        T* slot(size_t n) { return reinterpret_cast<T*>(room) + n; }

        block_s* below = nullptr;
        std::unique_ptr<block_s> above;
        alignas(T) std::byte room[BLOCK * sizeof(T)];
    };

    // The block for the next element, when the top is the last of its block or the stack is empty.
    block_s* next_block() {
        std::unique_ptr<block_s>& next = size_ == 0 ? first_ : block_->above;
        if (next == nullptr) {
            next.reset(new block_s);
            next->below = size_ == 0 ? nullptr : block_;
        }
        return next.get();
    }
    // The top, when it is the last of its block or the stack is empty.
    T* last_of_block_below() {
        if (size_ == 0) {
            return nullptr;
        }
        block_ = block_->below;
        return block_->slot(BLOCK - 1);
    }
    T* below_top(size_t n) const {
        block_s* block = block_;
        size_t in_block = (size_ - 1) % BLOCK;
        for (; n > in_block; in_block = BLOCK - 1) {
            n -= in_block + 1;
            block = block->below;
        }
        return block->slot(in_block - n);
    }

    std::unique_ptr<block_s> first_; // owns the next one, and so on
    block_s* block_ = nullptr;       // of the top
    size_t size_ = 0;
    T* top_ = nullptr; // or null
};
