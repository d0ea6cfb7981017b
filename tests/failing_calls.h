// SPDX-License-Identifier: BSD-2-Clause

/* System calls that fail where a test wants it: those of a test program that links failing_calls.c,
   which the shared libraries that it uses call, too. What a C library calls within itself is not
   seen. */
#ifndef DREND_FAILING_CALLS_H
#define DREND_FAILING_CALLS_H

#ifdef __cplusplus
extern "C" {
#endif

/* The next failure in a thread. */
struct failing_call_s {
    const char* name; /* of the function; NULL: none fails */
    long number;      /* of the call, counted from 1; counts down to 0 */
    int error;        /* 0: the call does what it always does, behind `meanwhile` */
    void (*meanwhile)(void);
};

struct failing_call_s* failing_call(void); /* of this thread */
void take_one_byte(int takes_one);         /* in this thread */

/* For further functions: whether this call of one fails, errno being set. */
int call_fails(const char* name);

#ifdef __cplusplus
}
#endif
#endif
