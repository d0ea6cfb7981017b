#include "bench/meter.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>

#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>

namespace {

uint64_t calls = 0;

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

memory_meter_c::memory_meter_c() : before_(0) {
    malloc_trim(0);
    bring_in_code();
    before_ = status_bytes("VmRSS:");
    reset_peak();
}

uint64_t memory_meter_c::peak_bytes() const {
    const uint64_t peak = status_bytes("VmHWM:");
    return peak < before_ ? 0 : peak - before_;
}

// The heap as the program and all its libraries see it, with a count.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);

void* malloc(size_t size) {
    ++calls;
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    ++calls;
    return __libc_calloc(count, size);
}

void* realloc(void* memory, size_t size) {
    ++calls;
    return __libc_realloc(memory, size);
}
}
