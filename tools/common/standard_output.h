// SPDX-License-Identifier: BSD-2-Clause

// How a program ends that has printed to standard output: a disk that is full, say, is met as late
// as there.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>

// `status`, once all of standard output is written; else `failed`, with a line on standard error.
inline int end_of_output(const char* program, int status, int failed) {
    errno = 0;
    if (fflush(stdout) == 0 && ferror(stdout) == 0) {
        return status;
    }
    fprintf(stderr, "%s: cannot write%s%s\n", program, errno != 0 ? ": " : "",
            errno != 0 ? strerror(errno) : "");
    return failed;
}
