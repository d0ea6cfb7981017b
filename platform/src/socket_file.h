// SPDX-License-Identifier: BSD-2-Clause
/*
 * The server's place in the file system: the socket, and beside it a file ".lock".
 *
 * Whoever serves the path holds the lock, from before it looks whether somebody else serves it
 * until after it has removed the socket: of servers that are started at once one serves, and none
 * removes another one's socket.
 */
#ifndef ORVEX_PLATFORM_SOCKET_FILE_H
#define ORVEX_PLATFORM_SOCKET_FILE_H

#include <stddef.h>
#include <sys/types.h>
#include <sys/un.h>

struct socket_file_s {
    struct sockaddr_un address;
    int fd;   /* listens; or -1 */
    int lock; /* or -1 */
    /* What was bound, not what lies there now; 0 before. */
    dev_t device;
    ino_t inode;
};

#define SOCKET_FILE_NONE ((struct socket_file_s){.fd = -1, .lock = -1})

/* Where a failure is told, in one line without its end. */
struct failure_s {
    char* text;
    size_t size;
};
/* -1 */
int fail(struct failure_s failure, const char* what, const char* path, const char* why);

/* Listens on `path` with mode 0660 for members of `group`. 0, or -1; to be closed either way. */
int socket_file_open(struct socket_file_s* file, const char* path, gid_t group,
                     struct failure_s failure);
void socket_file_close(struct socket_file_s* file);

#endif
