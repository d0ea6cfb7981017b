// SPDX-License-Identifier: BSD-2-Clause

// A walk that is suspended and continued every hundred leaves, against one that is not.

#include <algorithm>

#include "bench/scenario.h"

namespace {

constexpr size_t LEAVES_PER_SLICE = 100;

// Asked after each route: whether another hundred leaves are full.
int is_slice_full(dr_meta_context_s*, void*) {
    static size_t leaves = 0;
    leaves += LEAVES_PER_ROUTE;
    if (leaves < LEAVES_PER_SLICE) {
        return 0;
    }
    leaves -= LEAVES_PER_SLICE;
    return 1;
}

job_s prepare_deferral(size_t size, drend_walk_handler_t suspend) {
    const routes_t routes = make_routes(size);
    register_routes("/routes/route", step_routes);
    load_definitions(routes_command("routes", "/routes", false), 1);
    if (suspend != nullptr) {
        drend_add_walk_handlers(nullptr, suspend, nullptr);
    }
    const auto render = [](routes_t shown) {
        set_routes(shown);
        run_command("routes", nullptr);
    };
    return {[=] { render(routes.first(std::min<size_t>(size, 100))); },
            [=] {
                render(routes);
                return size * LEAVES_PER_ROUTE;
            }};
}

} // namespace

void add_deferral_scenarios(scenarios_t& scenarios) {
    add_for_sends(scenarios, {"deferral", "none", "leaf", "same bytes", {}},
                  [](size_t size) { return prepare_deferral(size, nullptr); });
    add_for_sends(scenarios, {"deferral", "every 100 leaves", "leaf", "same bytes", {}},
                  [](size_t size) { return prepare_deferral(size, is_slice_full); });
}
