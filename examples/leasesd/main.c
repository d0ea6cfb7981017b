// SPDX-License-Identifier: BSD-2-Clause
/*
 * leasesd: an example daemon in C, a small DHCP server's leases. Its clients are simulated: they
 * come by a timer, and leases end when their time is over. It serves a management socket until it
 * is told to end:
 *
 *     leasesd --socket PATH [--group NAME] [--run-dir DIR] [--prefix DIR] [--leases COUNT]
 *             [--lease-time SECONDS] [--every MILLISECONDS]
 *
 * Definitions are leasesd-*.json in DIR/usr/lib/render.
 */
#include <drend.h>
#include <event2/event.h>
#include <getopt.h>
#include <orvex_platform/mgmt_server.h>
#include <signal.h>
#include <stdlib.h>

#include "leases.h"
#include "model.h"

enum {
    SEND_BUFFER = 16384, /* as much as the socket writes at once */
    OVER_MAX = 100,      /* leases that are taken back at a time: a tick is short */
    SECONDS_MAX = 1000000,
};

struct options {
    mgmt_server_config_s server;
    const char* prefix;
    unsigned leases;
    unsigned lease_seconds;
    unsigned every_ms; /* a client comes; 0: none does */
};

static const char* const modules[] = {
    "urn:example:dhcp-leases?module=example-dhcp-leases&revision=2026-11-22", NULL};

/* --- the command line -------------------------------------------------------------- */

static int usage(void) {
    fputs("usage: leasesd --socket PATH [--group NAME] [--run-dir DIR] [--prefix DIR]\n"
          "               [--leases COUNT] [--lease-time SECONDS] [--every MILLISECONDS]\n",
          stderr);
    return -1;
}

static int read_number(const char* text, unsigned least, unsigned most, unsigned* number) {
    char* end;
    const unsigned long value = strtoul(text, &end, 10);
    if (*text < '0' || *text > '9' || *end != '\0' || value < least || value > most) {
        fprintf(stderr, "leasesd: '%s' is no number from %u to %u\n", text, least, most);
        return -1;
    }
    *number = (unsigned)value;
    return 0;
}

static int take_option(int option, struct options* options) {
    switch (option) {
    case 's':
        options->server.path = optarg;
        return 0;
    case 'g':
        options->server.group = optarg;
        return 0;
    case 'r':
        options->server.run_dir = optarg;
        return 0;
    case 'p':
        options->prefix = optarg;
        return 0;
    case 'n':
        return read_number(optarg, 0, LEASES_MAX, &options->leases);
    case 't':
        return read_number(optarg, 1, SECONDS_MAX, &options->lease_seconds);
    case 'e':
        return read_number(optarg, 0, 1000 * SECONDS_MAX, &options->every_ms);
    default:
        return usage();
    }
}

static int read_options(int argc, char** argv, struct options* options) {
    static const struct option names[] = {{"socket", required_argument, NULL, 's'},
                                          {"group", required_argument, NULL, 'g'},
                                          {"run-dir", required_argument, NULL, 'r'},
                                          {"prefix", required_argument, NULL, 'p'},
                                          {"leases", required_argument, NULL, 'n'},
                                          {"lease-time", required_argument, NULL, 't'},
                                          {"every", required_argument, NULL, 'e'},
                                          {NULL, 0, NULL, 0}};
    int option;
    while ((option = getopt_long(argc, argv, "", names, NULL)) != -1) {
        if (take_option(option, options) != 0)
            return -1;
    }
    return optind < argc || options->server.path == NULL ? usage() : 0;
}

/* --- the loop ---------------------------------------------------------------------- */

/* A client comes, and leases whose time is over are taken back. */
static void on_tick(evutil_socket_t fd, short what, void* data) {
    (void)fd, (void)what, (void)data;
    const uint64_t granted = leases_grant();
    if (granted != 0)
        announce_lease("granted", granted);
    uint64_t over;
    for (int i = 0; i < OVER_MAX && (over = leases_over(time(NULL))) != 0; ++i) {
        announce_lease("expired", over);
        leases_drop_oldest();
    }
}

static void on_end(evutil_socket_t fd, short what, void* base) {
    (void)fd, (void)what;
    event_base_loopbreak(base);
}

static struct event* add_event(struct event* event, const struct timeval* interval) {
    if (event != NULL && event_add(event, interval) != 0) {
        event_free(event);
        return NULL;
    }
    return event;
}

static int run_loop(struct event_base* base, unsigned every_ms) {
    const struct timeval interval = {every_ms / 1000, 1000L * (every_ms % 1000)};
    struct event* events[3] = {
        add_event(evsignal_new(base, SIGTERM, on_end, base), NULL),
        add_event(evsignal_new(base, SIGINT, on_end, base), NULL),
        every_ms == 0
            ? NULL
            : add_event(event_new(base, -1, EV_PERSIST, on_tick, NULL), &interval)};
    const int is_ready =
        events[0] != NULL && events[1] != NULL && (every_ms == 0 || events[2] != NULL);
    const int status = is_ready ? event_base_dispatch(base) : -1;
    for (size_t i = 0; i < sizeof events / sizeof events[0]; ++i) {
        if (events[i] != NULL)
            event_free(events[i]);
    }
    return status;
}

static int serve(evContext* loop, struct options* options) {
    static const drend_menu_entry_s own_menu[1]; /* nothing but what the library adds */
    char error[256] = "out of memory";
    mgmt_server_s* server = NULL;
    drend_add_service_commands();
    drend_add_events_command();
    options->server.menu = drend_init(loop, own_menu, 1, "leasesd");
    if (options->server.menu != NULL)
        server = mgmt_server_open(*loop, &options->server, error, sizeof error);
    if (server == NULL) {
        fprintf(stderr, "leasesd: %s\n", error);
        return -1;
    }
    printf("leasesd: serving %s\n", options->server.path);
    fflush(stdout);
    const int status = run_loop(loop->opaque, options->every_ms);
    mgmt_server_close(server);
    return status;
}

int main(int argc, char** argv) {
    struct options options = {
        .server = {.name = "leasesd", .modules = modules},
        .prefix = "",
        .leases = 20,
        .lease_seconds = 600,
        .every_ms = 1000,
    };
    if (read_options(argc, argv, &options) != 0)
        return 2;
    add_model();
    drend_set_prefix(options.prefix);
    drend_set_send_buffer(SEND_BUFFER);
    evContext loop;
    if (leases_open(options.leases, options.lease_seconds) != 0 ||
        platform_open_loop(&loop) != 0) {
        fputs("leasesd: out of memory\n", stderr);
        return 1;
    }
    const int status = serve(&loop, &options);
    platform_close_loop(&loop);
    leases_close();
    return status < 0 ? 1 : 0;
}
