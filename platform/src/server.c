#include "server.h"

#include <errno.h>
#include <grp.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

enum {
    BACKLOG = 128,
    ACCEPTS_AT_ONCE = 16,
    ACCEPT_AGAIN_MS = 200,
    GROUPS_MAX = 256,
    SOCKET_MODE = 0660,
};

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
        config.high_water = 256 * 1024;
    if (config.low_water == 0 || config.low_water > config.high_water)
        config.low_water = config.high_water / 4;
    if (config.stall_seconds == 0)
        config.stall_seconds = 60;
    return config;
}

/* --- turns ------------------------------------------------------------------------- */

static void set_turn_event(struct mgmt_server_s* server) {
    /* A timer, even of no length, lets the loop look at the sockets first. */
    const struct timeval at_once = {0, 0};
    if (!TAILQ_EMPTY(&server->turns) && !event_pending(server->turn, EV_TIMEOUT, NULL))
        event_add(server->turn, &at_once);
}

void server_queue_turn(struct connection_s* connection) {
    if (!connection->waits_for_turn) {
        connection->waits_for_turn = true;
        TAILQ_INSERT_TAIL(&connection->server->turns, connection, turn_link);
    }
    set_turn_event(connection->server);
}

void server_forget_turn(struct connection_s* connection) {
    if (connection->waits_for_turn) {
        connection->waits_for_turn = false;
        TAILQ_REMOVE(&connection->server->turns, connection, turn_link);
    }
}

static void on_turn(evutil_socket_t fd, short what, void* data) {
    (void)fd, (void)what;
    struct mgmt_server_s* server = data;
    struct connection_s* connection = TAILQ_FIRST(&server->turns);
    if (connection != NULL) {
        server_forget_turn(connection);
        connection_take_turn(connection);
    }
    set_turn_event(server);
}

/* --- who may connect --------------------------------------------------------------- */

/* Root, the daemon's own user, and members of the group. */
static bool may_connect(const struct mgmt_server_s* server, int fd) {
    struct ucred peer;
    socklen_t size = sizeof peer;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return false;
    if (peer.uid == 0 || peer.uid == geteuid() || peer.gid == server->group)
        return true;
    gid_t groups[GROUPS_MAX];
    size = sizeof groups;
    if (getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups, &size) != 0)
        return false;
    for (size_t i = 0; i < size / sizeof groups[0]; ++i) {
        if (groups[i] == server->group)
            return true;
    }
    return false;
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
    for (int i = 0; i < ACCEPTS_AT_ONCE; ++i) {
        const int fd = accept4(listener, NULL, NULL, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd >= 0) {
            welcome(server, fd);
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOMEM ||
                   errno == ENOBUFS) {
            /* Trying again at once would only burn time: clients wait in the backlog. */
            const struct timeval delay = {0, ACCEPT_AGAIN_MS * 1000};
            event_del(server->acceptable);
            event_add(server->accept_again, &delay);
            return;
        } else if (errno != EINTR && errno != ECONNABORTED) {
            return;
        }
    }
}

static void on_accept_again(evutil_socket_t fd, short what, void* data) {
    (void)fd, (void)what;
    event_add(((struct mgmt_server_s*)data)->acceptable, NULL);
}

/* --- the socket -------------------------------------------------------------------- */

struct failure_s {
    char* text;
    size_t size;
};

static int fail(struct failure_s failure, const char* what, const char* path,
                const char* why) {
    snprintf(failure.text, failure.size, "%s %s: %s", what, path, why);
    return -1;
}

static int address_of(const char* path, struct sockaddr_un* address) {
    *address = (struct sockaddr_un){.sun_family = AF_UNIX};
    if (*path == '\0' || strlen(path) >= sizeof address->sun_path)
        return -1;
    memcpy(address->sun_path, path, strlen(path) + 1);
    return 0;
}

/* Removes a socket that nobody serves. 0, or -1 when the path is in use or no socket. */
static int remove_stale(const struct sockaddr_un* address, struct failure_s failure) {
    const char* path = address->sun_path;
    struct stat found;
    if (lstat(path, &found) != 0)
        return 0;
    if (!S_ISSOCK(found.st_mode))
        return fail(failure, "cannot serve", path, "the file exists and is no socket");
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int connected = connect(fd, (const struct sockaddr*)address, sizeof *address);
    const int error = errno;
    close(fd);
    if (connected == 0 || error != ECONNREFUSED)
        return fail(failure, "cannot serve", path, "another process serves it");
    return unlink(path) == 0 ? 0 : fail(failure, "cannot replace", path, strerror(errno));
}

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

static int listen_on(struct mgmt_server_s* server, struct failure_s failure) {
    const char* path = server->config.path;
    struct sockaddr_un address;
    if (address_of(path, &address) != 0)
        return fail(failure, "cannot serve", path, "the path is empty or too long");
    if (remove_stale(&address, failure) != 0)
        return -1;
    server->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (server->fd < 0)
        return fail(failure, "cannot serve", path, strerror(errno));
    /* Nobody gets in between bind and chmod. */
    const mode_t mask = umask(0777);
    server->has_bound = bind(server->fd, (struct sockaddr*)&address, sizeof address) == 0;
    const int error = errno;
    umask(mask);
    if (!server->has_bound)
        return fail(failure, "cannot serve", path, strerror(error));
    if ((server->group != getegid() && chown(path, (uid_t)-1, server->group) != 0) ||
        chmod(path, SOCKET_MODE) != 0 || listen(server->fd, BACKLOG) != 0)
        return fail(failure, "cannot serve", path, strerror(errno));
    return 0;
}

/* --- opening and closing ----------------------------------------------------------- */

static int make_events(struct mgmt_server_s* server) {
    const int last_priority = event_base_get_npriorities(server->base) - 1;
    server->acceptable =
        event_new(server->base, server->fd, EV_READ | EV_PERSIST, on_acceptable, server);
    server->accept_again = event_new(server->base, -1, 0, on_accept_again, server);
    server->turn = event_new(server->base, -1, 0, on_turn, server);
    return server->acceptable != NULL && server->accept_again != NULL &&
                   server->turn != NULL && event_priority_set(server->acceptable, 0) == 0 &&
                   event_priority_set(server->turn, last_priority) == 0 &&
                   event_add(server->acceptable, NULL) == 0
               ? 0
               : -1;
}

static void free_server(struct mgmt_server_s* server) {
    free_event(server->acceptable);
    free_event(server->accept_again);
    free_event(server->turn);
    if (server->has_bound)
        unlink(server->config.path);
    if (server->fd >= 0)
        close(server->fd);
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
    server->loop = loop;
    server->base = loop.opaque;
    server->fd = -1;
    TAILQ_INIT(&server->connections);
    TAILQ_INIT(&server->turns);
    if (find_group(server, failure) != 0 || listen_on(server, failure) != 0) {
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
    slices_uninstall();
    free_server(server);
}

mgmt_server_stats_s mgmt_server_stats(const mgmt_server_s* server) {
    return server->stats;
}
