// SPDX-License-Identifier: BSD-2-Clause
/*
 * A socket's own account of what waits, TIOCOUTQ, counts a buffer until its last byte is taken. The
 * kernel's socket diagnostics tell the bytes that lie unread in any socket: of the own one they
 * tell which is at the other end, and of that one how much is unread.
 */
#include "unread.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <stdbool.h>
#include <stdint.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

enum { ANSWER_MAX = 1024 };

/* An attribute of a socket: the flag that asks for it, and what its answer is called. Both that are
 * used here begin with the number that is wanted. */
struct attribute_s {
    uint32_t flag;
    unsigned short type;
};
static const struct attribute_s PEER = {UDIAG_SHOW_PEER, UNIX_DIAG_PEER};
static const struct attribute_s UNREAD = {UDIAG_SHOW_RQLEN, UNIX_DIAG_RQLEN};

/* Finds the attribute in the answer of `length` bytes. */
static bool find_number(const struct nlmsghdr* answer, size_t length, unsigned short type,
                        uint32_t* number) {
    if (!NLMSG_OK(answer, length) || answer->nlmsg_type != SOCK_DIAG_BY_FAMILY)
        return false;
    const struct unix_diag_msg* found = NLMSG_DATA(answer);
    const struct rtattr* attribute = (const struct rtattr*)(found + 1);
    size_t left = answer->nlmsg_len - NLMSG_LENGTH(sizeof *found);
    for (; RTA_OK(attribute, left); attribute = RTA_NEXT(attribute, left)) {
        if (attribute->rta_type == type && RTA_PAYLOAD(attribute) >= sizeof *number) {
            memcpy(number, RTA_DATA(attribute), sizeof *number);
            return true;
        }
    }
    return false;
}

static bool ask(int netlink, uint32_t inode, struct attribute_s wanted, uint32_t* number) {
    const struct {
        struct nlmsghdr header;
        struct unix_diag_req socket;
    } request = {
        .header = {.nlmsg_len = sizeof request,
                   .nlmsg_type = SOCK_DIAG_BY_FAMILY,
                   .nlmsg_flags = NLM_F_REQUEST},
        .socket = {.sdiag_family = AF_UNIX,
                   .udiag_states = UINT32_MAX,
                   .udiag_ino = inode,
                   .udiag_show = wanted.flag,
                   .udiag_cookie = {UINT32_MAX, UINT32_MAX}}, /* whichever has the inode */
    };
    union {
        struct nlmsghdr header;
        char bytes[ANSWER_MAX];
    } answer;
    /* The kernel answers before the sending returns. */
    if (send(netlink, &request, sizeof request, MSG_DONTWAIT) != (ssize_t)sizeof request)
        return false;
    const ssize_t length = recv(netlink, &answer, sizeof answer, MSG_DONTWAIT);
    return length > 0 && find_number(&answer.header, (size_t)length, wanted.type, number);
}

/* By diagnostics; -1 when they do not tell. */
static long diagnosed_bytes(int fd) {
    struct stat own;
    const int netlink = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG);
    if (netlink < 0)
        return -1;
    uint32_t peer = 0;
    uint32_t unread = 0;
    const bool is_told = fstat(fd, &own) == 0 &&
                         ask(netlink, (uint32_t)own.st_ino, PEER, &peer) &&
                         ask(netlink, peer, UNREAD, &unread);
    close(netlink);
    return is_told ? (long)unread : -1;
}

long unread_bytes(int fd) {
    const long told = diagnosed_bytes(fd);
    int waiting = 0;
    if (told < 0)
        ioctl(fd, TIOCOUTQ, &waiting);
    return told >= 0 ? told : waiting;
}
