// SPDX-License-Identifier: BSD-2-Clause

#include "bench/scenario.h"

void add_for_sends(scenarios_t& scenarios, const scenario_s& scenario,
                   const std::function<job_s(size_t size)>& prepare) {
    scenarios.push_back(scenario);
    scenarios.back().prepare = [=](size_t size) {
        start_library(sends_e::SINGLE);
        return prepare(size);
    };
    if (can_collect_sends()) {
        scenarios.push_back(scenario);
        scenarios.back().contender += ", collected";
        scenarios.back().prepare = [=](size_t size) {
            start_library(sends_e::COLLECTED);
            return prepare(size);
        };
    }
}
