// SPDX-License-Identifier: BSD-2-Clause

// operator new allocates with malloc, so counting malloc counts every allocation but the growth of
// a block in its place (realloc), whose failure is an assertion where the library does it.
#include "failing_memory.h"

#include <cerrno>
#include <cstdlib>
#include <new>

#include <dlfcn.h>
#include <regex.h>

thread_local long failing_allocation = 0;
thread_local size_t asked_bytes = 0;

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

const auto real_regcomp = reinterpret_cast<decltype(&regcomp)>(dlsym(RTLD_NEXT, "regcomp"));

} // namespace

extern "C" {

void* BEHIND(malloc)(size_t size);
void* BEHIND(calloc)(size_t count, size_t size);
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
    return fails_now(size) ? nullptr : BEHIND(malloc)(size);
}

void* calloc(size_t count, size_t size) {
    return fails_now(count * size) ? nullptr : BEHIND(calloc)(count, size);
}
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
