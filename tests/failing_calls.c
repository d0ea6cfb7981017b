// SPDX-License-Identifier: BSD-2-Clause

#define _GNU_SOURCE
#include "failing_calls.h"

#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdarg.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

static _Thread_local struct failing_call_s next;
static _Thread_local int is_one_byte;

struct failing_call_s* failing_call(void) {
    return &next;
}

void take_one_byte(int takes_one) {
    is_one_byte = takes_one;
}

int call_fails(const char* name) {
    if (next.name == NULL || strcmp(next.name, name) != 0 || next.number <= 0 ||
        --next.number > 0)
        return 0;
    if (next.meanwhile != NULL)
        next.meanwhile();
    errno = next.error;
    return next.error != 0;
}

/* An eventfd is read and written as eight bytes or not at all. */
static size_t at_most(size_t size) {
    return is_one_byte && size > 1 && size != sizeof(uint64_t) ? 1 : size;
}

/* The function of that name in what is linked behind this one. */
#define BEHIND(name) (__extension__(__typeof__(&(name))) dlsym(RTLD_NEXT, #name))
#define INTERPOSE(type, name, failed, parameters, ...)                 \
    type name parameters {                                             \
        return call_fails(#name) ? failed : BEHIND(name)(__VA_ARGS__); \
    }

INTERPOSE(ssize_t, read, -1, (int fd, void* to, size_t size), fd, to, at_most(size))
INTERPOSE(ssize_t, write, -1, (int fd, const void* from, size_t size), fd, from,
          at_most(size))
INTERPOSE(ssize_t, recv, -1, (int fd, void* to, size_t size, int flags), fd, to,
          at_most(size), flags)
INTERPOSE(ssize_t, send, -1, (int fd, const void* from, size_t size, int flags), fd, from,
          at_most(size), flags)
INTERPOSE(int, socket, -1, (int domain, int type, int protocol), domain, type, protocol)
INTERPOSE(int, listen, -1, (int fd, int backlog), fd, backlog)
INTERPOSE(int, poll, -1, (struct pollfd * fds, nfds_t count, int timeout), fds, count,
          timeout)
INTERPOSE(int, flock, -1, (int fd, int operation), fd, operation)
INTERPOSE(int, chmod, -1, (const char* path, mode_t mode), path, mode)
INTERPOSE(int, fchmod, -1, (int fd, mode_t mode), fd, mode)
INTERPOSE(int, lstat, -1, (const char* path, struct stat* found), path, found)
INTERPOSE(int, fstat, -1, (int fd, struct stat* found), fd, found)
INTERPOSE(int, unlink, -1, (const char* path), path)
INTERPOSE(int, rename, -1, (const char* from, const char* to), from, to)
INTERPOSE(int, stat, -1, (const char* path, struct stat* found), path, found)
INTERPOSE(int, mkdir, -1, (const char* path, mode_t mode), path, mode)
INTERPOSE(int, inotify_init1, -1, (int flags), flags)
INTERPOSE(int, inotify_add_watch, -1, (int fd, const char* path, uint32_t mask), fd, path,
          mask)
INTERPOSE(DIR*, opendir, NULL, (const char* path), path)
INTERPOSE(struct dirent*, readdir, NULL, (DIR * directory), directory)
INTERPOSE(void*, mmap, MAP_FAILED,
          (void* at, size_t size, int access, int flags, int fd, off_t from), at, size,
          access, flags, fd, from)
INTERPOSE(ssize_t, pwrite, -1, (int fd, const void* from, size_t size, off_t at), fd, from,
          at_most(size), at)
INTERPOSE(int, shutdown, -1, (int fd, int how), fd, how)
INTERPOSE(int, setsockopt, -1,
          (int fd, int level, int name, const void* value, socklen_t size), fd, level, name,
          value, size)
INTERPOSE(FILE*, fopen, NULL, (const char* path, const char* mode), path, mode)
INTERPOSE(int, getsockopt, -1, (int fd, int level, int name, void* value, socklen_t* size),
          fd, level, name, value, size)
INTERPOSE(int, pipe2, -1, (int ends[2], int flags), ends, flags)
INTERPOSE(int, accept4, -1, (int fd, __SOCKADDR_ARG address, socklen_t* size, int flags),
          fd, address, size, flags)
INTERPOSE(int, bind, -1, (int fd, __CONST_SOCKADDR_ARG address, socklen_t size), fd,
          address, size)
INTERPOSE(int, connect, -1, (int fd, __CONST_SOCKADDR_ARG address, socklen_t size), fd,
          address, size)

int open(const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(rest, mode_t) : 0;
    va_end(rest);
    return call_fails("open") ? -1 : BEHIND(open)(path, flags, mode);
}

int fcntl(int fd, int command, ...) {
    va_list rest;
    va_start(rest, command);
    void* argument = va_arg(rest, void*);
    va_end(rest);
    return call_fails("fcntl") ? -1 : BEHIND(fcntl)(fd, command, argument);
}
