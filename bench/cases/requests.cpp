// SPDX-License-Identifier: BSD-2-Clause

// One route of N, asked for by its key: the whole request, from its argument to the last byte.
//
// The requests go round 64 routes spread over the table. "seeking" has a list procedure that goes
// straight to the route, "scanning" one that steps through them all, "libyang" finds the route in a
// tree that is already built. "seeking, new filter" has the library forget the filters it has
// parsed before each request. "limit of 20" asks for the first 20 routes. In "distinct filters"
// each request asks for another route.

#include <algorithm>
#include <cstdio>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "bench/contenders/yang_routes.h"
#include "bench/scenario.h"

namespace {

constexpr size_t ASKED = 64;

std::unordered_map<std::string_view, const route_s*> routes_by_prefix;

int seek_route(dr_meta_context_s* ctx, const void* data) {
    const char* prefix = drend_get_filter_name(ctx, "prefix");
    if (prefix == nullptr) {
        return step_routes(ctx, data);
    }
    const auto found = routes_by_prefix.find(prefix);
    const bool ends = route_of(ctx) != nullptr || found == routes_by_prefix.end();
    drend_set_element_ref(ctx, ends ? nullptr : found->second);
    return ends ? DREND_NO_EL : DREND_OK;
}

// The prefixes that are asked for, and whose turn it is.
class turns_c {
  public:
    turns_c(routes_t routes, size_t asked) {
        for (size_t i = 0; i < asked; ++i) {
            prefixes_.push_back(routes[i * routes.size() / asked].prefix);
        }
    }
    const char* next() { return prefixes_[turn_++ % prefixes_.size()].c_str(); }

  private:
    std::vector<std::string> prefixes_;
    size_t turn_ = 0;
};

// The warm-up asks each of them once.
job_s job_of(size_t requests, const std::function<void()>& ask) {
    const auto ask_all = [=] {
        for (size_t i = 0; i < requests; ++i) {
            ask();
        }
        return requests;
    };
    return {ask_all, ask_all};
}

// How a prefix is asked for.
struct question_s {
    const char* before;
    const char* behind;
};
constexpr question_s BY_PATH = {"filter=\"/routes/route[prefix='", "']\""};
constexpr question_s BY_SUBTREE = {"filter='<routes><route><prefix>",
                                   "</prefix></route></routes>'"};

std::function<void()> library_request(routes_t routes, drend_proc_t step, size_t asked,
                                      bool forgets, question_s question = BY_PATH) {
    set_routes(routes);
    register_routes("/routes/route", step);
    load_definitions(routes_command("routes", "/routes", true), 1);
    return [turns = turns_c(routes, asked), forgets, question]() mutable {
        char filter[128];
        snprintf(filter, sizeof filter, "%s%s%s", question.before, turns.next(),
                 question.behind);
        if (forgets) {
            dri_reset_xpath_cache();
        }
        run_command("routes", filter);
    };
}

job_s prepare_seeking(size_t size, size_t asked, bool forgets,
                      question_s question = BY_PATH) {
    const routes_t routes = make_routes(size);
    routes_by_prefix.reserve(routes.size());
    for (const route_s& route : routes) {
        routes_by_prefix.emplace(route.prefix, &route);
    }
    return job_of(asked, library_request(routes, seek_route, asked, forgets, question));
}

// The first routes of a table, and no more.
job_s prepare_page(size_t size) {
    set_routes(make_routes(size));
    register_routes("/routes/route", step_routes);
    load_definitions(routes_command("routes", "/routes", true), 1);
    return job_of(ASKED, [] { run_command("routes", "limit=20"); });
}

job_s prepare_libyang(size_t size) {
    lyd_node* tree = new_yang_routes();
    const routes_t routes = make_routes(size);
    for (const route_s& route : routes) {
        add_yang_route(tree, route);
    }
    return job_of(ASKED, [tree, turns = turns_c(routes, ASKED)]() mutable {
        char path[128];
        snprintf(path, sizeof path, "/bench-routes:routes/route[prefix='%s']",
                 turns.next());
        lyd_node* route = nullptr;
        lyd_find_path(tree, path, 0, &route);
        print_yang(route, LYD_XML, false);
    });
}

} // namespace

void add_request_scenarios(scenarios_t& scenarios) {
    const scenario_s base = {"request by key", "", "request", "same bytes", {}};
    const auto named = [&](const char* contender) {
        scenario_s scenario = base;
        scenario.contender = contender;
        return scenario;
    };
    add_for_sends(scenarios, named("seeking"),
                  [](size_t size) { return prepare_seeking(size, ASKED, false); });
    add_for_sends(scenarios, named("seeking, new filter"),
                  [](size_t size) { return prepare_seeking(size, ASKED, true); });
    for (const bool forgets : {false, true}) {
        const char* name =
            forgets ? "seeking, new subtree filter" : "seeking, subtree filter";
        add_for_sends(scenarios, named(name), [forgets](size_t size) {
            return prepare_seeking(size, ASKED, forgets, BY_SUBTREE);
        });
    }
    add_for_sends(scenarios, named("scanning"), [](size_t size) {
        return job_of(std::clamp<size_t>(100000 / size, 1, ASKED),
                      library_request(make_routes(size), step_routes, ASKED, false));
    });
    add_for_sends(scenarios, {base.name, "limit of 20", base.unit, "", {}}, prepare_page);
    scenario_s libyang = named("libyang");
    libyang.layout = "same document";
    libyang.prepare = prepare_libyang;
    scenarios.push_back(libyang);
    add_for_sends(scenarios, {"distinct filters", "seeking", "request", "", {}},
                  [](size_t size) { return prepare_seeking(size, size, false); });
}
