// SPDX-License-Identifier: BSD-2-Clause
/*
 * What a peer is to the render library, whatever its connection is made of: somewhere to send,
 * and a cookie with its close function. A kind of peer has a struct peer_s as its first member.
 */
#ifndef ORVEX_PLATFORM_PEER_H
#define ORVEX_PLATFORM_PEER_H

#include <stddef.h>

#include "drend.h"
#include "orvex_platform/mgmt_sock.h"

enum { PEER_LOST = -3 };

struct peer_s;

struct peer_ops_s {
    /* 0, or PEER_LOST. */
    int (*send)(struct peer_s* peer, const char* text, size_t length);
    int (*flush)(struct peer_s* peer);
    /* Closes and frees the peer, at once or when what is buffered has gone out. */
    int (*close)(struct peer_s* peer);
    /* The cookie was cleared: its walk has ended. NULL when nobody wants to know. */
    void (*walk_ended)(struct peer_s* peer);
    /* The walk that the cookie stands for wants to go on. 0 when the peer sees to that. NULL when
     * it never does. */
    int (*continue_walk)(struct peer_s* peer);
    /* The render library's methods of answers; NULL for a peer that has text alone. */
    void (*answer_begins)(struct peer_s* peer, const char* media_type);
    int (*answer_ends)(struct peer_s* peer, const drend_answer_end_s* end);
};

struct peer_s {
    const struct peer_ops_s* ops;
    void* cookie;
    mgmt_sock_drend_close_fn close_fn;
};

/* Has the peer's close function end the walk that its cookie stands for, if there is one. */
void peer_drop_walk(struct peer_s* peer);

#endif
