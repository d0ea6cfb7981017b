// SPDX-License-Identifier: BSD-2-Clause

// The edge of the daemon's interface: no exception passes it. Daemons are written in C, and an
// accessor that is called by a walk and calls the library again has no way to let one through.
//
// Memory that runs out ends what was asked for, with the result that its function has for failure;
// the daemon goes on.
#pragma once

#include <new>

// Throws std::bad_alloc, out of the way of what goes on.
[[noreturn, gnu::cold, gnu::noinline]] inline void dri_throw_no_memory() {
    throw std::bad_alloc();
}

template <typename Result, typename Function>
Result dri_unless_no_memory(Result on_failure, Function&& function) {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return on_failure;
    }
}
