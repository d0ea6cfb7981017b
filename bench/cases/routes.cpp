// SPDX-License-Identifier: BSD-2-Clause

// The whole table to XML and to JSON, by every contender, to aligned columns and to the other
// forms. The library has variants: the prefix as the list's key, and a daemon that formats by
// itself.

#include <algorithm>
#include <cstdio>

#include "bench/contenders/contender.h"
#include "bench/scenario.h"

namespace {

constexpr size_t WARM_UP_ROUTES = 100;

using render_t = std::function<void(routes_t)>;

job_s job_of(routes_t routes, const render_t& render) {
    return {[=] { render(routes.first(std::min(routes.size(), WARM_UP_ROUTES))); },
            [=] {
                render(routes);
                return routes.size() * LEAVES_PER_ROUTE;
            }};
}

void add_contender(scenarios_t& scenarios, const std::string& name,
                   const contender_s& contender, bool as_json) {
    constexpr const char* LAYOUTS[] = {"same bytes", "same document", "row by row"};
    const auto render = as_json ? contender.to_json : contender.to_xml;
    if (render == nullptr) {
        return;
    }
    scenarios.push_back({name, contender.name, "leaf",
                         LAYOUTS[static_cast<int>(contender.layout)], [=](size_t size) {
                             const routes_t routes = make_routes(size);
                             if (contender.prepare != nullptr) {
                                 contender.prepare(routes, as_json);
                             }
                             return job_of(routes, render);
                         }});
}

job_s prepare_library(size_t size, bool has_key, const char* argument) {
    register_routes("/routes/route", step_routes);
    load_definitions(routes_command("routes", "/routes", has_key), 1);
    return job_of(make_routes(size), [=](routes_t routes) {
        set_routes(routes);
        run_command("routes", argument);
    });
}

void add_library(scenarios_t& scenarios, const std::string& name, bool has_key,
                 const char* argument) {
    add_for_sends(scenarios, {name, "library", "leaf", "same bytes", {}},
                  [=](size_t size) { return prepare_library(size, has_key, argument); });
}

int format_by_itself(char* buffer, unsigned int size, const char* format, va_list args) {
    return vsnprintf(buffer, size, format, args);
}

void add_own_formatter(scenarios_t& scenarios) {
    add_contender(scenarios, "own formatter", PRINTF_CONTENDER, false);
    add_for_sends(scenarios, {"own formatter", "library", "leaf", "same bytes", {}},
                  [](size_t size) {
                      drend_set_vsnprintf(format_by_itself);
                      return prepare_library(size, false, nullptr);
                  });
}

// The forms of an answer beside each other, under the words that ask for them.
void add_forms(scenarios_t& scenarios) {
    static constexpr struct {
        const char* name;
        const char* argument;
    } forms[] = {{"XML", nullptr},
                 {"as-json", "as-json"},
                 {"as-ietf-xml", "as-ietf-xml"},
                 {"as-ietf-json", "as-ietf-json"},
                 {"as-json-lines", "as-json-lines"}};
    for (const auto& form : forms) {
        add_for_sends(
            scenarios, {"routes in forms", form.name, "leaf", "", {}},
            [&form](size_t size) { return prepare_library(size, false, form.argument); });
    }
}

} // namespace

void add_route_scenarios(scenarios_t& scenarios) {
    const contender_s* contenders[] = {
        &PRINTF_CONTENDER,        &TO_CHARS_CONTENDER,         &XML_WRITER_CONTENDER,
        &RAPIDJSON_CONTENDER,     &RAPIDJSON_PRETTY_CONTENDER, &LIBYANG_TREE_CONTENDER,
        &LIBYANG_ROUTE_CONTENDER, &JANSSON_CONTENDER,          &MEMCPY_CONTENDER};
    for (const bool as_json : {false, true}) {
        const std::string name = as_json ? "routes to JSON" : "routes to XML";
        add_library(scenarios, name, false, as_json ? "as-json" : nullptr);
        for (const contender_s* contender : contenders) {
            add_contender(scenarios, name, *contender, as_json);
        }
    }
    add_library(scenarios, "routes to a table", false, "as-table");
    add_contender(scenarios, "routes with key", PRINTF_CONTENDER, false);
    add_library(scenarios, "routes with key", true, nullptr);
    add_own_formatter(scenarios);
    add_forms(scenarios);
}
