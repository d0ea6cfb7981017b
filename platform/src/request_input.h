// SPDX-License-Identifier: BSD-2-Clause
/*
 * What has been read of a connection's requests and not been answered yet.
 *
 *     bytes  [ dropped | length bytes of requests | room ]
 *                      ^ begin
 *
 * There is memory only while there are bytes: an idle connection costs nothing.
 */
#ifndef ORVEX_PLATFORM_REQUEST_INPUT_H
#define ORVEX_PLATFORM_REQUEST_INPUT_H

#include <stdbool.h>
#include <stddef.h>

enum {
    REQUEST_MAX = 65536,                 /* bytes of a line without its line feed */
    REQUEST_INPUT_MAX = REQUEST_MAX + 2, /* reading ahead stops here */
};

/* All zeros: nothing was read. */
struct request_input_s {
    char* bytes; /* or NULL */
    size_t size;
    size_t begin;
    size_t length;
};

void request_input_close(struct request_input_s* input);

/* Reads up to `most` bytes, and no more than reading ahead may. How many, 0 at the end of the
 * requests, or -1 with errno set. */
long request_input_read(struct request_input_s* input, int fd, size_t most);

/* The bytes; valid until the next call that changes the input. */
char* request_input_bytes(const struct request_input_s* input);
void request_input_drop(struct request_input_s* input, size_t length);

/* Drops blank lines and blanks before a line: what is no request. */
void request_input_skip_blanks(struct request_input_s* input);

/* The length of the first line, REQUEST_MAX + 1 when it is longer than a line may be; -1 while its
 * end has not come. */
long request_input_line(const struct request_input_s* input);

#endif
