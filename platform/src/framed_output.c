#include "framed_output.h"

#include <errno.h>
#include <event2/buffer.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>

enum { CHUNK_SIZE = 16384, WRITE_MAX = 16384 };

int framed_output_open(struct framed_output_s* output) {
    *output = (struct framed_output_s){.framed = evbuffer_new()};
    return output->framed == NULL ? -1 : 0;
}

void framed_output_close(struct framed_output_s* output) {
    evbuffer_free(output->framed);
    free(output->chunk);
}

int framed_output_frame(struct framed_output_s* output) {
    if (output->used == 0)
        return 0;
    const size_t length = output->used;
    output->used = 0;
    return evbuffer_add_printf(output->framed, "\n#%zu\n", length) < 0 ||
                   evbuffer_add(output->framed, output->chunk, length) != 0
               ? -1
               : 0;
}

int framed_output_add(struct framed_output_s* output, const char* text, size_t length) {
    if (output->chunk == NULL && (output->chunk = malloc(CHUNK_SIZE)) == NULL)
        return -1;
    while (length > 0) {
        const size_t room = CHUNK_SIZE - output->used;
        const size_t taken = length < room ? length : room;
        memcpy(output->chunk + output->used, text, taken);
        output->used += taken;
        text += taken;
        length -= taken;
        if (output->used == CHUNK_SIZE && framed_output_frame(output) != 0)
            return -1;
    }
    return 0;
}

int framed_output_end(struct framed_output_s* output) {
    static const char END_OF_CHUNKS[] = "\n##\n";
    const int framed = framed_output_frame(output);
    free(output->chunk);
    output->chunk = NULL;
    if (framed != 0)
        return -1;
    return evbuffer_add(output->framed, END_OF_CHUNKS, strlen(END_OF_CHUNKS));
}

size_t framed_output_waiting(const struct framed_output_s* output) {
    return evbuffer_get_length(output->framed);
}

long framed_output_write(struct framed_output_s* output, int fd) {
    long written = 0;
    struct evbuffer_iovec extent;
    while (evbuffer_peek(output->framed, WRITE_MAX, NULL, &extent, 1) > 0) {
        const size_t length = extent.iov_len < WRITE_MAX ? extent.iov_len : WRITE_MAX;
        const ssize_t taken =
            send(fd, extent.iov_base, length, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (taken < 0 && errno == EINTR)
            continue;
        if (taken < 0)
            return errno == EAGAIN || errno == EWOULDBLOCK ? written : -1;
        evbuffer_drain(output->framed, (size_t)taken);
        written += taken;
    }
    return written;
}
