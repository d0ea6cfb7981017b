// SPDX-License-Identifier: BSD-2-Clause

// operator new allocates with malloc, so counting malloc counts every allocation but the growth of
// a block in its place (realloc), whose failure is an assertion where the library does it. What is
// held is counted with that, and without blocks of a wanted alignment.
#include "failing_memory.h"

#include <cerrno>
#include <cstdlib>
#include <new>

#include <dlfcn.h>
#include <malloc.h>
#include <regex.h>

thread_local long failing_allocation = 0;
thread_local size_t asked_bytes = 0;
std::atomic<long> held_bytes = 0;

#if defined(__has_feature)
#define HAS_FEATURE(name) __has_feature(name)
#else
#define HAS_FEATURE(name) 0
#endif

// ThreadSanitizer allocates before it can be asked to.
#if !defined(__SANITIZE_THREAD__) && !HAS_FEATURE(thread_sanitizer)

// What stands behind malloc: the C library, or the checker that has taken its place.
#if defined(__SANITIZE_ADDRESS__) || HAS_FEATURE(address_sanitizer)
#define BEHIND(name) __interceptor_##name
#else
#define COUNTS_HELD_BYTES
#define BEHIND(name) __libc_##name
#endif

namespace {

bool fails_now(size_t size) {
    asked_bytes += size;
    if (failing_allocation > 0 && --failing_allocation == 0) {
        errno = ENOMEM;
        return true;
    }
    return false;
}

#ifdef COUNTS_HELD_BYTES
long size_of(void* block) {
    return static_cast<long>(malloc_usable_size(block));
}
void* held(void* block) {
    held_bytes += size_of(block);
    return block;
}
#else
void* held(void* block) {
    return block;
}
#endif

const auto real_regcomp = reinterpret_cast<decltype(&regcomp)>(dlsym(RTLD_NEXT, "regcomp"));

} // namespace

extern "C" {

void* BEHIND(malloc)(size_t size);
void* BEHIND(calloc)(size_t count, size_t size);
void* BEHIND(realloc)(void* block, size_t size);
void BEHIND(free)(void* block);
[[gnu::weak]] void
__lsan_disable(); // NOLINT(bugprone-reserved-identifier): the checker's name
[[gnu::weak]] void __lsan_enable(); // NOLINT(bugprone-reserved-identifier): likewise

// The C library's own loses blocks when memory runs out in it, which is not ours to mend.
int regcomp(regex_t* compiled, const char* pattern, int flags) {
    const bool may_lose = failing_allocation > 0 && __lsan_disable != nullptr;
    if (may_lose) {
        __lsan_disable();
    }
    const int status = real_regcomp(compiled, pattern, flags);
    if (may_lose) {
        __lsan_enable();
    }
    return status;
}

void* malloc(size_t size) {
    return fails_now(size) ? nullptr : held(BEHIND(malloc)(size));
}

void* calloc(size_t count, size_t size) {
    return fails_now(count * size) ? nullptr : held(BEHIND(calloc)(count, size));
}

#ifdef COUNTS_HELD_BYTES
void* realloc(void* block, size_t size) {
    const long before = size_of(block);
    void* grown = BEHIND(realloc)(block, size);
    held_bytes -= grown == nullptr && size > 0 ? 0 : before;
    return held(grown);
}

void free(void* block) {
    held_bytes -= size_of(block);
    BEHIND(free)(block);
}
#endif
}

// Not inlined, or the compiler takes the pairs of new and free for mismatches.
[[gnu::noinline]] void* operator new(size_t size) {
    void* memory = malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return malloc(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
    free(memory);
}

#endif

bool allocations_can_fail() {
    failing_allocation = 1;
    void* volatile memory = malloc(1);
    free(memory);
    failing_allocation = 0;
    return memory == nullptr;
}
