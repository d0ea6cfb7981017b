/*
 * Peers within the process: the management socket's side of a peer, its cookie and its close
 * function, for a connection that is a stream.
 */
#include "orvex_platform/mgmt_sock.h"

#include <stdarg.h>
#include <stdlib.h>

#define PEER_LOST (-3)

struct peer_s {
    FILE* stream;
    void* cookie;
    mgmt_sock_drend_close_fn close_fn;
};

int ms_parse_get_subcode(void* parse_context) {
    return ((const ms_parse_context_s*)parse_context)->subcode;
}

void* mgmt_sock_open_local(FILE* stream) {
    struct peer_s* peer = calloc(1, sizeof *peer);
    if (peer != NULL) {
        peer->stream = stream;
    }
    return peer;
}

int mgmt_sock_send(void* peer, const char* format, ...) {
    va_list args;
    va_start(args, format);
    int written = vfprintf(((struct peer_s*)peer)->stream, format, args);
    va_end(args);
    return written < 0 ? PEER_LOST : 0;
}

int ms_peer_flush(void* peer) {
    return peer == NULL || fflush(((struct peer_s*)peer)->stream) == 0 ? 0 : PEER_LOST;
}

int mgmt_sock_close(void* peer) {
    struct peer_s* closing = peer;
    if (closing == NULL) {
        return 0;
    }
    int result = ms_peer_flush(closing);
    if (closing->close_fn != NULL && closing->cookie != NULL) {
        closing->close_fn(closing->cookie);
    }
    free(closing);
    return result;
}

void* mgmt_sock_get_drend_cookie(void* peer) {
    return peer == NULL ? NULL : ((struct peer_s*)peer)->cookie;
}

int mgmt_sock_set_drend_cookie(void* peer, void* cookie) {
    if (peer == NULL) {
        return -1;
    }
    ((struct peer_s*)peer)->cookie = cookie;
    return 0;
}

int mgmt_sock_set_drend_close_method(void* peer, mgmt_sock_drend_close_fn close_fn) {
    if (peer == NULL) {
        return -1;
    }
    ((struct peer_s*)peer)->close_fn = close_fn;
    return 0;
}
