// SPDX-License-Identifier: BSD-2-Clause

// A snapshot of the kernel's interfaces, addresses, neighbours and routes.
//
// One request is answered from one snapshot: a row that a walk stands on cannot vanish
// under it, whatever happens to the interface meanwhile, also while the walk is suspended.
//
//     kernel_snapshot_c
//       links      by index                       interface_name(index)
//       addresses  by interface, family    --->   addresses(interface, family)
//       neighbors  by interface, family    --->   neighbors(interface, family)
//       routes     by family, table        --->   ribs(), each with its routes
//
// 1. A table is read when it is first asked for, once, and then stays as it is.
// 2. Rows lie in arrays, so that a list procedure steps to the next row by adding one to its
//    pointer. Rows and the objects they point to live as long as the snapshot.
// 3. A table that cannot be read is empty and fails the answer.
//
// A snapshot belongs to one walk and is used by one thread.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include <netlink/route/addr.h>
#include <netlink/route/link.h>
#include <netlink/route/neighbour.h>
#include <netlink/route/route.h>

#include "netlink_table.h"

// Says on standard error that `what` of the kernel's cannot be read, and why, counts it, and gives
// up the answer that is being given: without it the answer would be wrong.
void fail_to_read(const char* what, const char* reason);

struct link_row_s {
    int index;
    rtnl_link* link;
};

struct address_row_s {
    int interface;
    int family; // AF_INET or AF_INET6
    rtnl_addr* address;
    bool repeated; // an earlier row of the interface has the same address, other prefix
};

struct neighbor_row_s {
    int interface;
    int family;
    rtnl_neigh* neighbor;
};

struct route_row_s {
    int family;
    std::uint32_t table;
    rtnl_route* route;
    bool active; // none of its table has the same destination and a better metric
};

// A routing table of one address family.
struct rib_row_s {
    int family;
    std::uint32_t table;
    std::string name; // "ipv4-main"
    std::span<const route_row_s> routes;
};

class kernel_snapshot_c {
  public:
    kernel_snapshot_c();
    kernel_snapshot_c(const kernel_snapshot_c&) = delete;
    kernel_snapshot_c& operator=(const kernel_snapshot_c&) = delete;

    std::span<const link_row_s> links();
    // The row of an interface, or null.
    const link_row_s* link_by_name(const char* name);
    // The name of an interface, or null for an index that no interface has.
    const char* interface_name(int index);

    // The addresses of an interface; AF_UNSPEC stands for every family.
    std::span<const address_row_s> addresses(int interface, int family);

    std::span<const neighbor_row_s> neighbors();
    std::span<const neighbor_row_s> neighbors(int interface, int family);

    std::span<const rib_row_s> ribs();

  private:
    // The rows of one table and the objects that they point to.
    template <class Row>
    struct table_s {
        bool read = false;
        netlink_table_t objects;
        std::vector<Row> rows;
    };

    template <class Row>
    std::span<const Row> rows_of(table_s<Row>& table, int request, const char* what,
                                 void (*fill)(table_s<Row>& table));
    static void fill_links(table_s<link_row_s>& table);
    static void fill_addresses(table_s<address_row_s>& table);
    static void fill_neighbors(table_s<neighbor_row_s>& table);
    static void fill_routes(table_s<route_row_s>& table);
    std::span<const address_row_s> all_addresses();
    void make_ribs(std::span<const route_row_s> routes);

    table_s<link_row_s> links_;
    table_s<address_row_s> addresses_;
    table_s<neighbor_row_s> neighbors_;
    table_s<route_row_s> routes_;
    std::vector<rib_row_s> ribs_;
};
