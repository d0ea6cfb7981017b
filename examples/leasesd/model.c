// SPDX-License-Identifier: BSD-2-Clause
/* docs/accessors.md shows the parts. */
#include "model.h"

#include <arpa/inet.h>
#include <drend.h>
#include <stdio.h>
#include <time.h>

#include "leases.h"

/* --- leases ------------------------------------------------------------------------ */

/* The lease that an accessor is asked about, or 0. */
static uint64_t lease_here(dr_meta_context_s* ctx) {
    return (uintptr_t)drend_get_element_ref(ctx);
}

static int give_lease(dr_meta_context_s* ctx, uint64_t number) {
    /* NOLINTNEXTLINE(performance-no-int-to-ptr): the library only keeps it */
    drend_set_element_ref(ctx, (const void*)(uintptr_t)number);
    return number == 0 ? DREND_NO_EL : DREND_OK;
}

/* [seek] */
/* The lease of an address as a request writes it, or 0. */
static uint64_t find_lease(const char* text) {
    struct in_addr address;
    return inet_pton(AF_INET, text, &address) == 1
               ? leases_of_address(ntohl(address.s_addr))
               : 0;
}

static int next_lease(dr_meta_context_s* ctx, const void* data) {
    const uint64_t number = lease_here(ctx); /* 0 before the first */
    const char* address = drend_get_filter_name(ctx, "address");
    const char* pool_name = drend_get_filter_name(ctx, "pool");
    (void)data;
    if (address != NULL)
        return give_lease(ctx, number == 0 ? find_lease(address) : 0);
    const struct pool* pool = pool_name == NULL ? NULL : pool_of_name(pool_name);
    if (pool_name != NULL && pool == NULL)
        return give_lease(ctx, 0);
    return give_lease(ctx, leases_next(number, pool));
}
/* [end] */

/* [address] */
static int read_address(dr_meta_context_s* ctx, const void* data) {
    const uint64_t number = lease_here(ctx);
    const struct in_addr address = {htonl(lease_address(number))};
    (void)data;
    return number == 0 ? DREND_ERR : drend_set_ipv4_value(ctx, &address);
}

static int read_mac(dr_meta_context_s* ctx, const void* data) {
    const uint64_t number = lease_here(ctx);
    unsigned char mac[6];
    (void)data;
    lease_mac(number, mac);
    return number == 0 ? DREND_ERR : drend_set_mac_value(ctx, mac);
}
/* [end] */

static int read_pool(dr_meta_context_s* ctx, const void* data) {
    const uint64_t number = lease_here(ctx);
    (void)data;
    return number == 0 ? DREND_ERR : drend_set_string_value(ctx, lease_pool(number)->name);
}

/* A third of the clients does not tell its name. */
static int read_host_name(dr_meta_context_s* ctx, const void* data) {
    const uint64_t number = lease_here(ctx);
    (void)data;
    if (number == 0)
        return DREND_ERR;
    return number % 3 == 0
               ? DREND_SKIP_LEAF
               : drend_set_str_value(ctx, "host-%llu", (unsigned long long)number);
}

static int set_time(dr_meta_context_s* ctx, time_t time) {
    char text[sizeof "2000-01-01T00:00:00Z"];
    struct tm parts;
    return gmtime_r(&time, &parts) != NULL &&
                   strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts) > 0
               ? drend_set_string_value(ctx, text)
               : DREND_ERR;
}

static int read_start(dr_meta_context_s* ctx, const void* data) {
    const uint64_t number = lease_here(ctx);
    (void)data;
    return number == 0 ? DREND_ERR : set_time(ctx, lease_starts(number));
}

static int read_end(dr_meta_context_s* ctx, const void* data) {
    const uint64_t number = lease_here(ctx);
    (void)data;
    return number == 0 ? DREND_ERR : set_time(ctx, lease_ends(number));
}

static int is_over(dr_meta_context_s* ctx, const void* data) {
    const uint64_t number = lease_here(ctx);
    (void)data;
    return number == 0 ? DREND_ERR
                       : drend_set_boolean_value(ctx, lease_ends(number) <= time(NULL));
}

struct leaf {
    const char* path;
    int (*add)(const char* path, drend_proc_t proc, const void* data);
    drend_proc_t read;
    const void* data;
};

static void add_leaves(const char* parent, const struct leaf* leaves, size_t count) {
    char path[64];
    for (size_t i = 0; i < count; ++i) {
        snprintf(path, sizeof path, "%s/%s", parent, leaves[i].path);
        leaves[i].add(path, leaves[i].read, leaves[i].data);
    }
}

static void add_lease(const char* path) {
    static const struct leaf leaves[] = {
        {"address", drend_add_ipaddr_v4_leaf, read_address, NULL},
        {"pool", drend_add_str_leaf, read_pool, NULL},
        {"mac", drend_add_str_leaf, read_mac, NULL},
        {"host-name", drend_add_str_leaf, read_host_name, NULL},
        {"starts", drend_add_str_leaf, read_start, NULL},
        {"ends", drend_add_str_leaf, read_end, NULL},
        {"over", drend_add_boolean_leaf, is_over, NULL},
    };
    add_leaves(path, leaves, sizeof leaves / sizeof leaves[0]);
}

/* --- pools ------------------------------------------------------------------------- */

static int next_pool(dr_meta_context_s* ctx, const void* data) {
    const struct pool* pool = drend_get_element_ref(ctx);
    (void)data;
    pool = pool == NULL ? pools : pool + 1;
    if (pool == pools + POOLS)
        pool = NULL;
    drend_set_element_ref(ctx, pool);
    return pool == NULL ? DREND_NO_EL : DREND_OK;
}

/* What is known of a pool; the data of a leaf says which of it is meant. */
enum pool_fact { POOL_NAME, POOL_NETWORK, POOL_SECONDS, POOL_TOTAL, POOL_USED };
static const enum pool_fact pool_facts[] = {POOL_NAME, POOL_NETWORK, POOL_SECONDS,
                                            POOL_TOTAL, POOL_USED};

static int read_pool_fact(dr_meta_context_s* ctx, const void* data) {
    const struct pool* pool = drend_get_element_ref(ctx);
    if (pool == NULL)
        return DREND_ERR;
    switch (*(const enum pool_fact*)data) {
    case POOL_NAME:
        return drend_set_string_value(ctx, pool->name);
    case POOL_NETWORK:
        return drend_set_string_value(ctx, pool->network);
    case POOL_SECONDS:
        return drend_set_uint32_value(ctx, leases_seconds());
    case POOL_TOTAL:
        return drend_set_uint32_value(ctx, POOL_SIZE);
    case POOL_USED:
        return drend_set_uint32_value(ctx, pool_used(pool));
    }
    return DREND_ERR;
}

static void add_pools(void) {
    static const struct leaf leaves[] = {
        {"name", drend_add_str_leaf, read_pool_fact, &pool_facts[POOL_NAME]},
        {"network", drend_add_str_leaf, read_pool_fact, &pool_facts[POOL_NETWORK]},
        {"seconds", drend_add_uint32_leaf, read_pool_fact, &pool_facts[POOL_SECONDS]},
        {"total", drend_add_uint32_leaf, read_pool_fact, &pool_facts[POOL_TOTAL]},
        {"used", drend_add_uint32_leaf, read_pool_fact, &pool_facts[POOL_USED]},
    };
    drend_add_list("/dhcp/pool", next_pool, NULL);
    add_leaves("/dhcp/pool", leaves, sizeof leaves / sizeof leaves[0]);
}

/* --- counters ---------------------------------------------------------------------- */

static void add_counters(void) {
    static const struct leaf leaves[] = {
        {"granted", drend_add_uint64_leaf, drend_get_uint64_cb, &counters.granted},
        {"expired", drend_add_uint64_leaf, drend_get_uint64_cb, &counters.expired},
        {"refused", drend_add_uint64_leaf, drend_get_uint64_cb, &counters.refused},
    };
    add_leaves("/dhcp/statistics", leaves, sizeof leaves / sizeof leaves[0]);
}

/* --- what is announced ------------------------------------------------------------- */

/* [announce] */
static uint64_t announced; /* lease, or 0 */

/* A container with that lease in it, as if it were a row. */
static int enter_announced(dr_meta_context_s* ctx, const void* data) {
    (void)data;
    return give_lease(ctx, announced);
}

void announce_lease(const char* event, uint64_t number) {
    announced = number;
    drx_announce_event(event);
    announced = 0;
}
/* [end] */

void add_model(void) {
    add_pools();
    drend_add_list("/dhcp/lease", next_lease, NULL);
    add_lease("/dhcp/lease");
    drend_add_enter("/announced", enter_announced, NULL);
    add_lease("/announced");
    add_counters();
}
