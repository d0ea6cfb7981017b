// SPDX-License-Identifier: BSD-2-Clause

#include "netlink_table.h"

#include <cerrno>
#include <cstring>
#include <new>

#include <linux/rtnetlink.h>
#include <netlink/msg.h>
#include <netlink/route/rtnl.h>
#include <netlink/socket.h>

namespace {

// A busy host changes a table during most dumps of it; the last attempt is taken as it is.
constexpr int MAX_ATTEMPTS = 4;

struct socket_freer_s {
    void operator()(nl_sock* socket) const { nl_socket_free(socket); }
};
using socket_ptr_t = std::unique_ptr<nl_sock, socket_freer_s>;

struct reading_s {
    netlink_table_t& table;
    bool is_short_of_memory = false;
};

// The two callbacks below are called by C code: no exception may leave them.

void keep_object(nl_object* object, void* data) {
    auto& reading = *static_cast<reading_s*>(data);
    try {
        reading.table.emplace_back(nullptr);
    } catch (const std::bad_alloc&) {
        reading.is_short_of_memory = true;
        return;
    }
    nl_object_get(object);
    reading.table.back().reset(object);
}

int parse_message(nl_msg* message, void* data) {
    // A message that cannot be parsed is one of a kind this library does not know: without
    // it the table still holds all the others.
    const int status = nl_msg_parse(message, keep_object, data);
    const bool is_short = static_cast<reading_s*>(data)->is_short_of_memory;
    return status == -NLE_NOMEM || is_short ? -NLE_NOMEM : static_cast<int>(NL_OK);
}

int dump_once(nl_sock* socket, int request, netlink_table_t& table) {
    table.clear();
    reading_s reading{table};
    nl_socket_modify_cb(socket, NL_CB_VALID, NL_CB_CUSTOM, parse_message, &reading);
    const int sent = nl_rtgen_request(socket, request, AF_UNSPEC, NLM_F_DUMP);
    return sent < 0 ? sent : nl_recvmsgs_default(socket);
}

} // namespace

const char* read_netlink_table(int request, netlink_table_t& table) {
    const socket_ptr_t socket(nl_socket_alloc());
    if (socket == nullptr) {
        return nl_geterror(-NLE_NOMEM);
    }
    if (nl_connect(socket.get(), NETLINK_ROUTE) < 0) {
        return strerror(errno); // of which the library's own codes know few
    }
    int status = -NLE_DUMP_INTR;
    for (int attempt = 1; attempt <= MAX_ATTEMPTS && status == -NLE_DUMP_INTR; ++attempt) {
        status = dump_once(socket.get(), request, table);
    }
    return status < 0 && status != -NLE_DUMP_INTR ? nl_geterror(status) : nullptr;
}
