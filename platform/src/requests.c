// SPDX-License-Identifier: BSD-2-Clause
/*
 * What a peer asks: its bytes become lines, interrupts among them are heeded, and the line whose
 * turn it is is answered by an entry of the menu, by the menu itself, or by a refusal.
 *
 * Nothing here waits or closes: a connection that is lost is noted, and settled by the loop's
 * callback that called (connection.c).
 */
#include <errno.h>
#include <string.h>

#include "drend.h"
#include "menu_match.h"
#include "server.h"

enum {
    READ_MAX = 16384, /* in a turn */
    INTERRUPT = '\x03',
};

static void refuse(struct connection_s* connection, enum refusal_e refusal) {
    connection_refuse(connection, refusal, NULL);
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
        connection_end_refused(connection, REFUSAL_FAILED, NULL);
    connection_after_slice(connection);
}

/* What could follow a command: no entry. In protocol 2 the arguments that it takes. */
static void answer_question(struct connection_s* connection,
                            const drend_menu_entry_s* entry) {
    const drend_answer_end_s nothing = {.end = DREND_ANSWER_COMPLETE, .code = "nothing"};
    if (connection->answer.protocol != PROTOCOL_STATUS) {
        connection_answer_with(connection, "210\n");
        return;
    }
    if (drend_send_parameters(&connection->peer, entry) == DREND_ERR)
        connection->peer.ops->answer_ends(&connection->peer, &nothing);
    connection_finish_answer(connection);
}

/* The answer is in the protocol that was asked for already. */
static void choose_protocol(struct connection_s* connection, const char* wanted) {
    if (strcmp(wanted, "1") == 0)
        connection->answer.protocol = PROTOCOL_TEXT;
    else if (strcmp(wanted, "2") == 0)
        connection->answer.protocol = PROTOCOL_STATUS;
    else
        connection_end_refused(connection, REFUSAL_UNKNOWN_PROTOCOL, NULL);
    connection_finish_answer(connection);
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
        connection_answer_with(connection, sbuf_str(text));
        break;
    case MENU_MATCH_REFUSED:
        connection_refuse(connection, found.refusal, sbuf_str(text));
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

void requests_answer_next(struct connection_s* connection) {
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
            connection_give_up(connection, REFUSAL_INTERRUPTED, NULL);
        interrupt_requests(connection, (size_t)(found - bytes));
        request_input_drop(input, (size_t)(found - bytes) + 1);
        fresh = input->length;
    }
}

bool requests_read_on(const struct connection_s* connection) {
    return !connection->at_eof && !connection->is_closing &&
           connection->input.length < REQUEST_INPUT_MAX &&
           connection->output.waiting < 2 * connection->server->config.high_water;
}

bool requests_may_answer(const struct connection_s* connection) {
    return connection->state == CONNECTION_IDLE && !connection->waits_for_drain &&
           !connection->is_closing && request_input_line(&connection->input) >= 0;
}

void requests_read(struct connection_s* connection) {
    size_t left = READ_MAX;
    while (left > 0 && connection->has_input && requests_read_on(connection)) {
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
