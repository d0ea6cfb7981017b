// SPDX-License-Identifier: BSD-2-Clause

#include "socket_file.h"

#include <errno.h>
#include <stdbool.h>
#include <stdio.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lock_file.h"

enum { BACKLOG = 128, SOCKET_MODE = 0660 };
static const char LOCK_SUFFIX[] = ".lock";

struct lock_path_s {
    char text[sizeof((struct sockaddr_un*)NULL)->sun_path + sizeof LOCK_SUFFIX];
};

int fail(struct failure_s failure, const char* what, const char* path, const char* why) {
    snprintf(failure.text, failure.size, "%s %s: %s", what, path, why);
    return -1;
}

static int cannot_serve(const struct socket_file_s* file, struct failure_s failure,
                        const char* why) {
    return fail(failure, "cannot serve", file->address.sun_path, why);
}

static struct lock_path_s lock_path(const struct socket_file_s* file) {
    struct lock_path_s path;
    snprintf(path.text, sizeof path.text, "%s%s", file->address.sun_path, LOCK_SUFFIX);
    return path;
}

static int take_lock(struct socket_file_s* file, struct failure_s failure) {
    file->lock = lock_file_take(lock_path(file).text);
    if (file->lock >= 0)
        return 0;
    return cannot_serve(file, failure,
                        errno == EWOULDBLOCK ? "another process serves it"
                                             : strerror(errno));
}

/* Removes a socket that nobody serves. 0, or -1 when the path is in use or no socket. */
static int remove_stale(const struct socket_file_s* file, struct failure_s failure) {
    const struct sockaddr_un* address = &file->address;
    struct stat found;
    if (lstat(address->sun_path, &found) != 0)
        return errno == ENOENT ? 0 : cannot_serve(file, failure, strerror(errno));
    if (!S_ISSOCK(found.st_mode))
        return cannot_serve(file, failure, "the file exists and is no socket");
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0)
        return cannot_serve(file, failure, strerror(errno));
    const int connected = connect(fd, (const struct sockaddr*)address, sizeof *address);
    const int error = errno;
    close(fd);
    /* A full backlog (EAGAIN) is somebody's, too. */
    if (connected == 0 || error == EAGAIN)
        return cannot_serve(file, failure, "another process serves it");
    if (error != ECONNREFUSED)
        return cannot_serve(file, failure, strerror(error));
    return unlink(address->sun_path) == 0
               ? 0
               : fail(failure, "cannot replace", address->sun_path, strerror(errno));
}

static int bind_socket(struct socket_file_s* file, gid_t group, struct failure_s failure) {
    const char* path = file->address.sun_path;
    /* Nobody gets in between bind and chmod. */
    const mode_t mask = umask(0777);
    const int bound =
        bind(file->fd, (struct sockaddr*)&file->address, sizeof file->address);
    const int error = errno;
    umask(mask);
    if (bound != 0)
        return cannot_serve(file, failure, strerror(error));
    struct stat own;
    if (lstat(path, &own) != 0) {
        const int why = errno;
        unlink(path); /* what was bound just now, under the lock */
        return cannot_serve(file, failure, strerror(why));
    }
    file->device = own.st_dev;
    file->inode = own.st_ino;
    if ((group != getegid() && chown(path, (uid_t)-1, group) != 0) ||
        chmod(path, SOCKET_MODE) != 0 || listen(file->fd, BACKLOG) != 0)
        return cannot_serve(file, failure, strerror(errno));
    return 0;
}

int socket_file_open(struct socket_file_s* file, const char* path, gid_t group,
                     struct failure_s failure) {
    file->address.sun_family = AF_UNIX;
    if (*path == '\0' || strlen(path) >= sizeof file->address.sun_path)
        return fail(failure, "cannot serve", path, "the path is empty or too long");
    memcpy(file->address.sun_path, path, strlen(path) + 1);
    if (take_lock(file, failure) != 0 || remove_stale(file, failure) != 0)
        return -1;
    file->fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (file->fd < 0)
        return cannot_serve(file, failure, strerror(errno));
    return bind_socket(file, group, failure);
}

static bool is_own(const struct socket_file_s* file) {
    struct stat found;
    return file->inode != 0 && lstat(file->address.sun_path, &found) == 0 &&
           found.st_dev == file->device && found.st_ino == file->inode;
}

void socket_file_close(struct socket_file_s* file) {
    if (is_own(file))
        unlink(file->address.sun_path);
    if (file->fd >= 0)
        close(file->fd);
    lock_file_release(lock_path(file).text, file->lock);
}
