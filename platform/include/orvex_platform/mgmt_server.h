// SPDX-License-Identifier: BSD-2-Clause
/*
 * The reference platform's management socket: a UNIX-domain stream socket that serves a daemon's
 * menu to many clients at once, in the daemon's event loop and on its thread. docs/socket.md is
 * the protocol.
 *
 *     clients --> requests, one a line --> menu entry's handler --> library --> mgmt_sock_send
 *        ^                                                                          |
 *        +------------- chunks, as fast as the client takes them <------------------+
 *
 * A long answer is given in slices. While the server is open it decides when a walk for one of its
 * peers is suspended (its walk handler is asked after each row, also one that a filter hides, and
 * between the predicates of a row) and when it goes on (its reschedule handler): a slice ends when
 * its time is used up or more waits for the peer than it may, and the next one begins when the
 * other peers have had their turn and this one has taken enough. A walk of nobody's peer is
 * continued by the event library's idle timer. A daemon that installs handlers of its own after
 * opening the server has its own way; the server then finishes the answers.
 *
 * Everything that peers have the server do is done with the lowest priority of the loop: signals
 * and the daemon's own events come first where the loop has priorities, as that of
 * platform_open_loop does.
 *
 * Everything here belongs to the thread that runs the loop.
 */
#ifndef ORVEX_PLATFORM_MGMT_SERVER_H
#define ORVEX_PLATFORM_MGMT_SERVER_H

#include <stddef.h>

#include "orvex_platform/eventlib.h"

#ifdef __cplusplus
extern "C" {
#endif

struct drend_menu_entry_s;

/* How a server serves; 0 and NULL stand for the defaults. Texts and menu stay the daemon's. */
typedef struct mgmt_server_config_s {
    const char* path;                      /* of the socket; at most 107 bytes */
    const struct drend_menu_entry_s* menu; /* as drend_init returned it */
    const char* group; /* whose members may connect, besides root and the daemon's own user;
                                NULL: the daemon's group */
    unsigned max_peers;  /* 1,024; the next one is told so and closed */
    unsigned slice_usec; /* the time of a slice, in microseconds: 2,000 */
    size_t
        high_water; /* a slice ends when more bytes than this wait for the peer: 256 KiB */
    size_t low_water; /* and the next one begins at this many: a quarter of high_water */
    unsigned stall_seconds; /* a peer that takes nothing for so long is closed: 60 */
    /* Descriptors that peers leave to the daemon: a sixteenth of those it may have. */
    unsigned spare_descriptors;
    /*
     * The directory in which programs that ask every daemon of the machine look for this one; NULL:
     * they do not find it. While the socket is served there is a file "NAME.daemon" in it, with the
     * socket's absolute path and the members below, one to a line, readable by everybody.
     */
    const char* run_dir;
    const char* name;        /* of the daemon among those in run_dir, which needs it */
    const char* application; /* whose commands it has, "dc_app_name"; NULL: as its name */
    /* The YANG modules of its "corvane-netconf-get" as NETCONF announces them,
       "urn:example:sensors?module=sensors&revision=2026-01-01", and a NULL; NULL: not told. */
    const char* const* modules;
} mgmt_server_config_s;

typedef struct mgmt_server_s mgmt_server_s;

/* What a server has done since it was opened, for diagnostics and tests. */
typedef struct mgmt_server_stats_s {
    unsigned peers;         /* connected now */
    unsigned long accepted; /* peers ever */
    unsigned long refused;  /* that were not allowed, or too many for the server */
    unsigned long requests; /* answered or given up */
    unsigned long slices;   /* of all answers */
} mgmt_server_stats_s;

/*
 * Opens the socket, with mode 0660, and serves `config->menu` on it from the loop of `loop` on. A
 * socket file that nobody serves any more is replaced; a file beside it, its name with ".lock"
 * appended, keeps other servers away. Registers it in the run directory. Installs the send method,
 * walk handlers and reschedule handler of the render library, and has searches suspend on hidden
 * rows. NULL with one line, without its end, in `error` of `size` bytes when it cannot. There is
 * one server at a time.
 */
mgmt_server_s* mgmt_server_open(evContext loop, const mgmt_server_config_s* config,
                                char* error, size_t size);

/*
 * Closes every peer, ending its walk, removes the socket and its registration and takes all of that
 * back; suspended walks of nobody's peer go on when the loop is idle. What was waiting for the
 * peers goes out as far as they take it at once. Nothing for NULL. Not from within a request.
 */
void mgmt_server_close(mgmt_server_s* server);

/*
 * For accessors that cannot get at their data: gives up the answer that the server is giving.
 * Nothing more of it is sent; its peer gets the line "error: " with `reason`, one line without its
 * end, of which 159 bytes are kept. The first reason counts. 0, or -1 when the server is giving no
 * answer.
 */
int mgmt_server_fail_answer(const char* reason);

mgmt_server_stats_s mgmt_server_stats(const mgmt_server_s* server);

#ifdef __cplusplus
}
#endif

#endif
