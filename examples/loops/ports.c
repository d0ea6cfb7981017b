// SPDX-License-Identifier: BSD-2-Clause

#include "ports.h"

#include <drend.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

enum { PORTS = 10, LONGEST_REQUEST = 512 };

struct port {
    uint32_t number;
    uint64_t packets;
};

static struct port ports[PORTS];
static unsigned rows_per_slice; /* 0: an answer is never suspended */
static unsigned rows_given;
static unsigned slices;
static void* answer; /* the suspended walk, or NULL */

static int next_port(dr_meta_context_s* ctx, const void* data) {
    struct port* port = drend_get_element_ref(ctx);
    (void)data;
    port = port == NULL ? ports : port + 1;
    drend_set_element_ref(ctx, port == ports + PORTS ? NULL : port);
    return port == ports + PORTS ? DREND_NO_EL : DREND_OK;
}

static int read_number(dr_meta_context_s* ctx, const void* data) {
    const struct port* port = drend_get_element_ref(ctx);
    (void)data;
    return drend_set_uint32_value(ctx, port->number);
}

static int read_packets(dr_meta_context_s* ctx, const void* data) {
    const struct port* port = drend_get_element_ref(ctx);
    (void)data;
    return drend_set_uint64_value(ctx, port->packets);
}

static int slice_begins(dr_meta_context_s* ctx, void* data) {
    (void)ctx, (void)data;
    ++slices;
    return 0;
}

static int slice_is_full(dr_meta_context_s* ctx, void* data) {
    (void)ctx, (void)data;
    return rows_per_slice != 0 && ++rows_given % rows_per_slice == 0;
}

int ports_start(int argc, char** argv) {
    if (argc < 2)
        return -1;
    for (uint32_t i = 0; i < PORTS; ++i)
        ports[i] = (struct port){i + 1, 1000 / (i + 1)};
    rows_per_slice = argc > 2 ? (unsigned)strtoul(argv[2], NULL, 10) : 0;
    drend_add_list("/ports/port", next_port, NULL);
    drend_add_uint32_leaf("/ports/port/number", read_number, NULL);
    drend_add_uint64_leaf("/ports/port/packets", read_packets, NULL);
    drend_add_walk_handlers(slice_begins, slice_is_full, NULL);
    drend_set_prefix(argv[1]);
    return drend_dir_init() < 1 ? -1 : 0;
}

static void cancel(void) {
    if (answer == NULL)
        return;
    forget(answer);
    drend_drop_walk(answer);
    ports_answer_is_over();
}

static void serve(char* request) {
    char* argument = strchr(request, ' ');
    if (argument != NULL)
        *argument++ = '\0';
    if (strcmp(request, "cancel") == 0) {
        cancel();
    } else if (answer != NULL) {
        drend_send(NULL, "error: an answer is under way\n");
    } else if (drend_dump_rpc(NULL, request, argument) == DREND_DEFER) {
        answer = drend_take_suspended_rpc();
        continue_later(NULL, answer); /* later suspensions go there by themselves */
    }
}

int ports_read(void) {
    static char line[LONGEST_REQUEST];
    static size_t length;
    const ssize_t got = read(STDIN_FILENO, line + length, sizeof line - length);
    if (got <= 0)
        return 0;
    length += (size_t)got;
    for (char* end; (end = memchr(line, '\n', length)) != NULL;) {
        const size_t used = (size_t)(end + 1 - line);
        *end = '\0';
        serve(line);
        length -= used;
        memmove(line, end + 1, length);
    }
    return length < sizeof line;
}

void ports_answer_is_over(void) {
    answer = NULL;
}

void ports_end(void) {
    fprintf(stderr, "%u slices\n", slices);
}
