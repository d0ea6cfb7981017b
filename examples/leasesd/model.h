// SPDX-License-Identifier: BSD-2-Clause
/* The tree of leases, pools and counters that the definitions take their values from. */
#ifndef LEASESD_MODEL_H
#define LEASESD_MODEL_H

void add_model(void);

#endif
