// SPDX-License-Identifier: BSD-2-Clause
/*
 * What waits to be written to a connection, in the chunked framing of RFC 6242.
 *
 *     added text --> [ ...chunk | chunk being filled ] <-- [ ...chunk | chunk ] --> socket
 *                               last block                     first block
 *
 *  1. A chunk ends when it is full, when it is to go out, and at the end of an answer. Its header
 *     goes into the room that was left before it.
 *  2. Blocks are mappings of their own and not from the heap, which keeps what it once had: what
 *     peers that do not read have made a daemon hold goes back to the system when they leave.
 *  3. There are blocks only while something waits: an idle connection costs nothing.
 *  4. A write passes on at most WRITE_MAX bytes at once: where the kernel's own account of what the
 *     other side has taken is all there is, it moves in steps that small.
 */
#ifndef ORVEX_PLATFORM_FRAMED_OUTPUT_H
#define ORVEX_PLATFORM_FRAMED_OUTPUT_H

#include <stddef.h>
#include <stdint.h>

struct output_block_s;

/* All zeros: nothing waits. */
struct framed_output_s {
    struct output_block_s* first;
    struct output_block_s* last;
    size_t chunk; /* where the chunk that is being filled begins in the last block, or 0 */
    size_t waiting;  /* framed bytes */
    int64_t written; /* bytes, ever */
};

/* Drops what waits; the output is not used any more. */
void framed_output_close(struct framed_output_s* output);

/* Adds text to the answer. 0, or -1 when memory ran out. */
int framed_output_add(struct framed_output_s* output, const char* text, size_t length);
/* Frames what was added, and behind it a chunk of another kind, LF "#" tag length LF text. 0, or -1
 * when memory ran out. */
int framed_output_note(struct framed_output_s* output, char tag, const char* text,
                       size_t length);
/* Frames what was added. */
void framed_output_frame(struct framed_output_s* output);
/* Frames what was added and ends the answer. 0, or -1 when memory ran out. */
int framed_output_end(struct framed_output_s* output);

/* Writes what the socket takes without waiting. The number of bytes, or -1 when it is lost. */
long framed_output_write(struct framed_output_s* output, int fd);

/* Gives the blocks back that are kept for the next answers. */
void framed_output_trim(void);

#endif
