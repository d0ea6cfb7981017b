// SPDX-License-Identifier: BSD-2-Clause

// /interfaces: this host's network interfaces and what each of them counts.

#include <iterator>

#include <net/if.h>
#include <net/if_arp.h>

#include "model.h"

namespace {

// A keyed seek: when the request names an interface, the answer is that row or none, and
// the others are not even looked at. A list procedure may leave this out, for the library
// compares every row with the request's filter in any case.
int next_interface(dr_meta_context_s* ctx, const void*) {
    kernel_snapshot_c* snapshot = snapshot_of(ctx);
    if (snapshot == nullptr) {
        return DREND_ERR;
    }
    if (const char* name = drend_get_filter_name(ctx, "name")) {
        const bool given = row_of<link_row_s>(ctx) != nullptr;
        return give_row(ctx, given ? nullptr : snapshot->link_by_name(name));
    }
    return give_row(ctx, next_row(ctx, snapshot->links()));
}

// One accessor for all the numbers that libnl has a getter for.
template <auto get>
int number(dr_meta_context_s* ctx, const link_row_s& row) {
    return drend_set_uint32_value(ctx, get(row.link));
}

template <auto get>
int text(dr_meta_context_s* ctx, const link_row_s& row) {
    return set_optional_text(ctx, get(row.link));
}

// `flag` is one of IFF_UP and its like.
template <unsigned flag>
int has_flag(dr_meta_context_s* ctx, const link_row_s& row) {
    return drend_set_boolean_value(ctx, (rtnl_link_get_flags(row.link) & flag) != 0);
}

int interface_index(dr_meta_context_s* ctx, const link_row_s& row) {
    return drend_set_int32_value(ctx, row.index);
}

int hardware_type(dr_meta_context_s* ctx, const link_row_s& row) {
    return drend_set_uint16_value(
        ctx, static_cast<std::uint16_t>(rtnl_link_get_arptype(row.link)));
}

// The loopback interface has six bytes of zeros, which are no address.
int hardware_address(dr_meta_context_s* ctx, const link_row_s& row) {
    const bool none = rtnl_link_get_arptype(row.link) == ARPHRD_LOOPBACK;
    return set_hardware_address(ctx, none ? nullptr : rtnl_link_get_addr(row.link));
}

// The kernel's number: its name is given by the value map of the definition.
int oper_state(dr_meta_context_s* ctx, const link_row_s& row) {
    return drend_set_uint8_value(ctx, rtnl_link_get_operstate(row.link));
}

int controller(dr_meta_context_s* ctx, const link_row_s& row) {
    const int master = rtnl_link_get_master(row.link);
    return master == 0 ? DREND_SKIP_LEAF : set_interface_name(ctx, master);
}

// The counters of an interface, in the order in which they are shown.
struct counter_s {
    const char* name;
    rtnl_link_stat_id_t id;
};
constexpr counter_s COUNTERS[] = {
    {"rx-bytes", RTNL_LINK_RX_BYTES},     {"rx-packets", RTNL_LINK_RX_PACKETS},
    {"rx-errors", RTNL_LINK_RX_ERRORS},   {"rx-dropped", RTNL_LINK_RX_DROPPED},
    {"multicast", RTNL_LINK_MULTICAST},   {"tx-bytes", RTNL_LINK_TX_BYTES},
    {"tx-packets", RTNL_LINK_TX_PACKETS}, {"tx-errors", RTNL_LINK_TX_ERRORS},
    {"tx-dropped", RTNL_LINK_TX_DROPPED}, {"collisions", RTNL_LINK_COLLISIONS},
};

// A dynamic container: each call names the next child. The attribute reference is the place
// that the procedure has reached, nullptr before the first child. The value then comes from
// the leaf of that name. A child that no definition shows is passed over.
int next_counter(dr_meta_context_s* ctx, const void*) {
    void* reached = nullptr;
    drend_get_attribute_ref(ctx, &reached);
    const auto* next =
        reached == nullptr ? COUNTERS : static_cast<const counter_s*>(reached) + 1;
    if (next == std::end(COUNTERS)) {
        drend_set_attribute_ref(ctx, nullptr);
        return DREND_NO_EL;
    }
    drend_set_attribute_name(ctx, next->name);
    drend_set_attribute_ref(ctx, const_cast<counter_s*>(next));
    return DREND_OK;
}

std::uint64_t read_counter(const link_row_s& row, const void* counter) {
    return rtnl_link_get_stat(row.link, static_cast<const counter_s*>(counter)->id);
}

// `data` is the counter: ten leaves, one accessor.
int counter(dr_meta_context_s* ctx, const void* data) {
    const auto* row = row_of<link_row_s>(ctx);
    return row == nullptr ? DREND_ERR
                          : drend_set_uint64_value(ctx, read_counter(*row, data));
}

// The same counter for data models that give it 32 bits, which then wraps.
int counter32(dr_meta_context_s* ctx, const void* data) {
    const auto* row = row_of<link_row_s>(ctx);
    return row == nullptr ? DREND_ERR
                          : drend_set_uint32_value(
                                ctx, static_cast<std::uint32_t>(read_counter(*row, data)));
}

// Counters count from the start of the system, which is when they were last reset.
char boot_time_text[TIME_TEXT];
const char* boot_time = boot_time_text; // drend_get_str_cb reads through the pointer

void find_boot_time() {
    timespec since_boot{};
    clock_gettime(CLOCK_BOOTTIME, &since_boot);
    time_text(time(nullptr) - since_boot.tv_sec, boot_time_text);
}

void add_counters() {
    find_boot_time();
    drend_add_cont_cb("/interfaces/interface/statistics", next_counter, nullptr);
    drend_add_str_leaf("/interfaces/interface/statistics/discontinuity-time",
                       drend_get_str_cb, &boot_time);
    for (const counter_s& entry : COUNTERS) {
        add_leaves("/interfaces/interface/statistics",
                   {{entry.name, drend_add_uint64_leaf, counter, &entry}});
        add_leaves("/interfaces/interface/counter32",
                   {{entry.name, drend_add_uint32_leaf, counter32, &entry}});
    }
}

} // namespace

void add_interface_model() {
    add_snapshot_scope("/interfaces");
    drend_add_str_leaf("/interfaces/snapshot-time", drend_get_cached_cb, SNAPSHOT_TIME);
    drend_add_list("/interfaces/interface", next_interface, nullptr);
    add_leaves(
        "/interfaces/interface",
        {
            {"name", drend_add_str_leaf, leaf<text<rtnl_link_get_name>>},
            {"index", drend_add_int32_leaf, leaf<interface_index>},
            {"alias", drend_add_str_leaf, leaf<text<rtnl_link_get_ifalias>>},
            {"kind", drend_add_str_leaf, leaf<text<rtnl_link_get_type>>},
            {"hardware-type", drend_add_uint16_leaf, leaf<hardware_type>},
            {"hardware-address", drend_add_generic_leaf, leaf<hardware_address>},
            {"enabled", drend_add_boolean_leaf, leaf<has_flag<IFF_UP>>},
            {"promiscuous", drend_add_boolean_leaf, leaf<has_flag<IFF_PROMISC>>},
            {"oper-state", drend_add_uint8_leaf, leaf<oper_state>},
            {"mtu", drend_add_uint32_leaf, leaf<number<rtnl_link_get_mtu>>},
            {"queue-length", drend_add_uint32_leaf, leaf<number<rtnl_link_get_txqlen>>},
            {"queueing", drend_add_str_leaf, leaf<text<rtnl_link_get_qdisc>>},
            {"controller", drend_add_str_leaf, leaf<controller>},
        });
    add_counters();
}
