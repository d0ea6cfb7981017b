// SPDX-License-Identifier: BSD-2-Clause

// Routes as libyang's data, for the contenders that build trees of it.
#ifndef BENCH_YANG_ROUTES_H
#define BENCH_YANG_ROUTES_H

#include <libyang/libyang.h>

#include "bench/routes.h"

// The module of the routes in a context that lives as long as the process.
const lys_module* yang_module();
// A new "routes" without rows.
lyd_node* new_yang_routes();
// Adds a row and gives it back.
lyd_node* add_yang_route(lyd_node* routes, const route_s& row);
// Prints `node`, with its siblings if so, into the sink.
void print_yang(const lyd_node* node, LYD_FORMAT format, bool with_siblings);

#endif
