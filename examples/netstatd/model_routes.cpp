// SPDX-License-Identifier: BSD-2-Clause

// /routing: the routing tables of both address families. A routing table of one family is
// called a RIB, as in the data models that the definitions follow.

#include <new>

#include <linux/rtnetlink.h>
#include <netlink/route/nexthop.h>

#include "model.h"

namespace {

int next_rib(dr_meta_context_s* ctx, const void*) {
    kernel_snapshot_c* snapshot = snapshot_of(ctx);
    if (snapshot == nullptr) {
        return DREND_ERR;
    }
    const char* name = drend_get_filter_name(ctx, "name");
    return give_row(ctx, next_row_where(ctx, snapshot->ribs(), [name](const auto& rib) {
                        return name == nullptr || rib.name == name;
                    }));
}

int rib_name(dr_meta_context_s* ctx, const rib_row_s& rib) {
    return drend_set_string_value(ctx, rib.name.c_str());
}

int rib_family(dr_meta_context_s* ctx, const rib_row_s& rib) {
    return drend_set_uint8_value(ctx, static_cast<std::uint8_t>(rib.family));
}

int rib_is_default(dr_meta_context_s* ctx, const rib_row_s& rib) {
    return drend_set_boolean_value(ctx, rib.table == RT_TABLE_MAIN);
}

int rib_size(dr_meta_context_s* ctx, const rib_row_s& rib) {
    return drend_set_uint64_value(ctx, rib.routes.size());
}

// The rows of a list within a list: the enclosing row is one place above.
int next_route(dr_meta_context_s* ctx, const void*) {
    const auto* rib = row_of<rib_row_s>(ctx, 1);
    return rib == nullptr ? DREND_ERR : give_row(ctx, next_row(ctx, rib->routes));
}

// `family` is that of the routes whose destination is shown, or null for all: data models
// that keep the families apart have an element for each.
int destination(dr_meta_context_s* ctx, const void* family) {
    const auto* row = row_of<route_row_s>(ctx);
    if (row == nullptr) {
        return DREND_ERR;
    }
    if (family != nullptr && *static_cast<const int*>(family) != row->family) {
        return DREND_SKIP_LEAF;
    }
    char text[INET6_ADDRSTRLEN];
    const nl_addr* address = rtnl_route_get_dst(row->route);
    return drend_set_str_value(ctx, "%s/%u", ip_text(address, text),
                               nl_addr_get_prefixlen(address));
}

int metric(dr_meta_context_s* ctx, const route_row_s& row) {
    return drend_set_uint32_value(ctx, rtnl_route_get_priority(row.route));
}

template <auto get>
int number(dr_meta_context_s* ctx, const route_row_s& row) {
    return drend_set_uint8_value(ctx, get(row.route));
}

int source_address(dr_meta_context_s* ctx, const route_row_s& row) {
    return set_ip_address(ctx, rtnl_route_get_pref_src(row.route));
}

// An element without content: it is there or it is not.
int active(dr_meta_context_s* ctx, const route_row_s& row) {
    return row.active ? drend_set_string_value(ctx, "") : DREND_SKIP_LEAF;
}

// A leaf about one next hop has a reader
//
//     int read(dr_meta_context_s*, const route_row_s&, rtnl_nexthop*, const void* data)
//
// from which three accessors are made: for the only next hop of a route, for the same when
// the route sends packets on to somebody, and for each row of the list of next hops.

template <auto read>
int only_hop(dr_meta_context_s* ctx, const void* data) {
    const auto* row = row_of<route_row_s>(ctx);
    if (row == nullptr) {
        return DREND_ERR;
    }
    return rtnl_route_get_nnexthops(row->route) == 1
               ? read(ctx, *row, rtnl_route_nexthop_n(row->route, 0), data)
               : DREND_SKIP_LEAF;
}

template <auto read>
int forward_hop(dr_meta_context_s* ctx, const void* data) {
    const auto* row = row_of<route_row_s>(ctx);
    if (row == nullptr) {
        return DREND_ERR;
    }
    switch (rtnl_route_get_type(row->route)) {
    case RTN_UNICAST:
    case RTN_BROADCAST:
    case RTN_MULTICAST:
        return only_hop<read>(ctx, data);
    default:
        return DREND_SKIP_LEAF; // delivered here, or dropped in one of several ways
    }
}

// The next hops of a route that has more than one.
class hop_iterator_c final : public drend_iterator_c {
  public:
    explicit hop_iterator_c(const route_row_s* route) : route_(route) {
        const int count = route == nullptr ? 0 : rtnl_route_get_nnexthops(route->route);
        count_ = count > 1 ? count : 0;
    }

    void first(dr_meta_context_s*) override { position_ = 0; }
    void next(dr_meta_context_s*) override { ++position_; }
    bool at_end(dr_meta_context_s*) override { return position_ >= count_; }

    const route_row_s& route() const { return *route_; }
    rtnl_nexthop* hop() const { return rtnl_route_nexthop_n(route_->route, position_); }

  private:
    const route_row_s* route_;
    int count_;
    int position_ = 0;
};

drend_iterator_c* make_hop_iterator(void* parent) {
    return new (std::nothrow) hop_iterator_c(static_cast<const route_row_s*>(parent));
}

template <auto read>
int listed_hop(dr_meta_context_s* ctx, const void* data) {
    auto* iterator = static_cast<drend_iterator_c*>(drend_get_iterator_c(ctx, 0));
    if (iterator == nullptr) {
        return DREND_ERR;
    }
    const auto* hops = static_cast<hop_iterator_c*>(iterator);
    return read(ctx, hops->route(), hops->hop(), data);
}

// `family` as for `destination`. The next hop of an IPv4 route may have an IPv6 address.
int gateway(dr_meta_context_s* ctx, const route_row_s& row, rtnl_nexthop* hop,
            const void* family) {
    const nl_addr* address = rtnl_route_nh_get_gateway(hop);
    if (address == nullptr) {
        address = rtnl_route_nh_get_via(hop);
    }
    const int wanted = family == nullptr ? AF_UNSPEC : *static_cast<const int*>(family);
    const bool shown = wanted == AF_UNSPEC || (wanted == row.family && address != nullptr &&
                                               nl_addr_get_family(address) == wanted);
    return shown ? set_ip_address(ctx, address) : DREND_SKIP_LEAF;
}

int interface(dr_meta_context_s* ctx, const route_row_s&, rtnl_nexthop* hop, const void*) {
    return set_interface_name(ctx, rtnl_route_nh_get_ifindex(hop));
}

// The kernel keeps the weight less one.
int weight(dr_meta_context_s* ctx, const route_row_s&, rtnl_nexthop* hop, const void*) {
    return drend_set_uint16_value(
        ctx, static_cast<std::uint16_t>(rtnl_route_nh_get_weight(hop) + 1));
}

void add_ribs() {
    drend_add_list("/routing/rib", next_rib, nullptr);
    add_leaves("/routing/rib",
               {
                   {"name", drend_add_str_leaf, leaf<rib_name>},
                   {"family", drend_add_uint8_leaf, leaf<rib_family>},
                   {"default", drend_add_boolean_leaf, leaf<rib_is_default>},
                   {"size", drend_add_uint64_leaf, leaf<rib_size>},
               });
}

void add_routes() {
    drend_add_list("/routing/rib/route", next_route, nullptr);
    add_leaves("/routing/rib/route",
               {
                   {"destination", drend_add_str_leaf, destination},
                   {"ipv4-destination", drend_add_str_leaf, destination, &IPV4},
                   {"ipv6-destination", drend_add_str_leaf, destination, &IPV6},
                   {"type", drend_add_uint8_leaf, leaf<number<rtnl_route_get_type>>},
                   {"origin", drend_add_uint8_leaf, leaf<number<rtnl_route_get_protocol>>},
                   {"scope", drend_add_uint8_leaf, leaf<number<rtnl_route_get_scope>>},
                   {"metric", drend_add_uint32_leaf, leaf<metric>},
                   {"source-address", drend_add_str_leaf, leaf<source_address>},
                   {"active", drend_add_str_leaf, leaf<active>},
               });
}

void add_next_hops() {
    add_leaves(
        "/routing/rib/route",
        {
            {"gateway", drend_add_str_leaf, only_hop<gateway>},
            {"interface", drend_add_str_leaf, only_hop<interface>},
            {"forward/ipv4-gateway", drend_add_str_leaf, forward_hop<gateway>, &IPV4},
            {"forward/ipv6-gateway", drend_add_str_leaf, forward_hop<gateway>, &IPV6},
            {"forward/interface", drend_add_str_leaf, forward_hop<interface>},
        });
    drend_add_iterator_list("/routing/rib/route/next-hop", make_hop_iterator);
    add_leaves("/routing/rib/route/next-hop",
               {
                   {"gateway", drend_add_str_leaf, listed_hop<gateway>},
                   {"ipv4-gateway", drend_add_str_leaf, listed_hop<gateway>, &IPV4},
                   {"ipv6-gateway", drend_add_str_leaf, listed_hop<gateway>, &IPV6},
                   {"interface", drend_add_str_leaf, listed_hop<interface>},
                   {"weight", drend_add_uint16_leaf, listed_hop<weight>},
               });
}

} // namespace

void add_route_model() {
    add_snapshot_scope("/routing");
    add_ribs();
    add_routes();
    add_next_hops();
}
