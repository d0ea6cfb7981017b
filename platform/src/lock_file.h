// SPDX-License-Identifier: BSD-2-Clause
/*
 * A file whose lock says who has a place in the file system: whoever holds it may make and remove
 * what stands there, nobody else. The kernel takes it back from a process that ends, however it
 * ends.
 */
#ifndef ORVEX_PLATFORM_LOCK_FILE_H
#define ORVEX_PLATFORM_LOCK_FILE_H

/* A descriptor that holds the lock; or -1 and errno, EWOULDBLOCK when another process has it. */
int lock_file_take(const char* path);
/* Removes the file and gives the lock back. Nothing for -1. */
void lock_file_release(const char* path, int fd);

#endif
