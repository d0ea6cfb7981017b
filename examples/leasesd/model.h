// SPDX-License-Identifier: BSD-2-Clause
/* The tree of leases, pools and counters that the definitions take their values from. */
#ifndef LEASESD_MODEL_H
#define LEASESD_MODEL_H

#include <stdint.h>

void add_model(void);

/* Tells whoever listens what has become of a lease; `event` is the internal name of a
 * notification, whose definitions find the lease at "/announced". */
void announce_lease(const char* event, uint64_t number);

#endif
