// SPDX-License-Identifier: BSD-2-Clause
/* The daemon of ports.h in a loop of libuv. */
#include "ports.h"

#include <drend.h>
#include <unistd.h>
#include <uv.h>

/* [shown] */
static void* due;      /* the walk to continue: there is one answer at a time */
static uv_idle_t idle; /* active as long as there is one */

static void continue_due(uv_idle_t* handle) {
    void* walk = due;
    forget(walk);
    (void)handle;
    if (drend_defer_continue(walk) != 1)
        ports_answer_is_over(); /* else the handler below was called */
}

void continue_later(void* arg, void* walk) {
    (void)arg;
    due = walk;
    uv_idle_start(&idle, continue_due);
}

void forget(void* walk) {
    if (due == walk)
        uv_idle_stop(&idle);
}
/* [end] */

static void input_is_ready(uv_poll_t* input, int status, int events) {
    (void)status, (void)events;
    if (ports_read() == 0)
        uv_close((uv_handle_t*)input, NULL);
}

int main(int argc, char** argv) {
    uv_poll_t input;
    if (ports_start(argc, argv) != 0 || uv_idle_init(uv_default_loop(), &idle) != 0 ||
        uv_poll_init(uv_default_loop(), &input, STDIN_FILENO) != 0 ||
        uv_poll_start(&input, UV_READABLE, input_is_ready) != 0)
        return 1;
    drend_set_reschedule_handler(continue_later, NULL);
    uv_run(uv_default_loop(), UV_RUN_DEFAULT);
    uv_close((uv_handle_t*)&idle, NULL);
    uv_run(uv_default_loop(), UV_RUN_DEFAULT);
    uv_loop_close(uv_default_loop());
    ports_end();
    return 0;
}
