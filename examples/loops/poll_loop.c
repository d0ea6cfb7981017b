// SPDX-License-Identifier: BSD-2-Clause
/* The daemon of ports.h in a loop around poll(2). */
#include "ports.h"

#include <drend.h>
#include <poll.h>
#include <string.h>
#include <unistd.h>

enum { PEERS = 1 }; /* each of which has at most one answer under way */

/* [shown] */
static void* due[PEERS]; /* walks to continue, in their order */
static size_t due_count;

void continue_later(void* arg, void* walk) {
    (void)arg;
    due[due_count++] = walk;
}

void forget(void* walk) {
    for (size_t i = 0; i < due_count; ++i)
        if (due[i] == walk)
            memmove(&due[i], &due[i + 1], (--due_count - i) * sizeof due[0]);
}

static void continue_first(void) {
    void* walk = due[0];
    forget(walk);
    if (drend_defer_continue(walk) != 1)
        ports_answer_is_over(); /* else it has been here again: continue_later */
}

static void run(struct pollfd* input) {
    while (input->fd >= 0 || due_count > 0) {
        const int ready = poll(input, 1, due_count > 0 ? 0 : -1);
        if (ready == 0)
            continue_first(); /* nothing else to do */
        else if (ready > 0 && ports_read() == 0)
            input->fd = -1; /* poll passes over it */
    }
}
/* [end] */

int main(int argc, char** argv) {
    if (ports_start(argc, argv) != 0)
        return 1;
    drend_set_reschedule_handler(continue_later, NULL);
    run(&(struct pollfd){STDIN_FILENO, POLLIN, 0});
    ports_end();
    return 0;
}
