// SPDX-License-Identifier: BSD-2-Clause

// Measures one scenario with one contender at one size: what bench/run.py calls.
//
//   render_bench list                          the scenarios, their contenders, units and layouts
//   render_bench measure SCENARIO CONTENDER SIZE SECONDS
//                                              runs for at least so long and prints what one run
//                                              cost
//   render_bench memory SCENARIO CONTENDER SIZE
//                                              the peak of memory of the first runs
//   render_bench write SCENARIO CONTENDER SIZE writes what one run renders to standard output
//   render_bench count SCENARIO CONTENDER SIZE
//                                              for callgrind with --collect-atstart=no: collects
//                                              one run and prints its units
//
// What is printed is JSON, one object a line.

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include "bench/meter.h"
#include "bench/scenario.h"
#include "bench/sink.h"

namespace {

scenarios_t all_scenarios() {
    scenarios_t scenarios;
    add_route_scenarios(scenarios);
    add_value_scenarios(scenarios);
    add_request_scenarios(scenarios);
    add_filter_scenarios(scenarios);
    add_deferral_scenarios(scenarios);
    add_nesting_scenarios(scenarios);
    add_interface_scenarios(scenarios);
    add_merged_scenarios(scenarios);
    return scenarios;
}

int list_scenarios() {
    for (const scenario_s& scenario : all_scenarios()) {
        printf(R"({"case": "%s", "contender": "%s", "unit": "%s", "layout": "%s"})"
               "\n",
               scenario.name.c_str(), scenario.contender.c_str(), scenario.unit.c_str(),
               scenario.layout.c_str());
    }
    return 0;
}

const scenario_s& find_scenario(const scenarios_t& scenarios, std::string_view name,
                                std::string_view contender) {
    for (const scenario_s& scenario : scenarios) {
        if (scenario.name == name && scenario.contender == contender) {
            return scenario;
        }
    }
    fprintf(stderr, "bench: no such scenario\n");
    exit(2);
}

int measure(const job_s& job, double seconds) {
    job.warm_up();
    const uint64_t calls = heap_calls();
    const uint64_t bytes = sink_total();
    const double start = user_ns();
    uint64_t units = 0;
    double spent = 0;
    do {
        units += job.run();
        spent = user_ns() - start;
    } while (spent < 1e9 * seconds);
    const auto count = static_cast<double>(units);
    printf(R"({"ns": %.3f, "allocations": %.9f, "bytes": %.3f})"
           "\n",
           spent / count, static_cast<double>(heap_calls() - calls) / count,
           static_cast<double>(sink_total() - bytes) / count);
    return 0;
}

int measure_memory(const job_s& job) {
    const memory_meter_c memory;
    job.warm_up();
    job.run();
    printf(R"({"peak": %)" PRIu64 "}\n", memory.peak_bytes());
    return 0;
}

int write_output(const job_s& job) {
    const std::string output = sink_capture([&] { job.run(); });
    sink_open(STDOUT_FILENO);
    sink_write(output);
    sink_flush();
    return 0;
}

int count_instructions(const job_s& job) {
    job.warm_up();
    CALLGRIND_TOGGLE_COLLECT;
    const uint64_t units = job.run();
    CALLGRIND_TOGGLE_COLLECT;
    printf(R"({"units": %)" PRIu64 "}\n", units);
    return 0;
}

int usage() {
    fprintf(stderr, "usage: render_bench list | memory|write|count SCENARIO CONTENDER SIZE"
                    " | measure SCENARIO CONTENDER SIZE SECONDS\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view verb = argc < 2 ? "" : argv[1];
    if (verb == "list") {
        return list_scenarios();
    }
    if (argc < 5) {
        return usage();
    }
    sink_open(open("/dev/null", O_WRONLY));
    const scenarios_t scenarios = all_scenarios();
    const job_s job =
        find_scenario(scenarios, argv[2], argv[3]).prepare(strtoull(argv[4], nullptr, 10));
    if (verb == "measure" && argc == 6) {
        return measure(job, strtod(argv[5], nullptr));
    }
    if (verb == "memory") {
        return measure_memory(job);
    }
    if (verb == "write") {
        return write_output(job);
    }
    return verb == "count" ? count_instructions(job) : usage();
}
