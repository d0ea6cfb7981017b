// SPDX-License-Identifier: BSD-2-Clause
/*
 * The platform's management socket, as far as the render library calls it: the menu entry
 * that a request matched, and one cookie with its close function for each peer.
 *
 * A peer is an opaque handle of one management connection.
 */
#ifndef ORVEX_PLATFORM_MGMT_SOCK_H
#define ORVEX_PLATFORM_MGMT_SOCK_H

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

/* What a request was parsed to. */
typedef struct ms_parse_context_s {
    int subcode; /* of the menu entry that matched */
} ms_parse_context_s;

/* Called with the peer's cookie when the peer closes. */
typedef void (*mgmt_sock_drend_close_fn)(void* cookie);

/* The subcode of the menu entry that the request in `parse_context` matched. */
int ms_parse_get_subcode(void* parse_context);

/*
 * Opens a peer within the process, without a connection: what is sent to it is written to
 * `stream`, which stays the caller's. NULL when memory ran out. mgmt_sock_close ends it.
 */
void* mgmt_sock_open_local(FILE* stream);

/* Sends formatted text to `peer`. 0, or -3 when the peer is lost. */
int mgmt_sock_send(void* peer, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

/* Sends what is buffered for `peer`. 0, or a negative value when the peer is lost. */
int ms_peer_flush(void* peer);

/*
 * Closes `peer` once what is buffered has gone out, calling its close function with its cookie
 * when it has both; the peer is gone then. 0 on success.
 */
int mgmt_sock_close(void* peer);

/* The cookie stored for `peer`, or NULL. For the peer NULL there is none, and none is stored. */
void* mgmt_sock_get_drend_cookie(void* peer);

/* Stores `cookie` for `peer`; NULL clears it. 0 on success. */
int mgmt_sock_set_drend_cookie(void* peer, void* cookie);

/* Has `close_fn` called with the stored cookie when `peer` closes. 0 on success. */
int mgmt_sock_set_drend_close_method(void* peer, mgmt_sock_drend_close_fn close_fn);

#ifdef __cplusplus
}
#endif

#endif
