// SPDX-License-Identifier: BSD-2-Clause

// /neighbors and the neighbours of each interface: whose hardware address this host knows,
// or is looking for.

#include <linux/neighbour.h>

#include "model.h"

namespace {

// A seek by a part of the key: the rows of other interfaces than the one that the request
// names are passed over here; the library checks the rest of what the request asks.
int next_neighbor(dr_meta_context_s* ctx, const void*) {
    kernel_snapshot_c* snapshot = snapshot_of(ctx);
    if (snapshot == nullptr) {
        return DREND_ERR;
    }
    const char* name = drend_get_filter_name(ctx, "interface");
    const link_row_s* link = name == nullptr ? nullptr : snapshot->link_by_name(name);
    return give_row(ctx, next_row_where(ctx, snapshot->neighbors(), [&](const auto& row) {
                        return name == nullptr ||
                               (link != nullptr && link->index == row.interface);
                    }));
}

// The neighbours of one interface, for data models in which each has a hardware address:
// those that are still looked for are left out. Between the interface and this list stands
// the container of the family, which inherited the reference of the interface's row.
int next_resolved_neighbor(dr_meta_context_s* ctx, const void* family) {
    const auto* link = row_of<link_row_s>(ctx, 1);
    kernel_snapshot_c* snapshot = link == nullptr ? nullptr : snapshot_of(ctx);
    if (snapshot == nullptr) {
        return DREND_ERR;
    }
    const auto rows = snapshot->neighbors(link->index, *static_cast<const int*>(family));
    return give_row(ctx, next_row_where(ctx, rows, [](const neighbor_row_s& row) {
                        return rtnl_neigh_get_lladdr(row.neighbor) != nullptr;
                    }));
}

int ip(dr_meta_context_s* ctx, const neighbor_row_s& row) {
    return set_ip_address(ctx, rtnl_neigh_get_dst(row.neighbor));
}

int interface(dr_meta_context_s* ctx, const neighbor_row_s& row) {
    return set_interface_name(ctx, row.interface);
}

int hardware_address(dr_meta_context_s* ctx, const neighbor_row_s& row) {
    return set_hardware_address(ctx, rtnl_neigh_get_lladdr(row.neighbor));
}

// One of the kernel's NUD_ numbers.
int state(dr_meta_context_s* ctx, const neighbor_row_s& row) {
    return drend_set_uint16_value(
        ctx, static_cast<std::uint16_t>(rtnl_neigh_get_state(row.neighbor)));
}

int permanent(dr_meta_context_s* ctx, const neighbor_row_s& row) {
    return drend_set_boolean_value(
        ctx, (rtnl_neigh_get_state(row.neighbor) & NUD_PERMANENT) != 0);
}

// An element without content: it is there or it is not.
int router(dr_meta_context_s* ctx, const neighbor_row_s& row) {
    const bool is_router = (rtnl_neigh_get_flags(row.neighbor) & NTF_ROUTER) != 0;
    return is_router ? drend_set_string_value(ctx, "") : DREND_SKIP_LEAF;
}

void add_neighbor_list(const char* path, drend_proc_t next, const void* data) {
    drend_add_list(path, next, data);
    add_leaves(path,
               {
                   {"ip", drend_add_str_leaf, leaf<ip>},
                   {"interface", drend_add_str_leaf, leaf<interface>},
                   {"hardware-address", drend_add_generic_leaf, leaf<hardware_address>},
                   {"state", drend_add_uint16_leaf, leaf<state>},
                   {"permanent", drend_add_boolean_leaf, leaf<permanent>},
                   {"router", drend_add_str_leaf, leaf<router>},
               });
}

} // namespace

void add_neighbor_model() {
    add_snapshot_scope("/neighbors");
    add_neighbor_list("/neighbors/neighbor", next_neighbor, nullptr);
    add_neighbor_list("/interfaces/interface/ipv4/neighbor", next_resolved_neighbor, &IPV4);
    add_neighbor_list("/interfaces/interface/ipv6/neighbor", next_resolved_neighbor, &IPV6);
}
