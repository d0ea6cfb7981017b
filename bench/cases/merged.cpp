// SPDX-License-Identifier: BSD-2-Clause

// The merged schema of N daemons: each has a root of its own below the answer to a get request,
// with a list of twenty routes. One process plays all of them.

#include <cinttypes>

#include "bench/contenders/emit.h"
#include "bench/contenders/escape_text.h"
#include "bench/scenario.h"

namespace {

constexpr size_t ROUTES_PER_DAEMON = 20;

std::string daemon_command(const std::string& name) {
    return R"({"dc_name": "corvane-netconf-get", "dc_app_name": ")" + name +
           R"(", "dc_tag": {"dts_name": "device", "dts_kids": [{"dts_name": ")" + name +
           R"(", "dts_source": "/)" + name + R"(", "dts_kids": [)" + route_list_tag(false) +
           "]}]}}";
}

job_s job_of(size_t daemons, const std::function<void()>& render) {
    return {render, [=] {
                render();
                return daemons * ROUTES_PER_DAEMON * LEAVES_PER_ROUTE;
            }};
}

job_s prepare_library(size_t daemons) {
    set_routes(make_routes(ROUTES_PER_DAEMON));
    std::string entries;
    for (size_t i = 0; i < daemons; ++i) {
        const std::string name = "daemon-" + std::to_string(i);
        register_routes("/" + name + "/route", step_routes);
        entries += (i == 0 ? "" : ",\n") + daemon_command(name);
    }
    load_definitions(entries, static_cast<unsigned>(daemons) + 1);
    return job_of(daemons, [] { run_command("corvane-netconf-get", nullptr); });
}

void print_route(const route_s& row) {
    std::string scratch;
    emit("      <prefix>%s</prefix>\n", xml_text(route_prefix(row), scratch));
    emit("      <next-hop>%s</next-hop>\n", xml_text(route_next_hop(row), scratch));
    emit("      <interface>%s</interface>\n", xml_text(route_interface(row), scratch));
    emit("      <metric>%" PRIu32 "</metric>\n", route_metric(row));
    emit("      <protocol>%s</protocol>\n", protocol_name(route_protocol(row)));
    emit("      <age>%" PRIu64 "</age>\n", route_age(row));
    emit("      <active>%s</active>\n", route_is_active(row) ? "true" : "false");
    emit("      <description>%s</description>\n",
         xml_text(route_description(row), scratch));
}

void print_merged(size_t daemons, routes_t routes) {
    emit("<data>\n<device>\n");
    for (size_t i = 0; i < daemons; ++i) {
        emit("  <daemon-%zu>\n", i);
        for (const route_s* row = next_route(routes, nullptr); row != nullptr;
             row = next_route(routes, row)) {
            emit("    <route>\n");
            print_route(*row);
            emit("    </route>\n");
        }
        emit("  </daemon-%zu>\n", i);
    }
    emit("</device>\n</data>\n");
}

job_s prepare_printf(size_t daemons) {
    const routes_t routes = make_routes(ROUTES_PER_DAEMON);
    return job_of(daemons, [=] { print_merged(daemons, routes); });
}

} // namespace

void add_merged_scenarios(scenarios_t& scenarios) {
    scenarios.push_back({"merged schema", "printf", "leaf", "same bytes", prepare_printf});
    add_for_sends(scenarios, {"merged schema", "library", "leaf", "same bytes", {}},
                  prepare_library);
}
