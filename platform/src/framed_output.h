/*
 * What waits to be written to a connection, in the chunked framing of RFC 6242.
 *
 *     added text --> [ chunk, up to 16 KiB ] --> framed chunks ... --> socket
 *
 *  1. Text is framed when a chunk is full, when it is to go out, and at the end of an answer.
 *  2. There is a chunk only while an answer is being given: an idle connection costs nothing.
 *  3. A write passes on at most WRITE_MAX bytes at once, so that the kernel's account of what the
 *     other side has taken moves in steps that small.
 */
#ifndef ORVEX_PLATFORM_FRAMED_OUTPUT_H
#define ORVEX_PLATFORM_FRAMED_OUTPUT_H

#include <stdbool.h>
#include <stddef.h>

struct evbuffer;

struct framed_output_s {
    struct evbuffer* framed;
    char* chunk; /* or NULL */
    size_t used; /* of the chunk */
};

/* 0, or -1 when memory ran out. */
int framed_output_open(struct framed_output_s* output);
void framed_output_close(struct framed_output_s* output);

/* Adds text to the answer. 0, or -1 when memory ran out. */
int framed_output_add(struct framed_output_s* output, const char* text, size_t length);
/* Frames what was added. 0, or -1 when memory ran out. */
int framed_output_frame(struct framed_output_s* output);
/* Frames what was added and ends the answer. 0, or -1 when memory ran out. */
int framed_output_end(struct framed_output_s* output);

/* How much is framed and waits. */
size_t framed_output_waiting(const struct framed_output_s* output);
/* Writes what the socket takes without waiting. The number of bytes, or -1 when it is lost. */
long framed_output_write(struct framed_output_s* output, int fd);

#endif
