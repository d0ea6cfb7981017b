// SPDX-License-Identifier: BSD-2-Clause

#include "framed_output.h"

#include <assert.h>
#include <errno.h>
#include <stdbool.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>

enum {
    BLOCK_SIZE = 65536,
    KEPT_BLOCKS = 16,
    CHUNK_MAX = 16384,
    HEADER_MAX = 8,  /* of a chunk: LF "#" 16384 LF */
    CHUNK_MIN = 256, /* not begun where less is left of a block */
    WRITE_MAX = 16384,
};
static const char END_OF_CHUNKS[] = "\n##\n";
enum { END_LENGTH = sizeof END_OF_CHUNKS - 1 };

struct output_block_s {
    struct output_block_s* next;
    size_t begin; /* what is before was written */
    size_t end;
    char bytes[];
};
enum { BLOCK_ROOM = BLOCK_SIZE - sizeof(struct output_block_s) };

/* --- blocks ------------------------------------------------------------------------ */

static struct output_block_s* kept; /* for the next answers */
static unsigned kept_count;

static void free_block(struct output_block_s* block) {
    if (kept_count == KEPT_BLOCKS) {
        munmap(block, BLOCK_SIZE);
        return;
    }
    block->next = kept;
    kept = block;
    ++kept_count;
}

static struct output_block_s* new_block(void) {
    struct output_block_s* block = kept;
    if (block != NULL) {
        kept = block->next;
        --kept_count;
    } else {
        block = mmap(NULL, BLOCK_SIZE, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                     -1, 0);
        if (block == MAP_FAILED)
            return NULL;
    }
    block->next = NULL;
    block->begin = 0;
    block->end = 0;
    return block;
}

void framed_output_trim(void) {
    while (kept != NULL) {
        struct output_block_s* block = kept;
        kept = block->next;
        munmap(block, BLOCK_SIZE);
    }
    kept_count = 0;
}

/* Has the last block take `length` more bytes. 0, or -1 when memory ran out. */
static int make_room(struct framed_output_s* output, size_t length) {
    if (output->last != NULL && BLOCK_ROOM - output->last->end >= length)
        return 0;
    struct output_block_s* block = new_block();
    if (block == NULL)
        return -1;
    if (output->last == NULL)
        output->first = block;
    else
        output->last->next = block;
    output->last = block;
    return 0;
}

static void drop_first_block(struct framed_output_s* output) {
    struct output_block_s* block = output->first;
    output->first = block->next;
    if (output->first == NULL)
        output->last = NULL;
    free_block(block);
}

void framed_output_close(struct framed_output_s* output) {
    while (output->first != NULL)
        drop_first_block(output);
}

/* --- chunks ------------------------------------------------------------------------ */

static int open_chunk(struct framed_output_s* output) {
    if (make_room(output, HEADER_MAX + CHUNK_MIN + END_LENGTH) != 0)
        return -1;
    output->last->end += HEADER_MAX;
    output->chunk = output->last->end;
    return 0;
}

/* How many more bytes the chunk that is being filled takes. */
static size_t chunk_room(const struct framed_output_s* output) {
    const size_t in_block = BLOCK_ROOM - END_LENGTH - output->last->end;
    const size_t in_chunk = CHUNK_MAX - (output->last->end - output->chunk);
    return in_block < in_chunk ? in_block : in_chunk;
}

int framed_output_add(struct framed_output_s* output, const char* text, size_t length) {
    while (length > 0) {
        if (output->chunk == 0 && open_chunk(output) != 0)
            return -1;
        const size_t room = chunk_room(output);
        const size_t taken = length < room ? length : room;
        memcpy(output->last->bytes + output->last->end, text, taken);
        output->last->end += taken;
        text += taken;
        length -= taken;
        if (taken == room)
            framed_output_frame(output);
    }
    return 0;
}

void framed_output_frame(struct framed_output_s* output) {
    if (output->chunk == 0)
        return;
    struct output_block_s* block = output->last;
    const size_t length = block->end - output->chunk;
    assert(0 < length && length <= CHUNK_MAX);
    char header[HEADER_MAX + 1];
    const size_t header_length =
        (size_t)snprintf(header, sizeof header, "\n#%zu\n", length);
    char* at = block->bytes + output->chunk - HEADER_MAX;
    memmove(at + header_length, block->bytes + output->chunk,
            length); /* most often nowhere */
    memcpy(at, header, header_length);
    block->end -= HEADER_MAX - header_length;
    output->waiting += header_length + length;
    output->chunk = 0;
}

/* Adds bytes that are framed already, over as many blocks as it takes. */
static int add_framed(struct framed_output_s* output, const char* bytes, size_t length) {
    while (length > 0) {
        if (make_room(output, 1) != 0)
            return -1;
        struct output_block_s* block = output->last;
        const size_t room = BLOCK_ROOM - block->end;
        const size_t taken = length < room ? length : room;
        memcpy(block->bytes + block->end, bytes, taken);
        block->end += taken;
        output->waiting += taken;
        bytes += taken;
        length -= taken;
    }
    return 0;
}

int framed_output_note(struct framed_output_s* output, char tag, const char* text,
                       size_t length) {
    framed_output_frame(output);
    char header[32];
    const int header_length = snprintf(header, sizeof header, "\n#%c%zu\n", tag, length);
    return add_framed(output, header, (size_t)header_length) == 0
               ? add_framed(output, text, length)
               : -1;
}

int framed_output_end(struct framed_output_s* output) {
    framed_output_frame(output);
    return add_framed(output, END_OF_CHUNKS, END_LENGTH);
}

/* --- writing ----------------------------------------------------------------------- */

/* How many bytes of the first block are framed and not yet written. */
static size_t framed_length(const struct framed_output_s* output) {
    const struct output_block_s* block = output->first;
    const bool is_being_filled = block == output->last && output->chunk != 0;
    return (is_being_filled ? output->chunk - HEADER_MAX : block->end) - block->begin;
}

long framed_output_write(struct framed_output_s* output, int fd) {
    long written = 0;
    while (output->waiting > 0) {
        struct output_block_s* block = output->first;
        const size_t framed = framed_length(output);
        const ssize_t taken =
            send(fd, block->bytes + block->begin, framed < WRITE_MAX ? framed : WRITE_MAX,
                 MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken < 0 && errno == EINTR)
            continue;
        if (taken < 0)
            return errno == EAGAIN || errno == EWOULDBLOCK ? written : -1;
        block->begin += (size_t)taken;
        output->waiting -= (size_t)taken;
        output->written += taken;
        written += taken;
        if (block->begin == block->end)
            drop_first_block(output);
    }
    return written;
}
