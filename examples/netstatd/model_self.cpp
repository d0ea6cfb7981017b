// SPDX-License-Identifier: BSD-2-Clause

// /netstatd: the daemon itself. What lies in variables needs no accessor of its own: a
// ready-made reader shows the variable as it is at the time of the walk.

#include <cstdlib>
#include <cstring>
#include <ctime>

#include <sys/resource.h>
#include <sys/sysinfo.h>
#include <unistd.h>

#include "counters.h"
#include "model.h"
#include "server.h"

namespace {

char host_name_text[256];
const char* host_name = host_name_text; // drend_get_str_cb reads through the pointer
std::int32_t process_id;
bool has_ipv6;
in_addr primary_address[4]; // drend_get_ipaddr_v4_cb takes a record of 16 bytes
static_assert(sizeof primary_address == 16);
const time_t start_time = time(nullptr);

// The first address that is good beyond this host, or all zeros.
in_addr find_primary_address(kernel_snapshot_c& snapshot) {
    in_addr found{};
    for (const link_row_s& link : snapshot.links()) {
        for (const address_row_s& row : snapshot.addresses(link.index, AF_INET)) {
            if (rtnl_addr_get_scope(row.address) == RT_SCOPE_UNIVERSE) {
                memcpy(&found, nl_addr_get_binary_addr(rtnl_addr_get_local(row.address)),
                       sizeof found);
                return found;
            }
        }
    }
    return found;
}

// Entering the container is the time to bring the variables up to date.
int refresh(dr_meta_context_s*, const void*) {
    kernel_snapshot_c snapshot;
    primary_address[0] = find_primary_address(snapshot);
    gethostname(host_name_text, sizeof host_name_text - 1);
    process_id = getpid();
    has_ipv6 = access("/proc/net/if_inet6", R_OK) == 0;
    return DREND_OK;
}

int uptime(dr_meta_context_s* ctx, const void*) {
    return drend_set_int64_value(ctx, time(nullptr) - start_time);
}

// `data` is the number of the average: over one, five or fifteen minutes.
int load_average(dr_meta_context_s* ctx, const void* data) {
    struct sysinfo system {};
    sysinfo(&system);
    constexpr double ONE = 1 << SI_LOAD_SHIFT;
    const auto load = static_cast<double>(system.loads[*static_cast<const int*>(data)]);
    return drend_set_decimal64_value(ctx, load / ONE);
}

int requests(dr_meta_context_s* ctx, const void*) {
    return drend_set_uint64_value(ctx, daemon_counters.requests + served_requests());
}

int processor_time(dr_meta_context_s* ctx, const void*) {
    return drend_set_double_value(ctx, static_cast<double>(clock()) / CLOCKS_PER_SEC);
}

int priority(dr_meta_context_s* ctx, const void*) {
    return drend_set_int8_value(ctx,
                                static_cast<std::int8_t>(getpriority(PRIO_PROCESS, 0)));
}

} // namespace

void add_self_model() {
    static constexpr int AVERAGES[] = {0, 1, 2};
    drend_add_enter("/netstatd", refresh, nullptr);
    add_leaves("/netstatd",
               {
                   {"host-name", drend_add_str_leaf, drend_get_str_cb, &host_name},
                   {"primary-address", drend_add_ipaddr_v4_leaf, drend_get_ipaddr_v4_cb,
                    primary_address},
                   {"has-ipv6", drend_add_boolean_leaf, drend_get_boolean_cb, &has_ipv6},
                   {"process-id", drend_add_int32_leaf, drend_get_int32_cb, &process_id},
                   {"priority", drend_add_int8_leaf, priority},
                   {"uptime", drend_add_int64_leaf, uptime},
                   {"processor-time", drend_add_double_leaf, processor_time},
                   {"load-1", drend_add_decimal64_leaf, load_average, &AVERAGES[0]},
                   {"load-5", drend_add_decimal64_leaf, load_average, &AVERAGES[1]},
                   {"load-15", drend_add_decimal64_leaf, load_average, &AVERAGES[2]},
                   {"requests", drend_add_uint64_leaf, requests},
                   {"snapshots", drend_add_uint64_leaf, drend_get_uint64_cb,
                    &daemon_counters.snapshots},
                   {"read-errors", drend_add_uint64_leaf, drend_get_uint64_cb,
                    &daemon_counters.read_errors},
               });
}
