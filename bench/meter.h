// SPDX-License-Identifier: BSD-2-Clause

// What a run costs its process: user time, calls of the heap and peak memory.
//
// For programs of one thread that measure one thing.
#ifndef BENCH_METER_H
#define BENCH_METER_H

#include <cstddef>
#include <cstdint>

// Nanoseconds of processor time in user mode since the process started.
double user_ns();

// Blocks that the process asked the heap for since it started: by malloc, calloc, realloc, and by
// what builds on them, operator new among them.
uint64_t heap_calls();

// The growth of memory above what there was when it was made, at its peak.
//
// Measured twice, the larger counts. The heap's live blocks are counted to the byte as long as the
// meter lives, which slows the heap down: no time is taken meanwhile. Resident memory includes
// everything else, but the kernel is out by some hundred KiB.
class memory_meter_c {
  public:
    // Free heap memory goes back first and code is brought in, so that neither hides or looks like
    // growth.
    memory_meter_c();
    ~memory_meter_c();
    memory_meter_c(const memory_meter_c&) = delete;
    memory_meter_c& operator=(const memory_meter_c&) = delete;

    uint64_t peak_bytes() const;

  private:
    uint64_t resident_before_;
};

#endif
