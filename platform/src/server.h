/*
 * The server's inside: what its files share.
 *
 *     server.c       the socket, who may connect, whose turn it is
 *     connection.c   one peer: requests in, answers out
 *     slices.c       when a walk is suspended and who continues it
 *
 *  1. Only the loop's callbacks destroy a connection, as their last act (connection_settle). What
 *     handlers and methods find out is noted and settled then.
 *  2. A connection is idle, running (its handler or a slice of its walk is on the stack; there is
 *     one such connection at most) or suspended (its walk is its cookie).
 *  3. Walks go on one slice at a time, in turn, when no socket is ready: the turn's event has the
 *     lowest priority and is set anew after each slice.
 */
#ifndef ORVEX_PLATFORM_SERVER_H
#define ORVEX_PLATFORM_SERVER_H

#include <event2/event.h>
#include <stdbool.h>
#include <stdint.h>
#include <sys/queue.h>
#include <sys/types.h>

#include "framed_output.h"
#include "orvex_platform/mgmt_server.h"
#include "peer.h"

enum connection_state_e { CONNECTION_IDLE, CONNECTION_RUNNING, CONNECTION_SUSPENDED };

/* What the slice that is running has done so far. */
struct slice_s {
    uint64_t began; /* CLOCK_MONOTONIC, in nanoseconds */
    bool has_moved; /* it sent something or was given a row */
};

struct connection_s {
    struct peer_s peer; /* first: the peer that handlers get is the connection */
    struct mgmt_server_s* server;
    TAILQ_ENTRY(connection_s) link;
    TAILQ_ENTRY(connection_s) turn_link;

    int fd;
    struct event* readable;
    struct event* writable;
    struct event* retry; /* of a walk that got nowhere */
    struct evbuffer* input;
    struct framed_output_s output;

    enum connection_state_e state;
    struct slice_s slice;
    unsigned retry_ms;
    bool has_begun;       /* something of the present answer was sent */
    bool continues_walk;  /* the walk was handed to the server to be continued */
    bool waits_for_drain; /* its walk goes on when the peer has taken enough */
    bool waits_for_turn;
    bool at_eof;     /* the peer sends nothing any more */
    bool is_closing; /* to be closed when what waits has gone out */
    bool is_lost;    /* to be closed at once */

    int queued_before;     /* in the kernel, when last looked at */
    unsigned quiet_checks; /* how often since then the peer had taken nothing */
};

TAILQ_HEAD(connection_list_s, connection_s);

struct mgmt_server_s {
    mgmt_server_config_s config; /* with the defaults filled in */
    evContext loop;
    struct event_base* base;
    gid_t group;
    int fd;
    bool has_bound;
    struct event* acceptable;
    struct event* accept_again; /* after descriptors had run out */
    struct event* turn;
    struct connection_list_s connections;
    struct connection_list_s turns;
    mgmt_server_stats_s stats;
};

/* --- connection.c --- */

/* Takes over `fd`. NULL, with `fd` still the caller's, when memory ran out. */
struct connection_s* connection_open(struct mgmt_server_s* server, int fd);
/* Goes on with a connection whose turn it is. */
void connection_take_turn(struct connection_s* connection);
/* Ends its walk, sends what goes out at once and frees it. */
void connection_destroy(struct connection_s* connection);

/* --- server.c --- */

/* Gives the connection a turn after those that wait for theirs already. */
void server_queue_turn(struct connection_s* connection);
void server_forget_turn(struct connection_s* connection);
/* Nothing for NULL. */
void free_event(struct event* event);

/* --- slices.c --- */

void slices_install(struct mgmt_server_s* server);
void slices_uninstall(void);
/* The connection runs from here to slice_end; what is suspended meanwhile is noted in it. */
void slice_begin(struct connection_s* connection);
void slice_end(struct connection_s* connection);
bool slice_is_running(const struct connection_s* connection);

#endif
