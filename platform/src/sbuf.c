// SPDX-License-Identifier: BSD-2-Clause
/*
 * The growable string buffer.
 *
 * Every change is one call of put(): the content up to some byte stays, and blanks and a
 * text follow it. The text may lie inside the buffer itself, so put() moves it before
 * anything is overwritten or freed. Formatted text is made outside the buffer first, for
 * the same reason: its arguments may point into the content. Only the format "%s", by far
 * the most frequent one, goes straight to put().
 */
#include "orvex_platform/sbuf.h"

#include <assert.h>
#include <limits.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { FORMAT_ROOM = 512 };

/* The area that holds the record is declared as characters, hence may_alias. */
struct __attribute__((may_alias)) str_buf_s {
    char* text;             /* home, or a heap block */
    unsigned int length;    /* without the NUL */
    unsigned int room;      /* bytes at text, NUL included */
    unsigned int home_room; /* bytes at home */
    char home[];            /* what the area has left after the record */
};

_Static_assert(sizeof(str_buf_s) + _Alignof(str_buf_s) < SBUF_AREA_MIN,
               "the smallest area holds a record, its alignment and some text");

void sbuf_init_buf(str_buf_s** out, void* area, unsigned int size) {
    assert(out && area && size >= SBUF_AREA_MIN);
    const unsigned int alignment = (unsigned int)_Alignof(str_buf_s);
    const unsigned int skipped =
        (alignment - (unsigned int)((uintptr_t)area % alignment)) % alignment;
    str_buf_s* buf = (str_buf_s*)(void*)((char*)area + skipped);
    buf->home_room = size - skipped - (unsigned int)offsetof(str_buf_s, home);
    buf->text = buf->home;
    sbuf_reset(buf);
    *out = buf;
}

void sbuf_reset(str_buf_s* buf) {
    if (buf->text != buf->home)
        free(buf->text);
    buf->text = buf->home;
    buf->room = buf->home_room;
    buf->length = 0;
    buf->text[0] = '\0';
}

/* The room to allocate for a content of `needed` bytes: doubled until it suffices. */
static size_t grown_room(size_t room, size_t needed) {
    while (room < needed)
        room *= 2;
    return room < UINT_MAX ? room : UINT_MAX;
}

/*
 * Replaces the content from byte `at` on by `blanks` blanks and the `length` bytes at
 * `text`. 0, or -1 with the content as it was.
 */
static int put(str_buf_s* buf, size_t at, size_t blanks, const char* text, size_t length) {
    if (length >= UINT_MAX || at + blanks + length >= UINT_MAX)
        return -1;
    const size_t end = at + blanks + length;
    char* target = buf->text;
    if (end >= buf->room) {
        const size_t room = grown_room(buf->room, end + 1);
        target = malloc(room);
        if (!target)
            return -1;
        memcpy(target, buf->text, at);
        buf->room = (unsigned int)room;
    }
    memmove(target + at + blanks, text, length);
    memset(target + at, ' ', blanks);
    target[end] = '\0';
    if (target != buf->text && buf->text != buf->home)
        free(buf->text);
    buf->text = target;
    buf->length = (unsigned int)end;
    return 0;
}

/* put() of a text that is too long for the stack, `length` being what vsnprintf announced.
 */
static int put_long_format(str_buf_s* buf, size_t at, size_t blanks, size_t length,
                           const char* format, va_list args) {
    char* text = malloc(length + 1);
    if (!text)
        return -1;
    const int written = vsnprintf(text, length + 1, format, args);
    const int result = written < 0 || (size_t)written > length
                           ? -1
                           : put(buf, at, blanks, text, (size_t)written);
    free(text);
    return result;
}

static int put_format(str_buf_s* buf, size_t at, size_t blanks, const char* format,
                      va_list args) {
    va_list again;
    va_copy(again, args);
    int result = -1;
    if (format[0] == '%' && format[1] == 's' && format[2] == '\0') {
        const char* text = va_arg(again, const char*);
        if (!text)
            text = "(null)";
        result = put(buf, at, blanks, text, strlen(text));
    } else {
        char text[FORMAT_ROOM];
        const int length = vsnprintf(text, sizeof(text), format, args);
        if (length >= (int)sizeof(text))
            result = put_long_format(buf, at, blanks, (size_t)length, format, again);
        else if (length >= 0)
            result = put(buf, at, blanks, text, (size_t)length);
    }
    va_end(again);
    return result;
}

int sbuf_cpy(str_buf_s* buf, const char* text) {
    return put(buf, 0, 0, text, strlen(text));
}

int sbuf_printf(str_buf_s* buf, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = put_format(buf, 0, 0, format, args);
    va_end(args);
    return result;
}

int sbuf_append(str_buf_s* buf, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int result = put_format(buf, buf->length, 0, format, args);
    va_end(args);
    return result;
}

int sbuf_vappend(str_buf_s* buf, const char* format, va_list args) {
    return put_format(buf, buf->length, 0, format, args);
}

int sbuf_indent_append(str_buf_s* buf, int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const size_t blanks = level > 0 ? 2 * (size_t)level : 0;
    const int result = put_format(buf, buf->length, blanks, format, args);
    va_end(args);
    return result;
}

const char* sbuf_str(const str_buf_s* buf) {
    return buf->text;
}

const char* sbuf_raw_str(const str_buf_s* buf, unsigned int offset) {
    return offset <= buf->length ? buf->text + offset : "";
}

unsigned int sbuf_len(const str_buf_s* buf) {
    return buf->length;
}

void sbuf_strip_quotes(str_buf_s* buf) {
    if (buf->length < 2)
        return;
    const char quote = buf->text[0];
    if ((quote == '"' || quote == '\'') && buf->text[buf->length - 1] == quote)
        put(buf, 0, 0, buf->text + 1, buf->length - 2);
}
