// SPDX-License-Identifier: BSD-2-Clause
/*
 * What the render library calls of the management socket, for every kind of peer, and the kind
 * whose connection is a stream of the process.
 */
#include "orvex_platform/mgmt_sock.h"

#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

#include "peer.h"

int ms_parse_get_subcode(void* parse_context) {
    return ((const ms_parse_context_s*)parse_context)->subcode;
}

/* --- every peer -------------------------------------------------------------------- */

static int send_formatted(struct peer_s* peer, const char* format, va_list args) {
    char* text = NULL;
    const int length = vasprintf(&text, format, args);
    if (length < 0)
        return -1;
    const int result = peer->ops->send(peer, text, (size_t)length);
    free(text);
    return result;
}

int mgmt_sock_send(void* peer, const char* format, ...) {
    struct peer_s* to = peer;
    int result;
    va_list args;
    va_start(args, format);
    if (strcmp(format, "%s") == 0) { /* as the library sends everything */
        const char* text = va_arg(args, const char*);
        result = to->ops->send(to, text, strlen(text));
    } else {
        result = send_formatted(to, format, args);
    }
    va_end(args);
    return result;
}

int ms_peer_flush(void* peer) {
    struct peer_s* flushed = peer;
    return flushed == NULL ? 0 : flushed->ops->flush(flushed);
}

int mgmt_sock_close(void* peer) {
    struct peer_s* closing = peer;
    return closing == NULL ? 0 : closing->ops->close(closing);
}

void* mgmt_sock_get_drend_cookie(void* peer) {
    return peer == NULL ? NULL : ((struct peer_s*)peer)->cookie;
}

int mgmt_sock_set_drend_cookie(void* peer, void* cookie) {
    struct peer_s* owner = peer;
    if (owner == NULL)
        return -1;
    const void* before = owner->cookie;
    owner->cookie = cookie;
    if (before != NULL && cookie == NULL && owner->ops->walk_ended != NULL)
        owner->ops->walk_ended(owner);
    return 0;
}

int mgmt_sock_set_drend_close_method(void* peer, mgmt_sock_drend_close_fn close_fn) {
    if (peer == NULL)
        return -1;
    ((struct peer_s*)peer)->close_fn = close_fn;
    return 0;
}

void peer_drop_walk(struct peer_s* peer) {
    void* walk = peer->cookie;
    peer->cookie = NULL;
    if (walk != NULL && peer->close_fn != NULL)
        peer->close_fn(walk);
}

/* --- peers within the process ------------------------------------------------------ */

struct local_peer_s {
    struct peer_s peer;
    FILE* stream;
};

static int send_local(struct peer_s* peer, const char* text, size_t length) {
    FILE* stream = ((struct local_peer_s*)peer)->stream;
    return fwrite(text, 1, length, stream) == length ? 0 : PEER_LOST;
}

static int flush_local(struct peer_s* peer) {
    return fflush(((struct local_peer_s*)peer)->stream) == 0 ? 0 : PEER_LOST;
}

static int close_local(struct peer_s* peer) {
    const int result = flush_local(peer);
    peer_drop_walk(peer);
    free(peer);
    return result;
}

void* mgmt_sock_open_local(FILE* stream) {
    static const struct peer_ops_s ops = {
        .send = send_local, .flush = flush_local, .close = close_local};
    struct local_peer_s* local = calloc(1, sizeof *local);
    if (local != NULL) {
        local->peer.ops = &ops;
        local->stream = stream;
    }
    return local;
}
