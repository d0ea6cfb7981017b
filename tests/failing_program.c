// SPDX-License-Identifier: BSD-2-Clause

/* Calls and allocations that fail in a program that does not know of it: loaded before its
   libraries (LD_PRELOAD), with failing_calls.c, and told by its environment. Of memory, all fails
   but the growth of a block in its place (realloc), which is an assertion where the library does
   it.

       DREND_FAILING_CALL="recv 3 104"   the third one fails, with that errno; "malloc" is one, too
       DREND_ONE_BYTE=1                  reads and writes are of one byte
       DREND_CALLS_MADE=FILE             where the number of those calls is left at the end */
#define _GNU_SOURCE
#include "failing_calls.h"

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);

typedef int (*main_fn)(int, char**, char**);
typedef int (*start_fn)(main_fn, int, char**, void (*)(void), void (*)(void),
                        void (*)(void), void*);

static main_fn program_main;
static char name[32];
static long first_number;

static int run(int count, char** words, char** environment) {
    struct failing_call_s fails = {.name = name};
    const char* told = getenv("DREND_FAILING_CALL");
    take_one_byte(getenv("DREND_ONE_BYTE") != NULL);
    if (told != NULL &&
        sscanf(told, "%31s %ld %d", name, &fails.number, &fails.error) == 3) {
        first_number = fails.number;
        *failing_call() = fails;
    }
    return program_main(count, words, environment);
}

/* What happens before main is not the program's. */
int __libc_start_main(main_fn main, int count, char** words, void (*init)(void),
                      void (*fini)(void), void (*loader_fini)(void), void* end_of_stack) {
    start_fn start = (__extension__(start_fn) dlsym(RTLD_NEXT, "__libc_start_main"));
    program_main = main;
    return start(run, count, words, init, fini, loader_fini, end_of_stack);
}

__attribute__((destructor)) static void end(void) {
    const long made = first_number - failing_call()->number;
    failing_call()->name = NULL;
    const char* path = getenv("DREND_CALLS_MADE");
    FILE* file = path == NULL ? NULL : fopen(path, "w");
    if (file != NULL) {
        fprintf(file, "%ld", made);
        fclose(file);
    }
}

void* malloc(size_t size) {
    return call_fails("malloc") ? NULL : __libc_malloc(size);
}

void* calloc(size_t count, size_t size) {
    return call_fails("malloc") ? NULL : __libc_calloc(count, size);
}
