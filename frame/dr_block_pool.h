// SPDX-License-Identifier: BSD-2-Clause

// A pool of memory blocks of one size that belongs to the calling thread.
//
// For objects that a walk makes and drops for every element: taking and giving back a block
// is a few instructions, and a walk in its steady state asks the heap for nothing. A thread
// keeps at most DREND_POOL_KEEPS blocks of a size and returns them when it ends. A block
// may be given back on another thread than it was taken on.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdlib>
#include <new>

// Under checkers of memory use every block comes from the heap, so that they see its end.
#ifndef DREND_POOL_KEEPS
#if defined(__SANITIZE_ADDRESS__)
#define DREND_POOL_KEEPS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define DREND_POOL_KEEPS 0
#endif
#endif
#endif
#ifndef DREND_POOL_KEEPS
#define DREND_POOL_KEEPS 1024
#endif

template <size_t Size>
class dr_block_pool_c {
  public:
    // Throws std::bad_alloc.
    static void* take() {
        if (free_blocks_ == nullptr) {
            return ::operator new(block_size);
        }
        block_s* block = free_blocks_;
        assert(free_count_ > 0);
        free_blocks_ = block->next;
        --free_count_;
        return block;
    }

    static void give(void* memory) {
        if (free_count_ >= limit()) {
            ::operator delete(memory);
            return;
        }
        auto* block = static_cast<block_s*>(memory);
        block->next = free_blocks_;
        free_blocks_ = block;
        ++free_count_;
    }

    // Has this thread return its blocks when it ends. The first block that it gives back does, too:
    // but the C library ends the process when it has no memory to note it.
    static void arm() {
        if (!armed_) {
            armed_ = true;
            reaper_.arm();
        }
    }

  private:
    struct block_s {
        block_s* next;
    };
    static constexpr size_t block_size = Size < sizeof(block_s) ? sizeof(block_s) : Size;

    // Returns the blocks when the thread ends; the pool then keeps none any more.
    struct reaper_s {
        ~reaper_s() {
            limit_ = 0;
            while (free_blocks_ != nullptr) {
                block_s* block = free_blocks_;
                free_blocks_ = block->next;
                ::operator delete(block);
            }
        }
        void arm() {}
    };

    // Blocks pass without a check of initialisation once the reaper is armed.
    static unsigned limit() {
        arm();
        return limit_;
    }

    static inline thread_local constinit block_s* free_blocks_ = nullptr;
    static inline thread_local constinit unsigned free_count_ = 0;
    static inline thread_local constinit unsigned limit_ = DREND_POOL_KEEPS;
    static inline thread_local constinit bool armed_ = false;
    static inline thread_local reaper_s reaper_;
};

// Gives a class new and delete from the pool: derive from it.
template <typename Derived>
class dr_pooled_c {
  public:
    static void* operator new(size_t) { return dr_block_pool_c<sizeof(Derived)>::take(); }
    static void operator delete(void* memory) {
        dr_block_pool_c<sizeof(Derived)>::give(memory);
    }
    static void arm_pool() { dr_block_pool_c<sizeof(Derived)>::arm(); }
};
