// SPDX-License-Identifier: BSD-2-Clause

#include "server.h"

#include <errno.h>
#include <grp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

enum {
    ACCEPT_AGAIN_USEC = 200000,
    SPARE_SHARE = 16, /* of the descriptors that the daemon may have, one in so many */
};

struct event* server_event(const struct mgmt_server_s* server, int fd, short what,
                           event_callback_fn callback, void* data) {
    struct event* event = event_new(server->base, fd, what, callback, data);
    if (event != NULL)
        event_priority_set(event, event_base_get_npriorities(server->base) - 1);
    return event;
}

void free_event(struct event* event) {
    if (event != NULL)
        event_free(event);
}

static mgmt_server_config_s with_defaults(mgmt_server_config_s config) {
    if (config.max_peers == 0)
        config.max_peers = 1024;
    if (config.slice_usec == 0)
        config.slice_usec = 2000;
    if (config.high_water == 0)
        config.high_water = (size_t)256 * 1024;
    if (config.low_water == 0 || config.low_water > config.high_water)
        config.low_water = config.high_water / 4;
    if (config.stall_seconds == 0)
        config.stall_seconds = 60;
    return config;
}

/* --- who may connect --------------------------------------------------------------- */

/* Whether one of the other end's further groups is the server's. */
static bool is_member(const struct mgmt_server_s* server, int fd) {
    socklen_t size = 0;
    gid_t none;
    /* Fails, and tells how much room they need. */
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, &none, &size) == 0 || errno != ERANGE)
        return false;
    gid_t* groups = malloc(size);
    bool is_found = false;
    if (groups != NULL && getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups, &size) == 0) {
        for (size_t i = 0; i < size / sizeof *groups; ++i)
            is_found = is_found || groups[i] == server->group;
    }
    free(groups);
    return is_found;
}

/* Root, the daemon's own user, and members of the group. */
static bool may_connect(const struct mgmt_server_s* server, int fd) {
    struct ucred peer;
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return false;
    return peer.uid == 0 || peer.uid == geteuid() || peer.gid == server->group ||
           is_member(server, fd);
}

/* Descriptors are given out from the lowest on: with a high one all the lower ones are used up. */
static bool is_kept_back(const struct mgmt_server_s* server, int fd) {
    struct rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return false;
    const rlim_t kept = server->config.spare_descriptors != 0
                            ? server->config.spare_descriptors
                            : limit.rlim_cur / SPARE_SHARE;
    return (rlim_t)fd + kept >= limit.rlim_cur;
}

static void refuse(struct mgmt_server_s* server, int fd, const char* reason) {
    char answer[128];
    const int length =
        snprintf(answer, sizeof answer, "\n#%zu\n%s\n##\n", strlen(reason), reason);
    send(fd, answer, (size_t)length, MSG_NOSIGNAL | MSG_DONTWAIT);
    close(fd);
    ++server->stats.refused;
}

static void welcome(struct mgmt_server_s* server, int fd) {
    struct connection_s* connection = NULL;
    if (!may_connect(server, fd))
        refuse(server, fd, "error: you may not use this socket\n");
    else if (server->stats.peers >= server->config.max_peers)
        refuse(server, fd, "error: there are too many peers\n");
    else if (is_kept_back(server, fd))
        refuse(server, fd, "error: there are too few descriptors left\n");
    else if ((connection = connection_open(server, fd)) == NULL)
        refuse(server, fd, "error: out of memory\n");
    if (connection == NULL)
        return;
    TAILQ_INSERT_TAIL(&server->connections, connection, link);
    ++server->stats.peers;
    ++server->stats.accepted;
}

static void on_acceptable(evutil_socket_t listener, short what, void* data) {
    (void)what;
    struct mgmt_server_s* server = data;
    const int fd = accept4(listener, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd >= 0) {
        welcome(server, fd);
    } else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS) {
        /* Trying again at once would only burn time: clients wait in the backlog. */
        const struct timeval delay = {0, ACCEPT_AGAIN_USEC};
        event_del(server->acceptable);
        event_add(server->accept_again, &delay);
    }
}

static void on_accept_again(evutil_socket_t fd, short what, void* data) {
    (void)fd, (void)what;
    event_add(((struct mgmt_server_s*)data)->acceptable, NULL);
}

/* --- opening and closing ----------------------------------------------------------- */

static int find_group(struct mgmt_server_s* server, struct failure_s failure) {
    server->group = getegid();
    if (server->config.group == NULL)
        return 0;
    errno = 0;
    const struct group* group = getgrnam(server->config.group);
    if (group == NULL)
        return fail(failure, "no group", server->config.group,
                    errno == 0 ? "unknown" : strerror(errno));
    server->group = group->gr_gid;
    return 0;
}

static int make_events(struct mgmt_server_s* server) {
    server->acceptable =
        server_event(server, server->file.fd, EV_READ | EV_PERSIST, on_acceptable, server);
    server->accept_again = server_event(server, -1, 0, on_accept_again, server);
    return turns_open(server) == 0 && server->acceptable != NULL &&
                   server->accept_again != NULL && event_add(server->acceptable, NULL) == 0
               ? 0
               : -1;
}

static void free_server(struct mgmt_server_s* server) {
    turns_close(server);
    free_event(server->acceptable);
    free_event(server->accept_again);
    registry_file_close(&server->entry);
    socket_file_close(&server->file);
    framed_output_trim();
    free(server);
}

mgmt_server_s* mgmt_server_open(evContext loop, const mgmt_server_config_s* config,
                                char* error, size_t size) {
    const struct failure_s failure = {error, size};
    struct mgmt_server_s* server = calloc(1, sizeof *server);
    if (server == NULL) {
        fail(failure, "cannot serve", config->path, strerror(ENOMEM));
        return NULL;
    }
    server->config = with_defaults(*config);
    server->base = loop.opaque;
    server->file = SOCKET_FILE_NONE;
    server->entry = REGISTRY_FILE_NONE;
    TAILQ_INIT(&server->connections);
    if (find_group(server, failure) != 0 ||
        socket_file_open(&server->file, config->path, server->group, failure) != 0 ||
        registry_file_open(&server->entry, config, failure) != 0) {
        free_server(server);
        return NULL;
    }
    if (make_events(server) != 0) {
        fail(failure, "cannot serve", config->path, strerror(ENOMEM));
        free_server(server);
        return NULL;
    }
    slices_install(server);
    return server;
}

void mgmt_server_close(mgmt_server_s* server) {
    if (server == NULL)
        return;
    struct connection_s* connection;
    while ((connection = TAILQ_FIRST(&server->connections)) != NULL) {
        connection_destroy(connection);
    }
    slices_uninstall(server);
    free_server(server);
}

mgmt_server_stats_s mgmt_server_stats(const mgmt_server_s* server) {
    return server->stats;
}
