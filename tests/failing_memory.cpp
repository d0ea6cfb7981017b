#include "failing_memory.h"

#include <cstdlib>
#include <new>

thread_local long failing_allocation = 0;

// Not inlined, or the compiler takes the pairs of new and free for mismatches.
[[gnu::noinline]] void* operator new(size_t size) {
    void* memory =
        failing_allocation > 0 && --failing_allocation == 0 ? nullptr : malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
// The checkers' own nothrow form would not go with the functions below.
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept {
    try {
        return ::operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
    free(memory);
}

bool allocations_can_fail() {
    failing_allocation = 1;
    try {
        ::operator delete(::operator new(1));
    } catch (const std::bad_alloc&) {
        return true;
    }
    failing_allocation = 0;
    return false;
}
