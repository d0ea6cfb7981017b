// SPDX-License-Identifier: BSD-2-Clause

// The scenarios of the measure: what is rendered, by whom, and what is counted.
//
// One process measures one scenario with one contender at one size. `prepare` makes the data and
// whatever the contender needs before its first answer; the job's `run` renders once and returns
// the number of units (leaves, routes or requests) it rendered. What `prepare` and `warm_up` do is
// not timed; memory counts from the end of `prepare`.
#ifndef BENCH_SCENARIO_H
#define BENCH_SCENARIO_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "bench/library.h"

struct job_s {
    std::function<void()> warm_up;
    std::function<uint64_t()> run;
};

struct scenario_s {
    std::string name;
    std::string contender;
    std::string unit;
    // How its bytes compare with those of others: "same bytes", "same document", "row by row", or
    // "" for nothing to compare with.
    std::string layout;
    std::function<job_s(size_t size)> prepare;
};

using scenarios_t = std::vector<scenario_s>;

// Adds the scenario for each way to send that this library has: `scenario.contender` and, with
// collected sends, the same with ", collected" behind it.
void add_for_sends(scenarios_t& scenarios, const scenario_s& scenario,
                   const std::function<job_s(size_t size)>& prepare);

void add_route_scenarios(scenarios_t& scenarios);
void add_value_scenarios(scenarios_t& scenarios);
void add_request_scenarios(scenarios_t& scenarios);
void add_filter_scenarios(scenarios_t& scenarios);
void add_deferral_scenarios(scenarios_t& scenarios);
void add_nesting_scenarios(scenarios_t& scenarios);
void add_interface_scenarios(scenarios_t& scenarios);
void add_merged_scenarios(scenarios_t& scenarios);

#endif
