// SPDX-License-Identifier: BSD-2-Clause

#include "drend.h"
#include "server.h"

#include <stdio.h>
#include <time.h>

enum { IDLE_NANOSECONDS = 100 };

/* The connection whose slice is on the stack, or NULL. */
static struct connection_s* running;

/* Why its answer cannot be given; "" while it can. */
static char failure[160];

uint64_t now_ns(void) {
    struct timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return (uint64_t)time.tv_sec * 1000000000U + (uint64_t)time.tv_nsec;
}

void slice_begin(struct connection_s* connection) {
    running = connection;
    failure[0] = '\0';
    connection->state = CONNECTION_RUNNING;
    connection->continues_walk = false;
    connection->slice = (struct slice_s){.began = now_ns()};
    ++connection->server->stats.slices;
}

const char* slice_end(struct connection_s* connection) {
    running = NULL;
    connection->state =
        connection->peer.cookie == NULL ? CONNECTION_IDLE : CONNECTION_SUSPENDED;
    return failure[0] == '\0' ? NULL : failure;
}

bool slice_is_running(const struct connection_s* connection) {
    return running == connection;
}

bool slice_has_failed(const struct connection_s* connection) {
    return running == connection && failure[0] != '\0';
}

int mgmt_server_fail_answer(const char* reason) {
    if (running == NULL)
        return -1;
    if (failure[0] == '\0')
        snprintf(failure, sizeof failure, "%s", reason);
    return 0;
}

static bool peer_has_enough(struct connection_s* connection) {
    const size_t high_water = connection->server->config.high_water;
    if (connection->output.waiting < high_water)
        return false;
    if (framed_output_write(&connection->output, connection->fd) < 0)
        connection->is_lost = true;
    return connection->output.waiting >= high_water;
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
    return now_ns() - running->slice.began >= budget || peer_has_enough(running);
}

static void continue_walk(evContext loop, void* walk, struct timespec due,
                          struct timespec interval) {
    (void)loop, (void)due, (void)interval;
    drend_defer_continue(walk);
}

/* The reschedule handler for walks of nobody's peer; `base` is the loop's. */
static void continue_when_idle(void* base, void* walk) {
    const evContext loop = {base};
    __evSetIdleTimer(loop, continue_walk, walk, __evConsTime(0, IDLE_NANOSECONDS), NULL);
}

/* The reschedule handler: a connection's walk is continued in its turn, any other when idle. */
static void on_suspended(void* data, void* walk) {
    const struct mgmt_server_s* server = data;
    struct peer_s* peer = drend_get_walk_peer(walk);
    const bool is_peers_own = peer != NULL && peer->cookie == walk;
    if (!is_peers_own || peer->ops->continue_walk == NULL ||
        peer->ops->continue_walk(peer) != 0)
        continue_when_idle(server->base, walk);
}

/* --- methods of answers ---------------------------------------------------------------- */

static void on_answer_begins(void* peer, const char* media_type) {
    struct peer_s* to = peer;
    if (to != NULL && to->ops->answer_begins != NULL)
        to->ops->answer_begins(to, media_type);
}

static int on_answer_ends(void* peer, const drend_answer_end_s* end) {
    struct peer_s* to = peer;
    return to != NULL && to->ops->answer_ends != NULL ? to->ops->answer_ends(to, end) : 0;
}

void slices_install(struct mgmt_server_s* server) {
    drend_set_send_method_w_return(mgmt_sock_send);
    drend_set_answer_methods(on_answer_begins, on_answer_ends);
    drend_add_walk_handlers(NULL, is_slice_over, server);
    drend_set_suspend_on_hidden_rows(1); /* a search must not keep other peers waiting */
    drend_set_strict(1); /* who types requests is to be told what is wrong */
    drend_set_reschedule_handler(on_suspended, server);
}

/* Walks of nobody's peer may still be under way. */
void slices_uninstall(struct mgmt_server_s* server) {
    drend_set_answer_methods(NULL, NULL);
    drend_add_walk_handlers(NULL, NULL, NULL);
    drend_set_suspend_on_hidden_rows(0);
    drend_set_reschedule_handler(continue_when_idle, server->base);
}
