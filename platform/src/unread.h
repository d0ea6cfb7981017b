// SPDX-License-Identifier: BSD-2-Clause
/* How much of what was written to a UNIX-domain stream socket its other end has not taken yet. */
#ifndef ORVEX_PLATFORM_UNREAD_H
#define ORVEX_PLATFORM_UNREAD_H

/* In bytes. Where the kernel's socket diagnostics do not tell (another network namespace, no
 * netlink) it is the memory that waits, which falls in steps of a whole write. */
long unread_bytes(int fd);

#endif
