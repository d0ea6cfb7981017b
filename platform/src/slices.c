#include "drend.h"
#include "server.h"

#include <time.h>

enum { IDLE_NANOSECONDS = 100 };

/* The connection whose slice is on the stack, or NULL. */
static struct connection_s* running;

static uint64_t now(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (uint64_t)time.tv_sec * 1000000000U + (uint64_t)time.tv_nsec;
}

void slice_begin(struct connection_s* connection) {
    running = connection;
    connection->state = CONNECTION_RUNNING;
    connection->continues_walk = false;
    connection->slice = (struct slice_s){.began = now()};
    ++connection->server->stats.slices;
}

void slice_end(struct connection_s* connection) {
    running = NULL;
    connection->state =
        connection->peer.cookie == NULL ? CONNECTION_IDLE : CONNECTION_SUSPENDED;
}

bool slice_is_running(const struct connection_s* connection) {
    return running == connection;
}

static bool peer_has_enough(struct connection_s* connection) {
    const size_t high_water = connection->server->config.high_water;
    if (framed_output_waiting(&connection->output) < high_water)
        return false;
    if (framed_output_write(&connection->output, connection->fd) < 0)
        connection->is_lost = true;
    return framed_output_waiting(&connection->output) >= high_water;
}

/* The walk handler, asked after each row and between the predicates of one. Walks that are nobody's
 * peer's are not this server's. */
static int is_slice_over(dr_meta_context_s* ctx, void* data) {
    (void)ctx;
    const struct mgmt_server_s* server = data;
    if (running == NULL)
        return 0;
    running->slice.has_moved = true;
    const uint64_t budget = (uint64_t)server->config.slice_usec * 1000U;
    return now() - running->slice.began >= budget || peer_has_enough(running);
}

static void continue_walk(evContext loop, void* walk, struct timespec due,
                          struct timespec interval) {
    (void)loop, (void)due, (void)interval;
    drend_defer_continue(walk);
}

/* The reschedule handler: a connection's walk is continued in its turn, any other when idle. */
static void on_suspended(void* data, void* walk) {
    const struct mgmt_server_s* server = data;
    if (running != NULL && running->peer.cookie == walk) {
        running->continues_walk = true;
        return;
    }
    __evSetIdleTimer(server->loop, continue_walk, walk, __evConsTime(0, IDLE_NANOSECONDS),
                     NULL);
}

void slices_install(struct mgmt_server_s* server) {
    drend_set_send_method_w_return(mgmt_sock_send);
    drend_add_walk_handlers(NULL, is_slice_over, server);
    drend_set_suspend_on_hidden_rows(1); /* a search must not keep other peers waiting */
    drend_set_reschedule_handler(on_suspended, server);
}

void slices_uninstall(void) {
    drend_add_walk_handlers(NULL, NULL, NULL);
    drend_set_suspend_on_hidden_rows(0);
    drend_set_reschedule_handler(NULL, NULL);
}
