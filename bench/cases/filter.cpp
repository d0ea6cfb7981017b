// A filter whose predicate is asked of every route and is true for one in a hundred, against the
// walk of all of them.

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

} // namespace

void add_filter_scenarios(scenarios_t& scenarios) {
    static_assert(METRICS == 100, "one in a hundred matches");
    add_for_sends(scenarios, {"filter", "unfiltered", "route", "", {}},
                  [](size_t size) { return prepare_filter(size, nullptr); });
    add_for_sends(scenarios, {"filter", "1 % matches", "route", "", {}}, [](size_t size) {
        return prepare_filter(size, "filter=\"/routes/route[metric='250']\"");
    });
}
