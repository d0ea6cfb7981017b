// SPDX-License-Identifier: BSD-2-Clause

// Memory that runs out where a test wants it to: the allocation functions of a test program that
// links failing_memory.cpp, which the libraries that it uses call, too.
#pragma once

#include <atomic>
#include <cstddef>

// The allocation of this thread, counted from 1, that fails; 0: none does. Counts down to 0.
extern thread_local long failing_allocation;

// Bytes that this thread has asked for, given back or not.
extern thread_local size_t asked_bytes;

// Bytes of the blocks that the process holds; 0 under a checker.
extern std::atomic<long> held_bytes;

// False under a checker that puts its own allocation functions in place of the program's.
bool allocations_can_fail();

// End a test that has to have them fail, where they cannot.
#define SKIP_UNLESS_ALLOCATIONS_FAIL() \
    if (!allocations_can_fail())       \
    GTEST_SKIP() << "the allocation functions are not this program's"
#define SKIP_UNLESS_HELD_BYTES_COUNT() \
    if (held_bytes == 0)               \
    GTEST_SKIP() << "what is held is not counted"
