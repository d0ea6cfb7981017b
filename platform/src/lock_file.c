// SPDX-License-Identifier: BSD-2-Clause

#include "lock_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

/* Whether `path` still names the file that is open as `fd`. */
static bool is_named(const char* path, int fd) {
    struct stat held;
    struct stat named;
    return fstat(fd, &held) == 0 && lstat(path, &named) == 0 &&
           held.st_dev == named.st_dev && held.st_ino == named.st_ino;
}

int lock_file_take(const char* path) {
    for (;;) {
        const int fd = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (fd < 0)
            return -1;
        const int locked = flock(fd, LOCK_EX | LOCK_NB);
        const int error = errno;
        if (locked == 0 && is_named(path, fd))
            return fd;
        close(fd);
        errno = error;
        if (locked != 0)
            return -1;
        /* Its last holder removed it in between. */
    }
}

void lock_file_release(const char* path, int fd) {
    if (fd < 0)
        return;
    unlink(path);
    close(fd);
}
