// SPDX-License-Identifier: BSD-2-Clause

#include "bench/meter.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>

namespace {

constexpr int64_t BLOCK_HEADER = 8; // what the heap itself spends on a block

uint64_t calls = 0;
bool counts_bytes = false;
int64_t live_bytes = 0; // since counts_bytes was set
int64_t peak_live_bytes = 0;

int64_t bytes_of(void* block) {
    return block == nullptr
               ? 0
               : static_cast<int64_t>(malloc_usable_size(block)) + BLOCK_HEADER;
}

void* count_block(void* block) {
    if (counts_bytes) {
        live_bytes += bytes_of(block);
        peak_live_bytes = std::max(peak_live_bytes, live_bytes);
    }
    return block;
}

void uncount_block(void* block) {
    if (counts_bytes) {
        live_bytes -= bytes_of(block);
    }
}

uint64_t status_bytes(const std::string& name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.compare(0, name.size(), name) == 0) {
            return 1024 * strtoull(line.c_str() + name.size(), nullptr, 10);
        }
    }
    fprintf(stderr, "bench: no %s in /proc/self/status\n", name.c_str());
    exit(1);
}

// Reads every page of the program's files into its resident memory.
void bring_in_code() {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        unsigned long begin = 0;
        unsigned long end = 0;
        char access[5] = "";
        if (sscanf(line.c_str(), "%lx-%lx %4s", &begin, &end, access) == 3 &&
            access[0] == 'r' && line.find(" /") != std::string::npos) {
            madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_READ);
        }
    }
}

// Has the kernel begin a new peak of resident memory.
void reset_peak() {
    std::ofstream reset("/proc/self/clear_refs");
    if (!(reset << "5" << std::flush)) {
        fprintf(stderr, "bench: the peak of memory cannot be reset\n");
        exit(1);
    }
}

} // namespace

double user_ns() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return 1e9 * static_cast<double>(usage.ru_utime.tv_sec) +
           1e3 * static_cast<double>(usage.ru_utime.tv_usec);
}

uint64_t heap_calls() {
    return calls;
}

memory_meter_c::memory_meter_c() : resident_before_(0) {
    malloc_trim(0);
    bring_in_code();
    resident_before_ = status_bytes("VmRSS:");
    reset_peak();
    live_bytes = peak_live_bytes = 0;
    counts_bytes = true;
}

memory_meter_c::~memory_meter_c() {
    counts_bytes = false;
}

uint64_t memory_meter_c::peak_bytes() const {
    const auto heap = static_cast<uint64_t>(peak_live_bytes);
    const uint64_t resident = status_bytes("VmHWM:");
    return std::max(heap, resident < resident_before_ ? 0 : resident - resident_before_);
}

// The heap as the program and all its libraries see it, with a count.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);
void __libc_free(void* block);

void* malloc(size_t size) {
    ++calls;
    return count_block(__libc_malloc(size));
}

void* calloc(size_t count, size_t size) {
    ++calls;
    return count_block(__libc_calloc(count, size));
}

void* realloc(void* block, size_t size) {
    ++calls;
    uncount_block(block);
    return count_block(__libc_realloc(block, size));
}

void* aligned_alloc(size_t alignment, size_t size) {
    ++calls;
    return count_block(__libc_memalign(alignment, size));
}

int posix_memalign(void** block, size_t alignment, size_t size) {
    *block = aligned_alloc(alignment, size);
    return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) {
    uncount_block(block);
    __libc_free(block);
}
}
