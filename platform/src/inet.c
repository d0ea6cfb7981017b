// SPDX-License-Identifier: BSD-2-Clause
/*
 * Addresses as text: the management plane's family numbers in front of the system's
 * function.
 */
#include "orvex_platform/inet.h"

#include <arpa/inet.h>
#include <errno.h>
#include <limits.h>
#include <sys/socket.h>

const char* __inet_ntop(int family, const void* src, char* dst, size_t size) {
    const socklen_t room = size < INT_MAX ? (socklen_t)size : INT_MAX;
    switch (family) {
    case PLATFORM_AF_INET:
        return inet_ntop(AF_INET, src, dst, room);
    case PLATFORM_AF_INET6:
        return inet_ntop(AF_INET6, src, dst, room);
    default:
        errno = EAFNOSUPPORT;
        return NULL;
    }
}
