// SPDX-License-Identifier: BSD-2-Clause

// Sixteen levels of nesting: every row of a list has sixteen containers, each in the one before,
// with one leaf in each.

#include <cinttypes>

#include "bench/contenders/emit.h"
#include "bench/scenario.h"

namespace {

constexpr unsigned LEVELS = 16;

std::vector<uint32_t> rows;
unsigned level_numbers[LEVELS];

const uint32_t* next_row(const uint32_t* row) {
    const uint32_t* next = row == nullptr ? rows.data() : row + 1;
    return next == rows.data() + rows.size() ? nullptr : next;
}

uint32_t value_at(const uint32_t* row, unsigned level) {
    return *row + level;
}

int step_rows(dr_meta_context_s* ctx, const void*) {
    const uint32_t* next =
        next_row(static_cast<const uint32_t*>(drend_get_element_ref(ctx)));
    drend_set_element_ref(ctx, next);
    return next == nullptr ? DREND_NO_EL : DREND_OK;
}

int read_value(dr_meta_context_s* ctx, const void* data) {
    const auto* row = static_cast<const uint32_t*>(drend_get_element_ref(ctx));
    return drend_set_uint32_value(ctx, value_at(row, *static_cast<const unsigned*>(data)));
}

std::string level_tag(unsigned level) {
    std::string kids =
        R"({"dts_name": "value", "dts_type": "leaf", "dts_source": "value"})";
    if (level + 1 < LEVELS) {
        kids += ",\n" + level_tag(level + 1);
    }
    const std::string name = "level-" + std::to_string(level);
    return R"({"dts_name": ")" + name + R"(", "dts_source": ")" + name +
           R"(", "dts_kids": [)" + kids + "]}";
}

void register_levels() {
    drend_add_list("/rows/row", step_rows, nullptr);
    std::string path = "/rows/row";
    for (unsigned level = 0; level < LEVELS; ++level) {
        level_numbers[level] = level;
        path += "/level-" + std::to_string(level);
        drend_add_uint32_leaf((path + "/value").c_str(), read_value, &level_numbers[level]);
    }
}

void make_rows(size_t size) {
    for (size_t i = 0; i < size; ++i) {
        rows.push_back(static_cast<uint32_t>(i));
    }
}

job_s job_of(size_t size, void (*render)()) {
    return {render, [=] {
                render();
                return size * LEVELS;
            }};
}

job_s prepare_library(size_t size) {
    make_rows(size);
    register_levels();
    load_definitions(R"({"dc_name": "rows", "dc_tag": {"dts_name": "rows",
        "dts_source": "/rows", "dts_kids": [{"dts_name": "row", "dts_type": "list",
        "dts_source": "row", "dts_kids": [)" +
                         level_tag(0) + "]}]}}",
                     1);
    return job_of(size, [] { run_command("rows", nullptr); });
}

void print_level(const uint32_t* row, unsigned level) {
    const int indent = 4 + 2 * static_cast<int>(level);
    emit("%*s<level-%u>\n", indent, "", level);
    emit("%*s<value>%" PRIu32 "</value>\n", indent + 2, "", value_at(row, level));
    if (level + 1 < LEVELS) {
        print_level(row, level + 1);
    }
    emit("%*s</level-%u>\n", indent, "", level);
}

void print_rows() {
    emit("<rows>\n");
    for (const uint32_t* row = next_row(nullptr); row != nullptr; row = next_row(row)) {
        emit("  <row>\n");
        print_level(row, 0);
        emit("  </row>\n");
    }
    emit("</rows>\n");
}

} // namespace

void add_nesting_scenarios(scenarios_t& scenarios) {
    scenarios.push_back({"16 levels", "printf", "leaf", "same bytes", [](size_t size) {
                             make_rows(size);
                             return job_of(size, print_rows);
                         }});
    add_for_sends(scenarios, {"16 levels", "library", "leaf", "same bytes", {}},
                  prepare_library);
}
