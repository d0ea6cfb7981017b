// SPDX-License-Identifier: BSD-2-Clause
/*
 * The platform's conversion of network addresses to text.
 *
 * The family numbers are the management plane's own, not those of the machine's socket
 * headers: 2 is IPv4, 28 is IPv6.
 */
#ifndef ORVEX_PLATFORM_INET_H
#define ORVEX_PLATFORM_INET_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

#define PLATFORM_AF_INET 2
#define PLATFORM_AF_INET6 28

/*
 * Writes the address at `src` (4 bytes for family 2, 16 for family 28, network order) as a
 * NUL-terminated text into `dst`, which has room for `size` bytes (16 and 46 always
 * suffice). Returns `dst`, or NULL with errno set to EAFNOSUPPORT (unknown family) or
 * ENOSPC.
 */
const char* __inet_ntop(int family, const void* src, char* dst, size_t size);

#ifdef __cplusplus
}
#endif

#endif
