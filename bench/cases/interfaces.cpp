// SPDX-License-Identifier: BSD-2-Clause

// Interfaces with a hundred leaves each: a name and 99 counters.

#include <cinttypes>

#include "bench/contenders/emit.h"
#include "bench/scenario.h"

namespace {

constexpr unsigned COUNTERS = 99;

struct interface_s {
    std::string name;
    uint64_t counters[COUNTERS];
};

std::vector<interface_s> interfaces;
unsigned counter_numbers[COUNTERS];

void make_interfaces(size_t size) {
    interfaces.resize(size);
    for (size_t i = 0; i < size; ++i) {
        interfaces[i].name = "eth" + std::to_string(i);
        for (unsigned counter = 0; counter < COUNTERS; ++counter) {
            interfaces[i].counters[counter] = (i + 1) * 7919 << counter % 40;
        }
    }
}

const interface_s* next_interface(const interface_s* row) {
    const interface_s* next = row == nullptr ? interfaces.data() : row + 1;
    return next == interfaces.data() + interfaces.size() ? nullptr : next;
}

const interface_s* interface_of(dr_meta_context_s* ctx) {
    return static_cast<const interface_s*>(drend_get_element_ref(ctx));
}

int step_interfaces(dr_meta_context_s* ctx, const void*) {
    const interface_s* next = next_interface(interface_of(ctx));
    drend_set_element_ref(ctx, next);
    return next == nullptr ? DREND_NO_EL : DREND_OK;
}

int read_name(dr_meta_context_s* ctx, const void*) {
    return drend_set_string_value(ctx, interface_of(ctx)->name.c_str());
}

int read_counter(dr_meta_context_s* ctx, const void* data) {
    const unsigned counter = *static_cast<const unsigned*>(data);
    return drend_set_uint64_value(ctx, interface_of(ctx)->counters[counter]);
}

std::string leaf_tag(const std::string& name) {
    return R"({"dts_name": ")" + name + R"(", "dts_type": "leaf", "dts_source": ")" + name +
           "\"}";
}

std::string register_interfaces() {
    const std::string list = "/interfaces/interface/";
    drend_add_list("/interfaces/interface", step_interfaces, nullptr);
    drend_add_str_leaf((list + "name").c_str(), read_name, nullptr);
    std::string tags = leaf_tag("name");
    for (unsigned counter = 0; counter < COUNTERS; ++counter) {
        counter_numbers[counter] = counter;
        const std::string name = "counter-" + std::to_string(counter);
        drend_add_uint64_leaf((list + name).c_str(), read_counter,
                              &counter_numbers[counter]);
        tags += ",\n" + leaf_tag(name);
    }
    return tags;
}

job_s job_of(size_t size, void (*render)()) {
    return {render, [=] {
                render();
                return size * (COUNTERS + 1);
            }};
}

job_s prepare_library(size_t size) {
    make_interfaces(size);
    const std::string tags = register_interfaces();
    load_definitions(R"({"dc_name": "interfaces", "dc_tag": {"dts_name": "interfaces",
        "dts_source": "/interfaces", "dts_kids": [{"dts_name": "interface",
        "dts_type": "list", "dts_source": "interface", "dts_kids": [)" +
                         tags + "]}]}}",
                     1);
    return job_of(size, [] { run_command("interfaces", nullptr); });
}

void print_interfaces() {
    emit("<interfaces>\n");
    for (const interface_s* row = next_interface(nullptr); row != nullptr;
         row = next_interface(row)) {
        emit("  <interface>\n");
        emit("    <name>%s</name>\n", row->name.c_str());
        for (unsigned i = 0; i < COUNTERS; ++i) {
            emit("    <counter-%u>%" PRIu64 "</counter-%u>\n", i, row->counters[i], i);
        }
        emit("  </interface>\n");
    }
    emit("</interfaces>\n");
}

} // namespace

void add_interface_scenarios(scenarios_t& scenarios) {
    scenarios.push_back(
        {"100 leaves a row", "printf", "leaf", "same bytes", [](size_t size) {
             make_interfaces(size);
             return job_of(size, print_interfaces);
         }});
    add_for_sends(scenarios, {"100 leaves a row", "library", "leaf", "same bytes", {}},
                  prepare_library);
}
