// SPDX-License-Identifier: BSD-2-Clause
/*
 * Pools take turns: slot s is of pool s % POOLS. What can be computed from a lease's number is not
 * stored, so a million leases take 8 MB.
 */
#include "leases.h"

#include <assert.h>
#include <stdlib.h>
#include <string.h>

const struct pool pools[POOLS] = {
    {"office", "10.0.0.0/14", 0x0a000001},
    {"guests", "10.4.0.0/14", 0x0a040001},
    {"phones", "10.8.0.0/14", 0x0a080001},
    {"cameras", "10.12.0.0/14", 0x0a0c0001},
};
struct counters counters;

static time_t* starts; /* of the lease in each slot */
static uint64_t oldest = 1;
static uint64_t next = 1;
static unsigned duration;

static size_t slot_of(uint64_t number) {
    return (size_t)((number - 1) % LEASES_MAX);
}

int leases_open(uint32_t count, unsigned seconds) {
    assert(count <= LEASES_MAX);
    duration = seconds;
    starts = calloc(LEASES_MAX, sizeof *starts);
    if (starts == NULL)
        return -1;
    const time_t now = time(NULL);
    for (uint32_t i = 0; i < count; ++i)
        starts[i] = now - (time_t)((uint64_t)seconds * (count - 1 - i) / count);
    next = oldest + count;
    counters.granted = count;
    return 0;
}

void leases_close(void) {
    free(starts);
    starts = NULL;
}

unsigned leases_seconds(void) {
    return duration;
}

uint64_t leases_grant(void) {
    if (next - oldest == LEASES_MAX) {
        ++counters.refused;
        return 0;
    }
    starts[slot_of(next)] = time(NULL);
    ++counters.granted;
    return next++;
}

uint64_t leases_over(time_t now) {
    return oldest < next && lease_ends(oldest) <= now ? oldest : 0;
}

void leases_drop_oldest(void) {
    assert(oldest < next);
    ++oldest;
    ++counters.expired;
}

uint64_t leases_next(uint64_t number, const struct pool* pool) {
    uint64_t following = number < oldest ? oldest : number + 1;
    while (pool != NULL && lease_pool(following) != pool)
        ++following;
    return following < next ? following : 0;
}

uint64_t leases_of_address(uint32_t address) {
    for (size_t p = 0; p < POOLS; ++p) {
        const uint32_t host = address - pools[p].first; /* huge for one below */
        if (host < POOL_SIZE) {
            const size_t slot = (size_t)host * POOLS + p;
            const size_t behind = (slot + LEASES_MAX - slot_of(oldest)) % LEASES_MAX;
            return oldest + behind < next ? oldest + behind : 0;
        }
    }
    return 0;
}

bool lease_is_in_force(uint64_t number) {
    return oldest <= number && number < next;
}

const struct pool* lease_pool(uint64_t number) {
    return &pools[slot_of(number) % POOLS];
}

uint32_t lease_address(uint64_t number) {
    return lease_pool(number)->first + (uint32_t)(slot_of(number) / POOLS);
}

time_t lease_starts(uint64_t number) {
    return starts[slot_of(number)];
}

time_t lease_ends(uint64_t number) {
    return lease_starts(number) + (time_t)duration;
}

/* A locally administered one. */
void lease_mac(uint64_t number, unsigned char mac[6]) {
    mac[0] = 0x02;
    for (int i = 1; i < 6; ++i)
        mac[i] = (unsigned char)(number >> 8 * (5 - i));
}

uint32_t pool_used(const struct pool* pool) {
    const uint64_t place = (uint64_t)(pool - pools);
    /* Of the numbers up to n, those of the pool: (n + POOLS - 1 - place) / POOLS. */
    const uint64_t granted = (next - 1 + POOLS - 1 - place) / POOLS;
    const uint64_t over = (oldest - 1 + POOLS - 1 - place) / POOLS;
    return (uint32_t)(granted - over);
}

const struct pool* pool_of_name(const char* name) {
    const struct pool* pool = pools;
    while (pool < pools + POOLS && strcmp(pool->name, name) != 0)
        ++pool;
    return pool < pools + POOLS ? pool : NULL;
}
