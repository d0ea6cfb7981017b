// SPDX-License-Identifier: BSD-2-Clause

#include "kernel_data.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <functional>
#include <tuple>

#include <linux/neighbour.h>
#include <linux/rtnetlink.h>

#include "counters.h"
#include "orvex_platform/mgmt_server.h"

namespace {

bool is_ip(int family) {
    return family == AF_INET || family == AF_INET6;
}

// The order of tables whose rows belong to an interface.
template <class Row>
auto place(const Row& row) {
    return std::tuple(row.interface, row.family);
}

// The rows of `interface`, of all families or of one.
template <class Row>
std::span<const Row> rows_at(std::span<const Row> rows, int interface, int family) {
    const auto key = [family](const Row& row) {
        return std::tuple(row.interface, family == AF_UNSPEC ? AF_UNSPEC : row.family);
    };
    const auto wanted = std::tuple(interface, family);
    return {std::ranges::lower_bound(rows, wanted, std::less(), key),
            std::ranges::upper_bound(rows, wanted, std::less(), key)};
}

// Orders addresses by interface and by their bytes; the prefix length does not count.
int compare_addresses(const address_row_s& a, const address_row_s& b) {
    if (place(a) != place(b)) {
        return place(a) < place(b) ? -1 : 1;
    }
    const nl_addr* a_local = rtnl_addr_get_local(a.address);
    const nl_addr* b_local = rtnl_addr_get_local(b.address);
    return memcmp(nl_addr_get_binary_addr(a_local), nl_addr_get_binary_addr(b_local),
                  std::min(nl_addr_get_len(a_local), nl_addr_get_len(b_local)));
}

// Marks the rows whose address their interface has in an earlier row already.
void mark_repeated(std::vector<address_row_s>& rows) {
    std::vector<address_row_s*> by_address;
    by_address.reserve(rows.size());
    for (address_row_s& row : rows) {
        by_address.push_back(&row);
    }
    std::stable_sort(by_address.begin(), by_address.end(),
                     [](const address_row_s* a, const address_row_s* b) {
                         return compare_addresses(*a, *b) < 0;
                     });
    for (std::size_t i = 1; i < by_address.size(); ++i) {
        by_address[i]->repeated =
            compare_addresses(*by_address[i - 1], *by_address[i]) == 0;
    }
}

// Compares routes by table and destination: negative, 0 for the same destination, positive.
int compare_destinations(const route_row_s& a, const route_row_s& b) {
    const auto a_place = std::tuple(a.family, a.table);
    const auto b_place = std::tuple(b.family, b.table);
    if (a_place != b_place) {
        return a_place < b_place ? -1 : 1;
    }
    return nl_addr_cmp(rtnl_route_get_dst(a.route), rtnl_route_get_dst(b.route));
}

bool route_before(const route_row_s& a, const route_row_s& b) {
    const int order = compare_destinations(a, b);
    return order != 0 ? order < 0
                      : rtnl_route_get_priority(a.route) < rtnl_route_get_priority(b.route);
}

// Marks the routes that win among those of the same destination; the rows are in order.
void mark_active(std::vector<route_row_s>& rows) {
    std::uint32_t best = 0;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::uint32_t metric = rtnl_route_get_priority(rows[i].route);
        if (i == 0 || compare_destinations(rows[i - 1], rows[i]) != 0) {
            best = metric;
        }
        rows[i].active = metric == best;
    }
}

std::string rib_name(int family, std::uint32_t table) {
    const std::string prefix = family == AF_INET ? "ipv4-" : "ipv6-";
    switch (table) {
    case RT_TABLE_MAIN:
        return prefix + "main";
    case RT_TABLE_LOCAL:
        return prefix + "local";
    case RT_TABLE_DEFAULT:
        return prefix + "default";
    default:
        return prefix + std::to_string(table);
    }
}

} // namespace

void fail_to_read(const char* what, const char* reason) {
    char line[128];
    snprintf(line, sizeof line, "cannot read the kernel's %s: %s", what, reason);
    ++daemon_counters.read_errors;
    fprintf(stderr, "netstatd: %s\n", line);
    mgmt_server_fail_answer(line);
}

kernel_snapshot_c::kernel_snapshot_c() {
    ++daemon_counters.snapshots;
}

// Reads a table on its first use. Accessors call this from inside the library, which no
// exception may pass: want of memory, too, leaves the table empty and fails the answer.
template <class Row>
std::span<const Row> kernel_snapshot_c::rows_of(table_s<Row>& table, int request,
                                                const char* what,
                                                void (*fill)(table_s<Row>& table)) {
    if (!table.read) {
        table.read = true;
        if (const char* reason = read_netlink_table(request, table.objects)) {
            fail_to_read(what, reason);
            return {};
        }
        try {
            fill(table);
        } catch (const std::exception& error) {
            table.rows.clear();
            fail_to_read(what, error.what());
        }
    }
    return table.rows;
}

void kernel_snapshot_c::fill_links(table_s<link_row_s>& table) {
    for (const object_ptr_t& object : table.objects) {
        auto* link = reinterpret_cast<rtnl_link*>(object.get());
        if (rtnl_link_get_name(link) != nullptr) {
            table.rows.push_back({rtnl_link_get_ifindex(link), link});
        }
    }
    std::sort(table.rows.begin(), table.rows.end(),
              [](const link_row_s& a, const link_row_s& b) { return a.index < b.index; });
}

void kernel_snapshot_c::fill_addresses(table_s<address_row_s>& table) {
    for (const object_ptr_t& object : table.objects) {
        auto* address = reinterpret_cast<rtnl_addr*>(object.get());
        const int family = rtnl_addr_get_family(address);
        if (is_ip(family) && rtnl_addr_get_local(address) != nullptr) {
            table.rows.push_back({rtnl_addr_get_ifindex(address), family, address, false});
        }
    }
    std::stable_sort(
        table.rows.begin(), table.rows.end(),
        [](const address_row_s& a, const address_row_s& b) { return place(a) < place(b); });
    mark_repeated(table.rows);
}

// Multicast and other addresses that need no resolution (NUD_NOARP) are nobody's neighbour.
void kernel_snapshot_c::fill_neighbors(table_s<neighbor_row_s>& table) {
    for (const object_ptr_t& object : table.objects) {
        auto* neighbor = reinterpret_cast<rtnl_neigh*>(object.get());
        const int family = rtnl_neigh_get_family(neighbor);
        const int state = rtnl_neigh_get_state(neighbor);
        if (is_ip(family) && rtnl_neigh_get_dst(neighbor) != nullptr && state > NUD_NONE &&
            (state & NUD_NOARP) == 0) {
            table.rows.push_back({rtnl_neigh_get_ifindex(neighbor), family, neighbor});
        }
    }
    std::stable_sort(table.rows.begin(), table.rows.end(),
                     [](const neighbor_row_s& a, const neighbor_row_s& b) {
                         return place(a) < place(b);
                     });
}

// Copies that the kernel keeps of routes in use (RTM_F_CLONED) are no routes of their own.
void kernel_snapshot_c::fill_routes(table_s<route_row_s>& table) {
    for (const object_ptr_t& object : table.objects) {
        auto* route = reinterpret_cast<rtnl_route*>(object.get());
        const int family = rtnl_route_get_family(route);
        if (is_ip(family) && rtnl_route_get_dst(route) != nullptr &&
            (rtnl_route_get_flags(route) & RTM_F_CLONED) == 0) {
            table.rows.push_back({family, rtnl_route_get_table(route), route, false});
        }
    }
    std::stable_sort(table.rows.begin(), table.rows.end(), route_before);
    mark_active(table.rows);
}

std::span<const link_row_s> kernel_snapshot_c::links() {
    return rows_of(links_, RTM_GETLINK, "interfaces", fill_links);
}

const link_row_s* kernel_snapshot_c::link_by_name(const char* name) {
    const auto rows = links();
    const auto found =
        std::find_if(rows.begin(), rows.end(), [name](const link_row_s& row) {
            return strcmp(rtnl_link_get_name(row.link), name) == 0;
        });
    return found == rows.end() ? nullptr : &*found;
}

const char* kernel_snapshot_c::interface_name(int index) {
    const auto rows = links();
    const auto found = std::lower_bound(
        rows.begin(), rows.end(), index,
        [](const link_row_s& row, int wanted) { return row.index < wanted; });
    return found == rows.end() || found->index != index ? nullptr
                                                        : rtnl_link_get_name(found->link);
}

std::span<const address_row_s> kernel_snapshot_c::all_addresses() {
    return rows_of(addresses_, RTM_GETADDR, "addresses", fill_addresses);
}

std::span<const address_row_s> kernel_snapshot_c::addresses(int interface, int family) {
    return rows_at(all_addresses(), interface, family);
}

std::span<const neighbor_row_s> kernel_snapshot_c::neighbors() {
    return rows_of(neighbors_, RTM_GETNEIGH, "neighbours", fill_neighbors);
}

std::span<const neighbor_row_s> kernel_snapshot_c::neighbors(int interface, int family) {
    return rows_at(neighbors(), interface, family);
}

std::span<const rib_row_s> kernel_snapshot_c::ribs() {
    if (!routes_.read) {
        const auto routes = rows_of(routes_, RTM_GETROUTE, "routes", fill_routes);
        try {
            make_ribs(routes);
        } catch (const std::exception& error) {
            ribs_.clear();
            fail_to_read("routing tables", error.what());
        }
    }
    return ribs_;
}

// Cuts the routes, which are in order, where the family or the table changes.
void kernel_snapshot_c::make_ribs(std::span<const route_row_s> routes) {
    for (auto first = routes.begin(); first != routes.end();) {
        const auto last = std::find_if(first, routes.end(), [first](const auto& row) {
            return std::tuple(row.family, row.table) !=
                   std::tuple(first->family, first->table);
        });
        ribs_.push_back({first->family, first->table, rib_name(first->family, first->table),
                         std::span(first, last)});
        first = last;
    }
}
