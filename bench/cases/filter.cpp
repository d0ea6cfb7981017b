// SPDX-License-Identifier: BSD-2-Clause

// A filter whose predicate is asked of every route and is true for one in a hundred, against the
// walk of all of them.

#include "bench/contenders/contender.h"
#include "bench/contenders/emit.h"
#include "bench/scenario.h"

namespace {

job_s prepare_filter(size_t size, const char* argument) {
    set_routes(make_routes(size));
    register_routes("/routes/route", step_routes);
    load_definitions(routes_command("routes", "/routes", false), 1);
    return {[=] { run_command("routes", "filter=\"/routes/route[metric='0']\""); },
            [=] {
                run_command("routes", argument);
                return size;
            }};
}

// What a daemon's own code would do, to compare the answers with.
job_s prepare_printf(size_t size) {
    const routes_t routes = make_routes(size);
    const auto render = [=] {
        emit("<routes>\n");
        for (const route_s* row = next_route(routes, nullptr); row != nullptr;
             row = next_route(routes, row)) {
            if (route_metric(*row) == 250) {
                print_route(*row);
            }
        }
        emit("</routes>\n");
        return routes.size();
    };
    return {render, render};
}

} // namespace

void add_filter_scenarios(scenarios_t& scenarios) {
    static_assert(METRICS == 100, "one in a hundred matches");
    add_for_sends(scenarios, {"filter", "unfiltered", "route", "", {}},
                  [](size_t size) { return prepare_filter(size, nullptr); });
    add_for_sends(scenarios, {"filter", "1 % matches", "route", "same bytes", {}},
                  [](size_t size) {
                      return prepare_filter(size, "filter=\"/routes/route[metric='250']\"");
                  });
    add_for_sends(scenarios, {"filter", "3 of 8 leaves", "route", "", {}}, [](size_t size) {
        return prepare_filter(size,
                              "filter='<routes><route><prefix/><metric/><age/></route>"
                              "</routes>'");
    });
    scenarios.push_back(
        {"filter", "printf, 1 % matches", "route", "same bytes", prepare_printf});
}
