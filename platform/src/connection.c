// SPDX-License-Identifier: BSD-2-Clause
/*
 * One peer of the server: its requests, one after the other, and their answers.
 *
 * Every way into this file from the loop ends in connection_settle, which writes what the socket
 * takes, sets the events that are needed next and, when the connection is over, destroys it.
 */
#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "drend.h"
#include "menu_match.h"
#include "server.h"
#include "unread.h"

enum {
    READ_MAX = 16384, /* in a turn */
    RETRY_MS_MAX = 100,
    STALL_CHECKS = 4, /* how often a peer is looked at before it counts as stalled */
    INTERRUPT = '\x03',
};

/* --- the peer that handlers see ---------------------------------------------------- */

static int send_text(struct peer_s* peer, const char* text, size_t length) {
    struct connection_s* connection = (struct connection_s*)peer;
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

static void finish_answer(struct connection_s* connection) {
    connection->state = CONNECTION_IDLE;
    connection->retry_ms = 0;
    ++connection->server->stats.requests;
    if (answer_finish(&connection->answer, &connection->output) != 0)
        connection->is_lost = true;
}

static void answer_with(struct connection_s* connection, const char* text) {
    send_text(&connection->peer, text, strlen(text));
    finish_answer(connection);
}

/* `text` says why, where the refusal does not. */
static void end_refused(struct connection_s* connection, enum refusal_e refusal,
                        const char* text) {
    if (answer_refuse(&connection->answer, &connection->output, refusal, text) != 0)
        connection->is_lost = true;
}

static void refuse_with(struct connection_s* connection, enum refusal_e refusal,
                        const char* text) {
    end_refused(connection, refusal, text);
    finish_answer(connection);
}

static void refuse(struct connection_s* connection, enum refusal_e refusal) {
    refuse_with(connection, refusal, NULL);
}

/* Ends an answer that cannot be given to its end. */
static void give_up_answer(struct connection_s* connection, enum refusal_e refusal,
                           const char* reason) {
    connection->waits_for_drain = false;
    peer_drop_walk(&connection->peer);
    turns_forget(connection, TURN_WALK);
    event_del(connection->retry);
    refuse_with(connection, refusal, reason);
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

static void after_slice(struct connection_s* connection) {
    const char* failure = slice_end(connection);
    if (failure != NULL)
        give_up_answer(connection, REFUSAL_UNAVAILABLE, failure);
    else if (connection->state == CONNECTION_SUSPENDED)
        plan_next_slice(connection);
    else
        finish_answer(connection);
}

static void continue_answer(struct connection_s* connection) {
    if (connection->peer.cookie == NULL) { /* ended by somebody else */
        finish_answer(connection);
    } else if (connection->continues_walk) {
        slice_begin(connection);
        if (drend_defer_continue(connection->peer.cookie) < 0)
            connection->peer.cookie = NULL; /* no walk that the library knows */
        after_slice(connection);
    }
}

/* --- requests ---------------------------------------------------------------------- */

static void run_entry(struct connection_s* connection, const struct menu_match_s* found) {
    if (found->entry->handler == NULL) {
        refuse(connection, REFUSAL_NO_HANDLER);
        return;
    }
    ms_parse_context_s parsed = {found->entry->subcode};
    slice_begin(connection);
    const int status = found->entry->handler(&connection->peer, &parsed, found->argument);
    const bool says_why = connection->answer.protocol != PROTOCOL_STATUS &&
                          connection->answer.has_begun; /* or so it is taken */
    if (status != 0 && !says_why && connection->peer.cookie == NULL &&
        !slice_has_failed(connection))
        end_refused(connection, REFUSAL_FAILED, NULL);
    after_slice(connection);
}

/* What could follow a command: no entry. In protocol 2 the arguments that it takes. */
static void answer_question(struct connection_s* connection,
                            const drend_menu_entry_s* entry) {
    const drend_answer_end_s nothing = {DREND_ANSWER_COMPLETE, "nothing", NULL, NULL};
    if (connection->answer.protocol != PROTOCOL_STATUS) {
        answer_with(connection, "210\n");
        return;
    }
    if (drend_send_parameters(&connection->peer, entry) == DREND_ERR)
        note_end(&connection->peer, &nothing);
    finish_answer(connection);
}

/* The answer is in the protocol that was asked for already. */
static void choose_protocol(struct connection_s* connection, const char* wanted) {
    if (strcmp(wanted, "1") == 0)
        connection->answer.protocol = PROTOCOL_TEXT;
    else if (strcmp(wanted, "2") == 0)
        connection->answer.protocol = PROTOCOL_STATUS;
    else
        end_refused(connection, REFUSAL_UNKNOWN_PROTOCOL, NULL);
    finish_answer(connection);
}

static void answer_from_menu(struct connection_s* connection, const char* request) {
    char area[512];
    str_buf_s* text;
    sbuf_init_buf(&text, area, sizeof area);
    struct menu_match_s found;
    switch (menu_match(connection->server->config.menu, request, &found, text)) {
    case MENU_MATCH_ENTRY:
        run_entry(connection, &found);
        break;
    case MENU_MATCH_QUESTION:
        answer_question(connection, found.entry);
        break;
    case MENU_MATCH_ANSWER:
        answer_with(connection, sbuf_str(text));
        break;
    case MENU_MATCH_REFUSED:
        refuse_with(connection, found.refusal, sbuf_str(text));
        break;
    }
    sbuf_reset(text);
}

/* No entry of a menu is spelled with a "=". */
static void answer_request(struct connection_s* connection, const char* request) {
    static const char protocol[] = "protocol=";
    const size_t length = sizeof protocol - 1;
    if (strncmp(request, protocol, length) == 0)
        choose_protocol(connection, request + length);
    else
        answer_from_menu(connection, request);
}

/* Cuts blanks off both ends of a line of `length` bytes. "" for an empty one. */
static const char* trimmed(char* line, size_t length) {
    while (length > 0 && strchr(" \t\r", line[length - 1]) != NULL)
        --length;
    line[length] = '\0';
    return line + strspn(line, " \t");
}

static void refuse_long_line(struct connection_s* connection) {
    refuse(connection, REFUSAL_TOO_LONG);
    connection->is_closing = true;
}

/* Answers the next request that has arrived, if there is one. */
static void answer_next(struct connection_s* connection) {
    struct request_input_s* input = &connection->input;
    /* Many requests may come from somebody who reads no answers. */
    if (connection->output.waiting > connection->server->config.low_water) {
        connection->waits_for_drain = true;
        return;
    }
    const long length = request_input_line(input);
    if (length < 0)
        return;
    if (length > REQUEST_MAX) {
        refuse_long_line(connection);
        return;
    }
    char* line = request_input_bytes(input);
    if (memchr(line, '\0', (size_t)length) != NULL)
        refuse(connection, REFUSAL_NUL_BYTE);
    else
        answer_request(connection, trimmed(line, (size_t)length));
    request_input_drop(input, (size_t)length + 1);
    request_input_skip_blanks(input);
}

/* --- input ------------------------------------------------------------------------- */

/* Answers the requests in the first `length` bytes, the last without its end, that they were
 * interrupted. */
static void interrupt_requests(struct connection_s* connection, size_t length) {
    const char* at = request_input_bytes(&connection->input);
    const char* end = at + length;
    while (at < end) {
        const char* line_end = memchr(at, '\n', (size_t)(end - at));
        if (line_end == NULL)
            line_end = end;
        while (at < line_end && strchr(" \t\r", *at) != NULL && *at != '\0')
            ++at;
        if (at < line_end)
            refuse(connection, REFUSAL_INTERRUPTED);
        at = line_end + 1;
    }
}

/* Heeds the interrupts in what was read last, `fresh` bytes; none is left before. */
static void heed_interrupts(struct connection_s* connection, size_t fresh) {
    struct request_input_s* input = &connection->input;
    while (fresh > 0) {
        const size_t searched = input->length - fresh;
        const char* bytes = request_input_bytes(input);
        const char* found = memchr(bytes + searched, INTERRUPT, fresh);
        if (found == NULL)
            return;
        if (connection->state == CONNECTION_SUSPENDED)
            give_up_answer(connection, REFUSAL_INTERRUPTED, NULL);
        interrupt_requests(connection, (size_t)(found - bytes));
        request_input_drop(input, (size_t)(found - bytes) + 1);
        fresh = input->length;
    }
}

/* An interrupt is read whatever a walk has left waiting, but not behind answers without end. */
static bool reads_on(const struct connection_s* connection) {
    return !connection->at_eof && !connection->is_closing &&
           connection->input.length < REQUEST_INPUT_MAX &&
           connection->output.waiting < 2 * connection->server->config.high_water;
}

/* Whether there is a request whose turn it is. */
static bool may_answer(const struct connection_s* connection) {
    return connection->state == CONNECTION_IDLE && !connection->waits_for_drain &&
           !connection->is_closing && request_input_line(&connection->input) >= 0;
}

/* Reads what has come, as much as a turn may. */
static void read_requests(struct connection_s* connection) {
    size_t left = READ_MAX;
    while (left > 0 && connection->has_input && reads_on(connection)) {
        const long taken = request_input_read(&connection->input, connection->fd, left);
        if (taken > 0) {
            left -= (size_t)taken;
            heed_interrupts(connection, (size_t)taken);
            request_input_skip_blanks(&connection->input);
        } else if (taken == 0) {
            connection->has_input = false;
            connection->at_eof = true;
        } else if (errno != EINTR) {
            connection->has_input = false;
            connection->is_lost = errno != EAGAIN;
        }
    }
}

/* --- the loop's callbacks ---------------------------------------------------------- */

/* Whether a walk has lost its peer, where neither reading nor writing would show it. A peer that
 * has closed reads no answers; one that only sends no more does. */
static bool has_hung_up(const struct connection_s* connection) {
    struct pollfd both_ways = {.fd = connection->fd};
    return connection->state == CONNECTION_SUSPENDED && !reads_on(connection) &&
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
    const long written = framed_output_write(&connection->output, connection->fd);
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
    if ((connection->has_input && reads_on(connection)) || may_answer(connection))
        turns_queue(connection, TURN_REQUEST);
    if (is_over(connection))
        connection_destroy(connection);
    else
        set_writable(connection);
}

void connection_take_turn(struct connection_s* connection, enum turn_e kind) {
    const bool is_open = !connection->is_closing && !connection->is_lost;
    if (is_open && kind == TURN_REQUEST) {
        read_requests(connection);
        if (connection->state == CONNECTION_IDLE && !connection->is_lost)
            answer_next(connection);
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
    static const struct peer_ops_s ops = {send_text,     flush_text, close_peer,
                                          on_walk_ended, note_begin, note_end};
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
