// SPDX-License-Identifier: BSD-2-Clause

#include "server.h"

static void set_turn_event(struct mgmt_server_s* server) {
    /* A timer, even of no length, lets the loop look at everything else first. */
    const struct timeval at_once = {0, 0};
    const bool is_awaited = !TAILQ_EMPTY(&server->turns[TURN_REQUEST]) ||
                            !TAILQ_EMPTY(&server->turns[TURN_WALK]);
    if (is_awaited && !event_pending(server->turn, EV_TIMEOUT, NULL))
        event_add(server->turn, &at_once);
}

void turns_queue(struct connection_s* connection, enum turn_e kind) {
    struct mgmt_server_s* server = connection->server;
    struct turn_s* turn = &connection->turns[kind];
    if (turn->connection == NULL) {
        turn->connection = connection;
        TAILQ_INSERT_TAIL(&server->turns[kind], turn, link);
    }
    set_turn_event(server);
}

void turns_forget(struct connection_s* connection, enum turn_e kind) {
    struct turn_s* turn = &connection->turns[kind];
    if (turn->connection != NULL) {
        turn->connection = NULL;
        TAILQ_REMOVE(&connection->server->turns[kind], turn, link);
    }
}

bool turns_are_awaited(const struct connection_s* connection) {
    return connection->turns[TURN_REQUEST].connection != NULL ||
           connection->turns[TURN_WALK].connection != NULL;
}

static enum turn_e next_kind(const struct mgmt_server_s* server) {
    if (TAILQ_EMPTY(&server->turns[TURN_WALK]))
        return TURN_REQUEST;
    if (TAILQ_EMPTY(&server->turns[TURN_REQUEST]))
        return TURN_WALK;
    return server->requests_ahead > 0 ? TURN_WALK : TURN_REQUEST;
}

/* Neither kind gets further ahead than a slice: what was not wanted in time is not owed. */
static void account(struct mgmt_server_s* server, enum turn_e kind, uint64_t spent) {
    const int64_t slice = (int64_t)server->config.slice_usec * 1000;
    const int64_t ahead =
        server->requests_ahead + (kind == TURN_REQUEST ? (int64_t)spent : -(int64_t)spent);
    server->requests_ahead = ahead > slice ? slice : ahead < -slice ? -slice : ahead;
}

static void on_turn(evutil_socket_t fd, short what, void* data) {
    (void)fd, (void)what;
    struct mgmt_server_s* server = data;
    const enum turn_e kind = next_kind(server);
    const struct turn_s* turn = TAILQ_FIRST(&server->turns[kind]);
    if (turn != NULL) {
        struct connection_s* connection = turn->connection;
        const uint64_t began = now_ns();
        turns_forget(connection, kind);
        connection_take_turn(connection, kind);
        account(server, kind, now_ns() - began);
    }
    set_turn_event(server);
}

int turns_open(struct mgmt_server_s* server) {
    TAILQ_INIT(&server->turns[TURN_REQUEST]);
    TAILQ_INIT(&server->turns[TURN_WALK]);
    server->turn = server_event(server, -1, 0, on_turn, server);
    return server->turn == NULL ? -1 : 0;
}

void turns_close(struct mgmt_server_s* server) {
    free_event(server->turn);
}
