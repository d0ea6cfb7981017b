// SPDX-License-Identifier: BSD-2-Clause
/*
 * The table of leases: which client has which address until when. Clients are simulated; nothing
 * is sent to any network.
 *
 *     number    1 ... oldest ........ next ...    leases are numbered as they are granted;
 *                     |<-- in force -->|          all run as long, so the oldest ends first
 *     slot      (number - 1) % LEASES_MAX         what is remembered of it, and its address
 *
 * A lease's number stands for it: it is never given to another one, and whether it is still in
 * force is seen from it. So walks keep numbers, which outlive the leases, and no pointers.
 */
#ifndef LEASESD_LEASES_H
#define LEASESD_LEASES_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <time.h>

enum {
    POOLS = 4,
    POOL_SIZE = 262142, /* addresses of a network of 14 bits, less its first and last one */
    LEASES_MAX = POOLS * POOL_SIZE,
};

struct pool {
    const char* name;
    const char* network;
    uint32_t first; /* address, in host order */
};

/* Since the daemon's start. */
struct counters {
    uint64_t granted;
    uint64_t expired;
    uint64_t refused; /* clients that found no address free */
};

extern const struct pool pools[POOLS];
extern struct counters counters;

/* Makes the table, with `count` leases, at most LEASES_MAX, that end evenly over the next
 * `seconds`, which is how long a lease runs. 0, or -1 when memory ran out. */
int leases_open(uint32_t count, unsigned seconds);
void leases_close(void);
unsigned leases_seconds(void);

/* The number of the lease that was granted to a new client, or 0 when no address is free. */
uint64_t leases_grant(void);
/* The lease whose time is over, or 0; it stays in force until leases_drop_oldest. */
uint64_t leases_over(time_t now);
void leases_drop_oldest(void);

/* The lease that follows `number`, the first for 0, of `pool` or, with NULL, of all; 0 at the
 * end. */
uint64_t leases_next(uint64_t number, const struct pool* pool);
/* The lease of an address in host order, or 0. */
uint64_t leases_of_address(uint32_t address);

bool lease_is_in_force(uint64_t number);
const struct pool* lease_pool(uint64_t number);
uint32_t lease_address(uint64_t number);
time_t lease_starts(uint64_t number);
time_t lease_ends(uint64_t number);
void lease_mac(uint64_t number, unsigned char mac[6]);

uint32_t pool_used(const struct pool* pool);
const struct pool* pool_of_name(const char* name);

#endif
