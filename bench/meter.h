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

// The growth of resident memory above what there was when it was made, at its peak.
class memory_meter_c {
  public:
    // Free heap memory goes back first and code is brought in, so that neither hides or looks like
    // growth.
    memory_meter_c();
    uint64_t peak_bytes() const;

  private:
    uint64_t before_;
};

#endif
