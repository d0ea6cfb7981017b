// SPDX-License-Identifier: BSD-2-Clause
/*
 * One peer of the server: its requests, one after the other, and their answers.
 *
 * Every way into this file from the loop ends in connection_settle, which writes what the socket
 * takes, sets the events that are needed next and, when the connection is over, destroys it.
 */
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "drend.h"
#include "server.h"
#include "unread.h"

enum {
    RETRY_MS_MAX = 100,
    STALL_CHECKS = 4, /* how often a peer is looked at before it counts as stalled */
};

/* --- the peer that handlers see ---------------------------------------------------- */

static int send_text(struct peer_s* peer, const char* text, size_t length) {
    struct connection_s* connection = (struct connection_s*)peer;
    connection->is_cut_off = connection->is_cut_off || connection->is_closing;
    if (connection->is_lost || connection->is_closing || slice_has_failed(connection))
        return PEER_LOST;
    connection->slice.has_moved = true;
    struct framed_output_s* output = &connection->output;
    if (answer_add(&connection->answer, output, text, length) != 0)
        connection->is_lost = true;
    /* An answer that cannot be suspended here may at least find its reader keeping up. */
    else if (output->waiting >= connection->server->config.high_water)
        connection->is_lost = framed_output_write(output, connection->fd) < 0;
    return connection->is_lost ? PEER_LOST : 0;
}

static int flush_text(struct peer_s* peer) {
    struct connection_s* connection = (struct connection_s*)peer;
    if (!slice_is_running(connection)) {
        framed_output_frame(&connection->output);
        turns_queue(connection, TURN_WALK);
    }
    return connection->is_lost ? PEER_LOST : 0;
}

static int close_peer(struct peer_s* peer) {
    struct connection_s* connection = (struct connection_s*)peer;
    connection->is_closing = true;
    connection->is_cut_off = connection->is_cut_off || peer->cookie != NULL;
    peer_drop_walk(peer);
    turns_queue(connection, TURN_REQUEST);
    return 0;
}

static void note_begin(struct peer_s* peer, const char* media_type) {
    struct connection_s* connection = (struct connection_s*)peer;
    if (answer_begin(&connection->answer, &connection->output, media_type) != 0)
        connection->is_lost = true;
}

/* One that an accessor has failed ends as the accessor says. */
static int note_end(struct peer_s* peer, const drend_answer_end_s* end) {
    struct connection_s* connection = (struct connection_s*)peer;
    if (slice_has_failed(connection))
        return 0;
    if (answer_end(&connection->answer, &connection->output, end) != 0)
        connection->is_lost = true;
    return connection->answer.protocol == PROTOCOL_STATUS;
}

/* Somebody else has continued the walk to its end. */
static void on_walk_ended(struct peer_s* peer) {
    struct connection_s* connection = (struct connection_s*)peer;
    if (!slice_is_running(connection))
        turns_queue(connection, TURN_WALK);
}

/* --- answers ----------------------------------------------------------------------- */

void connection_finish_answer(struct connection_s* connection) {
    connection->state = CONNECTION_IDLE;
    connection->retry_ms = 0;
    ++connection->server->stats.requests;
    if (!connection->is_cut_off &&
        answer_finish(&connection->answer, &connection->output) != 0)
        connection->is_lost = true;
}

void connection_answer_with(struct connection_s* connection, const char* text) {
    send_text(&connection->peer, text, strlen(text));
    connection_finish_answer(connection);
}

void connection_end_refused(struct connection_s* connection, enum refusal_e refusal,
                            const char* text) {
    if (answer_refuse(&connection->answer, &connection->output, refusal, text) != 0)
        connection->is_lost = true;
}

void connection_refuse(struct connection_s* connection, enum refusal_e refusal,
                       const char* text) {
    connection_end_refused(connection, refusal, text);
    connection_finish_answer(connection);
}

void connection_give_up(struct connection_s* connection, enum refusal_e refusal,
                        const char* reason) {
    connection->waits_for_drain = false;
    peer_drop_walk(&connection->peer);
    turns_forget(connection, TURN_WALK);
    event_del(connection->retry);
    connection_refuse(connection, refusal, reason);
}

/* Has a walk that is suspended go on when there is use in it. */
static void plan_next_slice(struct connection_s* connection) {
    framed_output_frame(&connection->output);
    if (framed_output_write(&connection->output, connection->fd) < 0)
        connection->is_lost = true;
    if (!connection->continues_walk)
        return; /* somebody else does that */
    if (connection->slice.has_moved)
        connection->retry_ms = 0;
    if (connection->output.waiting > connection->server->config.low_water) {
        connection->waits_for_drain = true;
    } else if (connection->slice.has_moved) {
        turns_queue(connection, TURN_WALK);
    } else {
        const unsigned doubled = connection->retry_ms == 0 ? 1 : 2 * connection->retry_ms;
        connection->retry_ms = doubled < RETRY_MS_MAX ? doubled : RETRY_MS_MAX;
        const struct timeval delay = {0, 1000 * (long)connection->retry_ms};
        event_add(connection->retry, &delay);
    }
}

/* In its slice it is planned when that ends; one that has waited for something has it now. A walk
 * that is not the answer to a request has no turns. */
static int continue_walk(struct peer_s* peer) {
    struct connection_s* connection = (struct connection_s*)peer;
    if (connection->state == CONNECTION_IDLE)
        return -1;
    connection->continues_walk = true;
    if (!slice_is_running(connection)) {
        connection->slice.has_moved = true;
        plan_next_slice(connection);
    }
    return 0;
}

void connection_after_slice(struct connection_s* connection) {
    const char* failure = slice_end(connection);
    if (failure != NULL)
        connection_give_up(connection, REFUSAL_UNAVAILABLE, failure);
    else if (connection->state == CONNECTION_SUSPENDED)
        plan_next_slice(connection);
    else
        connection_finish_answer(connection);
}

static void continue_answer(struct connection_s* connection) {
    if (connection->peer.cookie == NULL) { /* ended by somebody else */
        connection_finish_answer(connection);
    } else if (connection->continues_walk) {
        slice_begin(connection);
        if (drend_defer_continue(connection->peer.cookie) < 0)
            connection->peer.cookie = NULL; /* no walk that the library knows */
        connection_after_slice(connection);
    }
}

/* --- the loop's callbacks ---------------------------------------------------------- */

/* Whether a walk has lost its peer, where neither reading nor writing would show it. A peer that
 * has closed reads no answers; one that only sends no more does. */
static bool has_hung_up(const struct connection_s* connection) {
    struct pollfd both_ways = {.fd = connection->fd};
    return connection->state == CONNECTION_SUSPENDED && !requests_read_on(connection) &&
           poll(&both_ways, 1, 0) == 1 && (both_ways.revents & POLLHUP) != 0;
}

static bool is_over(const struct connection_s* connection) {
    const bool has_nothing_to_do = connection->at_eof && !turns_are_awaited(connection) &&
                                   connection->state == CONNECTION_IDLE;
    return connection->is_lost || ((connection->is_closing || has_nothing_to_do) &&
                                   connection->output.waiting == 0);
}

static void set_writable(struct connection_s* connection) {
    if (connection->output.waiting == 0) {
        event_del(connection->writable);
        connection->quiet_checks = 0;
    } else if (!event_pending(connection->writable, EV_WRITE, NULL)) {
        const long usec =
            1000000L / STALL_CHECKS * connection->server->config.stall_seconds;
        const struct timeval patience = {usec / 1000000, usec % 1000000};
        event_add(connection->writable, &patience);
    }
}

static void connection_settle(struct connection_s* connection) {
    if (connection->is_closing && connection->peer.cookie != NULL)
        peer_drop_walk(&connection->peer);
    /* What a lost peer still has waiting is broken off somewhere, and may have an end. */
    const long written =
        connection->is_lost ? -1 : framed_output_write(&connection->output, connection->fd);
    if (written < 0 || has_hung_up(connection))
        connection->is_lost = true;
    else if (written > 0)
        connection->quiet_checks = 0;
    if (connection->waits_for_drain &&
        connection->output.waiting <= connection->server->config.low_water) {
        connection->waits_for_drain = false;
        if (connection->state == CONNECTION_SUSPENDED)
            turns_queue(connection, TURN_WALK);
    }
    if ((connection->has_input && requests_read_on(connection)) ||
        requests_may_answer(connection))
        turns_queue(connection, TURN_REQUEST);
    if (is_over(connection))
        connection_destroy(connection);
    else
        set_writable(connection);
}

void connection_take_turn(struct connection_s* connection, enum turn_e kind) {
    const bool is_open = !connection->is_closing && !connection->is_lost;
    if (is_open && kind == TURN_REQUEST) {
        requests_read(connection);
        if (connection->state == CONNECTION_IDLE && !connection->is_lost)
            requests_answer_next(connection);
    } else if (is_open && connection->state == CONNECTION_SUSPENDED) {
        continue_answer(connection);
    }
    connection_settle(connection);
}

/* The edge: something has come, or the peer has closed one way or both. */
static void on_readable(evutil_socket_t fd, short what, void* data) {
    (void)fd, (void)what;
    struct connection_s* connection = data;
    connection->has_input = true;
    connection_settle(connection);
}

/* Whether the peer has taken nothing for as long as it may: neither from here nor, looked at a
 * few times meanwhile, from the kernel. */
static bool has_stalled(struct connection_s* connection) {
    const int64_t taken = connection->output.written - unread_bytes(connection->fd);
    connection->quiet_checks =
        taken > connection->taken_before ? 0 : connection->quiet_checks + 1;
    connection->taken_before = taken;
    return connection->quiet_checks >= STALL_CHECKS;
}

static void on_writable(evutil_socket_t fd, short what, void* data) {
    (void)fd;
    struct connection_s* connection = data;
    if ((what & EV_TIMEOUT) != 0 && has_stalled(connection))
        connection->is_lost = true;
    connection_settle(connection);
}

static void on_retry(evutil_socket_t fd, short what, void* data) {
    (void)fd, (void)what;
    turns_queue(data, TURN_WALK);
}

/* --- opening and closing ----------------------------------------------------------- */

static bool make_events(struct connection_s* connection) {
    const struct mgmt_server_s* server = connection->server;
    const int fd = connection->fd;
    const short edges = EV_ET | EV_PERSIST;
    connection->readable =
        server_event(server, fd, EV_READ | edges, on_readable, connection);
    connection->writable =
        server_event(server, fd, EV_WRITE | edges, on_writable, connection);
    connection->retry = server_event(server, -1, 0, on_retry, connection);
    return connection->readable != NULL && connection->writable != NULL &&
           connection->retry != NULL && event_add(connection->readable, NULL) == 0;
}

static void free_connection(struct connection_s* connection) {
    free_event(connection->readable);
    free_event(connection->writable);
    free_event(connection->retry);
    request_input_close(&connection->input);
    framed_output_close(&connection->output);
    free(connection);
}

struct connection_s* connection_open(struct mgmt_server_s* server, int fd) {
    static const struct peer_ops_s ops = {
        .send = send_text,
        .flush = flush_text,
        .close = close_peer,
        .walk_ended = on_walk_ended,
        .continue_walk = continue_walk,
        .answer_begins = note_begin,
        .answer_ends = note_end,
    };
    struct connection_s* connection = calloc(1, sizeof *connection);
    if (connection == NULL)
        return NULL;
    connection->peer.ops = &ops;
    connection->server = server;
    connection->fd = fd;
    if (!make_events(connection)) {
        free_connection(connection);
        return NULL;
    }
    return connection;
}

void connection_destroy(struct connection_s* connection) {
    peer_drop_walk(&connection->peer);
    if (!connection->is_lost)
        framed_output_write(&connection->output, connection->fd);
    turns_forget(connection, TURN_REQUEST);
    turns_forget(connection, TURN_WALK);
    TAILQ_REMOVE(&connection->server->connections, connection, link);
    --connection->server->stats.peers;
    const int fd = connection->fd;
    free_connection(
        connection); /* with its events, which the loop knows by the descriptor */
    close(fd);
}
