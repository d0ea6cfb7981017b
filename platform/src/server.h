// SPDX-License-Identifier: BSD-2-Clause
/*
 * The server's inside: what its files share.
 *
 *     server.c         who may connect
 *     socket_file.c    the socket's place in the file system
 *     registry_file.c  its entry in the run directory
 *     turns.c          whose turn it is
 *     connection.c     one peer: when it is read and written, and its answers
 *     requests.c       what it asks
 *     request_input.c  what it has sent
 *     answer.c         how an answer begins and ends
 *     framed_output.c  what waits for it
 *     unread.c         whether it takes anything
 *     slices.c         when a walk is suspended and who continues it
 *
 *  1. Only the loop's callbacks destroy a connection, as their last act (connection_settle). What
 *     handlers and methods find out is noted and settled then.
 *  2. A connection is idle, running (its handler or a slice of its walk is on the stack; there is
 *     one such connection at most) or suspended (its walk is its cookie).
 *  3. All events of the server have the lowest priority, so that signals and the daemon's own come
 *     before any peer; what a socket's events do is bounded and no longer than a write. Everything
 *     else happens in turns, one in each round of the loop.
 */
#ifndef ORVEX_PLATFORM_SERVER_H
#define ORVEX_PLATFORM_SERVER_H

#include <event2/event.h>
#include <stdbool.h>
#include <stdint.h>
#include <sys/queue.h>
#include <sys/types.h>

#include "answer.h"
#include "framed_output.h"
#include "orvex_platform/mgmt_server.h"
#include "peer.h"
#include "registry_file.h"
#include "request_input.h"
#include "socket_file.h"

enum connection_state_e { CONNECTION_IDLE, CONNECTION_RUNNING, CONNECTION_SUSPENDED };

/*
 * Turns are of two kinds: reading what a peer has sent and beginning the answer to one request, and
 * a slice of a walk that goes on. Within a kind the connections take turns one after the other.
 * While turns of both kinds are waited for each kind gets half of the time.
 */
enum turn_e { TURN_REQUEST, TURN_WALK, TURN_KINDS };

struct turn_s {
    TAILQ_ENTRY(turn_s) link;
    struct connection_s* connection; /* NULL while no such turn is waited for */
};
TAILQ_HEAD(turn_list_s, turn_s);

/* What the slice that is running has done so far. */
struct slice_s {
    uint64_t began; /* CLOCK_MONOTONIC, in nanoseconds */
    bool has_moved; /* it sent something or was given a row */
};

struct connection_s {
    struct peer_s peer; /* first: the peer that handlers get is the connection */
    struct mgmt_server_s* server;
    TAILQ_ENTRY(connection_s) link;
    struct turn_s turns[TURN_KINDS];

    int fd;
    struct event*
        readable; /* edge-triggered, like the next: has_input keeps what it said */
    struct event* writable; /* while output waits */
    struct event* retry;    /* of a walk that got nowhere */
    struct request_input_s input;
    struct framed_output_s output;

    enum connection_state_e state;
    struct answer_s answer; /* the present one */
    struct slice_s slice;
    unsigned retry_ms;
    bool continues_walk;  /* the walk was handed to the server to be continued */
    bool waits_for_drain; /* its walk goes on when the peer has taken enough */
    bool has_input;       /* there may be something to be read from the socket */
    bool at_eof;          /* the peer sends nothing any more */
    bool is_closing;      /* to be closed when what waits has gone out */
    bool is_cut_off; /* it is being closed in the middle of an answer, which has no end */
    bool is_lost;    /* to be closed at once */

    int64_t taken_before;  /* by the peer, when last looked at */
    unsigned quiet_checks; /* how often since then the peer had taken nothing */
};

TAILQ_HEAD(connection_list_s, connection_s);

struct mgmt_server_s {
    mgmt_server_config_s config; /* with the defaults filled in */
    struct event_base* base;
    gid_t group;
    struct socket_file_s file;
    struct registry_file_s entry;
    struct event* acceptable;
    struct event* accept_again; /* after descriptors had run out */
    struct connection_list_s connections;
    mgmt_server_stats_s stats;

    /* turns.c */
    struct event* turn;
    struct turn_list_s turns[TURN_KINDS];
    int64_t requests_ahead; /* of walks, in nanoseconds of time that they were given */
};

/* --- connection.c --- */

/* Takes over `fd`. NULL, with `fd` still the caller's, when memory ran out. */
struct connection_s* connection_open(struct mgmt_server_s* server, int fd);
/* Goes on with a connection whose turn it is. */
void connection_take_turn(struct connection_s* connection, enum turn_e kind);
/* Ends its walk, sends what goes out at once and frees it. */
void connection_destroy(struct connection_s* connection);

/* Sends `text`, which is all of an answer. */
void connection_answer_with(struct connection_s* connection, const char* text);
/* Ends an answer that was refused; `text` says why, where the refusal does not. */
void connection_refuse(struct connection_s* connection, enum refusal_e refusal,
                       const char* text);
/* The same without the end of its framing: its handler has not come to an end. */
void connection_end_refused(struct connection_s* connection, enum refusal_e refusal,
                            const char* text);
/* Ends an answer that cannot be given to its end. */
void connection_give_up(struct connection_s* connection, enum refusal_e refusal,
                        const char* reason);
void connection_finish_answer(struct connection_s* connection);
/* A slice has ended, and perhaps its answer. */
void connection_after_slice(struct connection_s* connection);

/* --- requests.c --- */

/* Whether what comes is wanted: an interrupt is read whatever a walk has left waiting, but not
 * behind answers without end. */
bool requests_read_on(const struct connection_s* connection);
/* Reads what has come, as much as a turn may, and heeds the interrupts in it. */
void requests_read(struct connection_s* connection);
/* Whether there is a request whose turn it is. */
bool requests_may_answer(const struct connection_s* connection);
/* Answers the next request that has arrived, if there is one. */
void requests_answer_next(struct connection_s* connection);

/* --- server.c --- */

/* An event of the server's priority; NULL when memory ran out. */
struct event* server_event(const struct mgmt_server_s* server, int fd, short what,
                           event_callback_fn callback, void* data);
/* Nothing for NULL. */
void free_event(struct event* event);

/* --- turns.c --- */

/* 0, or -1 when memory ran out; to be closed either way. */
int turns_open(struct mgmt_server_s* server);
void turns_close(struct mgmt_server_s* server);
/* Gives the connection a turn after those that wait for theirs already. */
void turns_queue(struct connection_s* connection, enum turn_e kind);
void turns_forget(struct connection_s* connection, enum turn_e kind);
bool turns_are_awaited(const struct connection_s* connection);

/* --- slices.c --- */

void slices_install(struct mgmt_server_s* server);
void slices_uninstall(struct mgmt_server_s* server);
/* The connection runs from here to slice_end; what is suspended meanwhile is noted in it. */
void slice_begin(struct connection_s* connection);
/* Why the answer cannot be given, valid until the next slice, or NULL. */
const char* slice_end(struct connection_s* connection);
bool slice_is_running(const struct connection_s* connection);
/* Whether it is running and cannot be given. */
bool slice_has_failed(const struct connection_s* connection);
/* CLOCK_MONOTONIC */
uint64_t now_ns(void);

#endif
