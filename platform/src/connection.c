/*
 * One peer of the server: its requests, one after the other, and their answers.
 *
 * Every way into this file from the loop ends in connection_settle, which writes what the socket
 * takes, sets the events that are needed next and, when the connection is over, destroys it.
 */
#include <errno.h>
#include <event2/buffer.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "drend.h"
#include "menu_match.h"
#include "server.h"

enum {
    LINE_MAX_BYTES = 65536,
    INPUT_MAX = LINE_MAX_BYTES + 2, /* reading ahead stops here */
    READ_MAX = 16384,
    SOCKET_PRIORITY = 0,
    RETRY_MS_MAX = 100,
    STALL_CHECKS = 4, /* how often a peer is looked at before it counts as stalled */
};

static const char INTERRUPT[] = "\x03";

/* --- the peer that handlers see ---------------------------------------------------- */

static int send_text(struct peer_s* peer, const char* text, size_t length) {
    struct connection_s* connection = (struct connection_s*)peer;
    if (connection->is_lost || connection->is_closing)
        return PEER_LOST;
    connection->has_begun = connection->has_begun || length > 0;
    connection->slice.has_moved = true;
    struct framed_output_s* output = &connection->output;
    if (framed_output_add(output, text, length) != 0)
        connection->is_lost = true;
    /* An answer that cannot be suspended here may at least find its reader keeping up. */
    else if (framed_output_waiting(output) >= connection->server->config.high_water)
        connection->is_lost = framed_output_write(output, connection->fd) < 0;
    return connection->is_lost ? PEER_LOST : 0;
}

static int flush_text(struct peer_s* peer) {
    struct connection_s* connection = (struct connection_s*)peer;
    if (!slice_is_running(connection)) {
        connection->is_lost |= framed_output_frame(&connection->output) != 0;
        server_queue_turn(connection);
    }
    return connection->is_lost ? PEER_LOST : 0;
}

static int close_peer(struct peer_s* peer) {
    struct connection_s* connection = (struct connection_s*)peer;
    connection->is_closing = true;
    peer_drop_walk(peer);
    server_queue_turn(connection);
    return 0;
}

/* Somebody else has continued the walk to its end. */
static void on_walk_ended(struct peer_s* peer) {
    struct connection_s* connection = (struct connection_s*)peer;
    if (!slice_is_running(connection))
        server_queue_turn(connection);
}

/* --- answers ----------------------------------------------------------------------- */

static void add_text(struct connection_s* connection, const char* text) {
    send_text(&connection->peer, text, strlen(text));
}

static void finish_answer(struct connection_s* connection) {
    connection->state = CONNECTION_IDLE;
    connection->has_begun = false;
    connection->retry_ms = 0;
    ++connection->server->stats.requests;
    if (framed_output_end(&connection->output) != 0)
        connection->is_lost = true;
}

static void answer_with(struct connection_s* connection, const char* text) {
    add_text(connection, text);
    finish_answer(connection);
}

/* Has a walk that is suspended go on when there is use in it. */
static void plan_next_slice(struct connection_s* connection) {
    if (framed_output_frame(&connection->output) != 0 ||
        framed_output_write(&connection->output, connection->fd) < 0)
        connection->is_lost = true;
    if (!connection->continues_walk)
        return; /* somebody else does that */
    if (connection->slice.has_moved)
        connection->retry_ms = 0;
    if (framed_output_waiting(&connection->output) > connection->server->config.low_water) {
        connection->waits_for_drain = true;
    } else if (connection->slice.has_moved) {
        server_queue_turn(connection);
    } else {
        const unsigned doubled = connection->retry_ms == 0 ? 1 : 2 * connection->retry_ms;
        connection->retry_ms = doubled < RETRY_MS_MAX ? doubled : RETRY_MS_MAX;
        const struct timeval delay = {0, 1000 * (long)connection->retry_ms};
        event_add(connection->retry, &delay);
    }
}

static void after_slice(struct connection_s* connection) {
    slice_end(connection);
    if (connection->state == CONNECTION_SUSPENDED)
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
        answer_with(connection, "error: this entry of the menu cannot be run\n");
        return;
    }
    ms_parse_context_s parsed = {found->entry->subcode};
    slice_begin(connection);
    const int status = found->entry->handler(&connection->peer, &parsed, found->argument);
    if (status != 0 && !connection->has_begun && connection->peer.cookie == NULL)
        add_text(connection, "error: the request failed\n");
    after_slice(connection);
}

static void answer_request(struct connection_s* connection, const char* request) {
    char area[512];
    str_buf_s* text;
    sbuf_init_buf(&text, area, sizeof area);
    struct menu_match_s found;
    if (menu_match(connection->server->config.menu, request, &found, text) ==
        MENU_MATCH_ENTRY)
        run_entry(connection, &found);
    else
        answer_with(connection, sbuf_str(text));
    sbuf_reset(text);
}

/* Cuts blanks off both ends of a line of `length` bytes. "" for an empty one. */
static const char* trimmed(char* line, size_t length) {
    while (length > 0 && strchr(" \t\r", line[length - 1]) != NULL)
        --length;
    line[length] = '\0';
    return line + strspn(line, " \t");
}

static bool has_line(const struct connection_s* connection) {
    return evbuffer_search_eol(connection->input, NULL, NULL, EVBUFFER_EOL_LF).pos >= 0 ||
           evbuffer_get_length(connection->input) > LINE_MAX_BYTES;
}

static void refuse_long_line(struct connection_s* connection) {
    evbuffer_drain(connection->input, evbuffer_get_length(connection->input));
    answer_with(connection, "error: a request has at most 65536 bytes\n");
    connection->is_closing = true;
}

/* Answers the next request that has arrived, if there is one. */
static void answer_next(struct connection_s* connection) {
    /* Many requests may come from somebody who reads no answers. */
    if (framed_output_waiting(&connection->output) > connection->server->config.low_water) {
        connection->waits_for_drain = true;
        return;
    }
    while (connection->state == CONNECTION_IDLE && !connection->is_closing &&
           has_line(connection)) {
        size_t length;
        char* line = evbuffer_readln(connection->input, &length, EVBUFFER_EOL_LF);
        if (line == NULL || length > LINE_MAX_BYTES) {
            free(line);
            refuse_long_line(connection);
            return;
        }
        const bool holds_nul = memchr(line, '\0', length) != NULL;
        const char* request = trimmed(line, length);
        const bool is_empty = *request == '\0' && !holds_nul;
        if (holds_nul)
            answer_with(connection, "error: a request holds no NUL bytes\n");
        else if (!is_empty)
            answer_request(connection, request);
        free(line);
        if (!is_empty)
            return;
    }
}

/* --- interrupts -------------------------------------------------------------------- */

static void interrupt_answer(struct connection_s* connection) {
    connection->waits_for_drain = false;
    peer_drop_walk(&connection->peer);
    event_del(connection->retry);
    if (connection->has_begun)
        add_text(connection, "\n");
    answer_with(connection, "error: interrupted\n");
}

/* Takes `length` bytes of requests off the input and answers that they were interrupted. */
static void interrupt_requests(struct connection_s* connection, size_t length) {
    while (length > 0) {
        const struct evbuffer_ptr end =
            evbuffer_search_eol(connection->input, NULL, NULL, EVBUFFER_EOL_LF);
        const size_t line =
            end.pos >= 0 && (size_t)end.pos < length ? (size_t)end.pos : length;
        bool is_empty = true;
        for (size_t left = line; left > 0; --left) {
            char byte;
            evbuffer_remove(connection->input, &byte, 1);
            is_empty = is_empty && byte != '\0' && strchr(" \t\r", byte) != NULL;
        }
        length -= line;
        if (length > 0) { /* the line feed */
            evbuffer_drain(connection->input, 1);
            --length;
        }
        if (!is_empty)
            answer_with(connection, "error: interrupted\n");
    }
}

static void heed_interrupts(struct connection_s* connection) {
    for (;;) {
        const struct evbuffer_ptr found =
            evbuffer_search(connection->input, INTERRUPT, strlen(INTERRUPT), NULL);
        if (found.pos < 0)
            return;
        if (connection->state == CONNECTION_SUSPENDED)
            interrupt_answer(connection);
        interrupt_requests(connection, (size_t)found.pos);
        evbuffer_drain(connection->input, strlen(INTERRUPT));
    }
}

/* --- the loop's callbacks ---------------------------------------------------------- */

static bool is_over(const struct connection_s* connection) {
    const bool has_nothing_to_do = connection->at_eof && !connection->waits_for_turn &&
                                   connection->state == CONNECTION_IDLE;
    return connection->is_lost || ((connection->is_closing || has_nothing_to_do) &&
                                   framed_output_waiting(&connection->output) == 0);
}

/* An interrupt is read whatever a walk has left waiting, but not behind answers without end. */
static bool reads_on(const struct connection_s* connection) {
    return !connection->at_eof && !connection->is_closing &&
           evbuffer_get_length(connection->input) < INPUT_MAX &&
           framed_output_waiting(&connection->output) <
               2 * connection->server->config.high_water;
}

static void set_events(struct connection_s* connection) {
    const bool reads = reads_on(connection);
    if (reads)
        event_add(connection->readable, NULL);
    else
        event_del(connection->readable);
    if (framed_output_waiting(&connection->output) == 0) {
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
    if (written < 0)
        connection->is_lost = true;
    else if (written > 0)
        connection->quiet_checks = 0;
    if (connection->waits_for_drain && framed_output_waiting(&connection->output) <=
                                           connection->server->config.low_water) {
        connection->waits_for_drain = false;
        server_queue_turn(connection);
    }
    if (connection->state == CONNECTION_IDLE && !connection->waits_for_drain &&
        has_line(connection) && !connection->is_closing)
        server_queue_turn(connection);
    if (is_over(connection))
        connection_destroy(connection);
    else
        set_events(connection);
}

void connection_take_turn(struct connection_s* connection) {
    if (connection->is_closing || connection->is_lost) {
        connection_settle(connection);
        return;
    }
    if (connection->state == CONNECTION_SUSPENDED)
        continue_answer(connection);
    else
        answer_next(connection);
    connection_settle(connection);
}

static void on_readable(evutil_socket_t fd, short what, void* data) {
    (void)what;
    struct connection_s* connection = data;
    const int taken = evbuffer_read(connection->input, fd, READ_MAX);
    if (taken == 0) {
        connection->at_eof = true;
        /* A peer that has closed reads no answers; one that only sends no more does. */
        struct pollfd both_ways = {.fd = fd};
        connection->is_lost =
            poll(&both_ways, 1, 0) == 1 && (both_ways.revents & POLLHUP) != 0;
    } else if (taken < 0) {
        connection->is_lost = errno != EAGAIN && errno != EINTR;
    } else {
        heed_interrupts(connection);
        if (!connection->waits_for_turn)
            answer_next(connection);
    }
    connection_settle(connection);
}

/* Whether the peer has taken nothing for as long as it may: neither from here nor, looked at a
 * few times meanwhile, from the kernel. */
static bool has_stalled(struct connection_s* connection) {
    int queued = 0;
    ioctl(connection->fd, TIOCOUTQ, &queued);
    connection->quiet_checks =
        queued < connection->queued_before ? 0 : connection->quiet_checks + 1;
    connection->queued_before = queued;
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
    server_queue_turn(data);
}

/* --- opening and closing ----------------------------------------------------------- */

static bool make_events(struct connection_s* connection) {
    struct event_base* base = connection->server->base;
    connection->readable =
        event_new(base, connection->fd, EV_READ | EV_PERSIST, on_readable, connection);
    connection->writable =
        event_new(base, connection->fd, EV_WRITE | EV_PERSIST, on_writable, connection);
    connection->retry = event_new(base, -1, 0, on_retry, connection);
    return connection->readable != NULL && connection->writable != NULL &&
           connection->retry != NULL &&
           event_priority_set(connection->readable, SOCKET_PRIORITY) == 0 &&
           event_priority_set(connection->writable, SOCKET_PRIORITY) == 0 &&
           event_add(connection->readable, NULL) == 0;
}

static void free_connection(struct connection_s* connection) {
    free_event(connection->readable);
    free_event(connection->writable);
    free_event(connection->retry);
    if (connection->input != NULL)
        evbuffer_free(connection->input);
    if (connection->output.framed != NULL)
        framed_output_close(&connection->output);
    free(connection);
}

struct connection_s* connection_open(struct mgmt_server_s* server, int fd) {
    static const struct peer_ops_s ops = {send_text, flush_text, close_peer, on_walk_ended};
    struct connection_s* connection = calloc(1, sizeof *connection);
    if (connection == NULL)
        return NULL;
    connection->peer.ops = &ops;
    connection->server = server;
    connection->fd = fd;
    connection->input = evbuffer_new();
    if (connection->input == NULL || framed_output_open(&connection->output) != 0 ||
        !make_events(connection)) {
        free_connection(connection);
        return NULL;
    }
    return connection;
}

void connection_destroy(struct connection_s* connection) {
    peer_drop_walk(&connection->peer);
    if (!connection->is_lost)
        framed_output_write(&connection->output, connection->fd);
    server_forget_turn(connection);
    TAILQ_REMOVE(&connection->server->connections, connection, link);
    --connection->server->stats.peers;
    const int fd = connection->fd;
    free_connection(
        connection); /* with its events, which the loop knows by the descriptor */
    close(fd);
}
