// SPDX-License-Identifier: BSD-2-Clause

// One table of the kernel, read through netlink in one dump.
//
// A table comes as libnl's objects, counted and owned by the vector that holds them.
// libnl's own caches are not used: they merge routes that differ only in their device, and
// a daemon shows what the kernel has.
#pragma once

#include <memory>
#include <vector>

#include <netlink/netlink.h>
#include <netlink/object.h>

struct object_putter_s {
    void operator()(nl_object* object) const { nl_object_put(object); }
};
using object_ptr_t = std::unique_ptr<nl_object, object_putter_s>;
using netlink_table_t = std::vector<object_ptr_t>;

// Reads the table that the dump `request` (RTM_GETLINK and its like) returns, all address
// families together. A table that changes while it is being read is read again, a few
// times. Returns null, or why it cannot.
const char* read_netlink_table(int request, netlink_table_t& table);
