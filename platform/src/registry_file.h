// SPDX-License-Identifier: BSD-2-Clause
/*
 * The server's entry in the run directory, DIR/NAME.daemon: what programs that ask every daemon of
 * the machine find it by. docs/netconf.md has the format.
 *
 * It appears whole, by a rename, once the socket is served, and is removed before the socket is. A
 * daemon that is killed leaves it behind: that it should be there and is not is then known.
 *
 * Of servers with one name the first one has it, as long as it serves: a file ".lock" beside the
 * entry says so.
 */
#ifndef ORVEX_PLATFORM_REGISTRY_FILE_H
#define ORVEX_PLATFORM_REGISTRY_FILE_H

#include <limits.h>
#include <sys/types.h>

#include "orvex_platform/mgmt_server.h"
#include "socket_file.h"

struct registry_file_s {
    char path[PATH_MAX]; /* empty: there is none */
    char lock_path[PATH_MAX];
    int lock; /* or -1 */
    /* What was written, not what lies there now. */
    dev_t device;
    ino_t inode;
};

#define REGISTRY_FILE_NONE ((struct registry_file_s){.lock = -1})

/*
 * Writes the entry of a server whose socket is there, or nothing when the configuration has no run
 * directory. 0, or -1; to be closed either way.
 */
int registry_file_open(struct registry_file_s* file, const mgmt_server_config_s* config,
                       struct failure_s failure);
void registry_file_close(struct registry_file_s* file);

#endif
