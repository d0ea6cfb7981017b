// SPDX-License-Identifier: BSD-2-Clause

#include "request_input.h"

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

enum { SIZE_MIN = 4096 };

void request_input_close(struct request_input_s* input) {
    free(input->bytes);
    *input = (struct request_input_s){.bytes = NULL};
}

/* Makes room behind the bytes for at least one more. 0, or -1 when memory ran out. */
static int make_room(struct request_input_s* input) {
    if (input->begin > 0) {
        memmove(input->bytes, input->bytes + input->begin, input->length);
        input->begin = 0;
    }
    if (input->length < input->size)
        return 0;
    const size_t size = input->size == 0 ? SIZE_MIN : 2 * input->size;
    char* bytes = realloc(input->bytes, size);
    if (bytes == NULL)
        return -1;
    input->bytes = bytes;
    input->size = size;
    return 0;
}

static size_t least(size_t a, size_t b) {
    return a < b ? a : b;
}

long request_input_read(struct request_input_s* input, int fd, size_t most) {
    if (make_room(input) != 0)
        return -1;
    const size_t room = least(input->size, REQUEST_INPUT_MAX) - input->length;
    const ssize_t taken =
        recv(fd, input->bytes + input->length, least(room, most), MSG_DONTWAIT);
    if (taken > 0)
        input->length += (size_t)taken;
    else if (input->length == 0)
        request_input_close(input);
    return taken;
}

char* request_input_bytes(const struct request_input_s* input) {
    return input->bytes + input->begin;
}

void request_input_drop(struct request_input_s* input, size_t length) {
    input->begin += length;
    input->length -= length;
    if (input->length == 0)
        request_input_close(input);
}

void request_input_skip_blanks(struct request_input_s* input) {
    static const char any[] = {' ', '\t', '\r', '\n'};
    size_t blanks = 0;
    while (blanks < input->length &&
           memchr(any, request_input_bytes(input)[blanks], sizeof any) != NULL)
        ++blanks;
    request_input_drop(input, blanks);
}

long request_input_line(const struct request_input_s* input) {
    if (input->length == 0)
        return -1;
    const char* bytes = request_input_bytes(input);
    const char* end = memchr(bytes, '\n', least(input->length, REQUEST_MAX + 1));
    if (end != NULL)
        return end - bytes;
    return input->length > REQUEST_MAX ? REQUEST_MAX + 1 : -1;
}
