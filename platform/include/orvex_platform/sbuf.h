// SPDX-License-Identifier: BSD-2-Clause
/*
 * The platform's growable string buffer.
 *
 * A buffer starts inside memory that its user provides and moves to the heap when a text
 * outgrows that memory:
 *
 *     area (user's)  [ record | text ......... ]      sbuf_init_buf
 *                        |
 *                        +--> heap block              only for texts that do not fit
 *
 *  1. The content is always a NUL-terminated text.
 *  2. sbuf_reset gives back every heap block; a buffer that never grew has none, so a user
 *     that only ever stored short texts need not call it.
 *  3. When memory runs out a buffer keeps the content it had and the call returns -1.
 *
 * A host system may put its own library in place of this one: the render library uses
 * nothing but the declarations below. No function here is safe for concurrent use of one
 * buffer; different buffers may be used by different threads at once.
 */
#ifndef ORVEX_PLATFORM_SBUF_H
#define ORVEX_PLATFORM_SBUF_H

#include <stdarg.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The buffer's record; it lives in the area that was given to sbuf_init_buf. */
typedef struct str_buf_s str_buf_s;

/* The smallest area that sbuf_init_buf accepts, in bytes. */
#define SBUF_AREA_MIN 64

/*
 * Makes an empty buffer inside `area` and stores the address of its record through `out`.
 * `size` is the area's size in bytes, at least SBUF_AREA_MIN (asserted); the area needs no
 * alignment and must outlive the buffer.
 */
void sbuf_init_buf(str_buf_s** out, void* area, unsigned int size);

/* Replaces the content by a copy of `text`, which may not be NULL. 0, or -1 (no memory). */
int sbuf_cpy(str_buf_s* buf, const char* text);

/* Replaces the content by the formatted text. 0, or -1 (no memory, bad format). */
int sbuf_printf(str_buf_s* buf, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/* Appends the formatted text. 0, or -1 (no memory, bad format). */
int sbuf_append(str_buf_s* buf, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/* sbuf_append with an argument list, which the call leaves used up. */
int sbuf_vappend(str_buf_s* buf, const char* format, va_list args)
    __attribute__((format(printf, 2, 0)));

/* Appends two blanks for each `level` (none for a negative one), then the formatted text.
 */
int sbuf_indent_append(str_buf_s* buf, int level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/* The content; never NULL, valid until the next call that changes the buffer. */
const char* sbuf_str(const str_buf_s* buf);

/* The content from byte `offset` on (0 for all of it), without processing; "" beyond the
 * end. */
const char* sbuf_raw_str(const str_buf_s* buf, unsigned int offset);

/* The content's length in bytes. */
unsigned int sbuf_len(const str_buf_s* buf);

/* Empties the buffer and gives back what it obtained beyond its area. */
void sbuf_reset(str_buf_s* buf);

/*
 * Removes one pair of enclosing quotes: when the content has at least two characters and
 * begins and ends with the same one of ' and ", both go. Anything else stays as it is.
 */
void sbuf_strip_quotes(str_buf_s* buf);

#ifdef __cplusplus
}
#endif

#endif
