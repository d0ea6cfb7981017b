// SPDX-License-Identifier: BSD-2-Clause

// Allocations by the length of a value: a list whose leaves are all of at most four bytes, and one
// whose leaves are all longer.

#include "bench/scenario.h"

namespace {

constexpr size_t LEAVES = 4;

std::vector<uint32_t> rows;

int step_rows(dr_meta_context_s* ctx, const void*) {
    const auto* row = static_cast<const uint32_t*>(drend_get_element_ref(ctx));
    const uint32_t* next = row == nullptr ? rows.data() : row + 1;
    const bool at_end = next == rows.data() + rows.size();
    drend_set_element_ref(ctx, at_end ? nullptr : next);
    return at_end ? DREND_NO_EL : DREND_OK;
}

int read_short(dr_meta_context_s* ctx, const void*) {
    return drend_set_uint32_value(
        ctx, *static_cast<const uint32_t*>(drend_get_element_ref(ctx)));
}

int read_long(dr_meta_context_s* ctx, const void*) {
    return drend_set_string_value(ctx, "a text of thirty-one characters");
}

job_s prepare_values(size_t size, bool is_long) {
    rows.assign(size, 7);
    drend_add_list("/rows/row", step_rows, nullptr);
    std::string tags;
    for (size_t leaf = 0; leaf < LEAVES; ++leaf) {
        const std::string name = "leaf-" + std::to_string(leaf);
        const std::string path = "/rows/row/" + name;
        (is_long ? drend_add_str_leaf : drend_add_uint32_leaf)(
            path.c_str(), is_long ? read_long : read_short, nullptr);
        tags += (leaf == 0 ? "" : ", ");
        tags += R"({"dts_name": ")" + name + R"(", "dts_type": "leaf", "dts_source": ")" +
                name + "\"}";
    }
    load_definitions(R"({"dc_name": "rows", "dc_tag": {"dts_name": "rows",
        "dts_source": "/rows", "dts_kids": [{"dts_name": "row", "dts_type": "list",
        "dts_source": "row", "dts_kids": [)" +
                         tags + "]}]}}",
                     1);
    return {[] { run_command("rows", nullptr); },
            [=] {
                run_command("rows", nullptr);
                return size * LEAVES;
            }};
}

} // namespace

void add_value_scenarios(scenarios_t& scenarios) {
    for (const bool is_long : {false, true}) {
        add_for_sends(
            scenarios,
            {is_long ? "long values" : "values of 4 bytes", "library", "leaf", "", {}},
            [=](size_t size) { return prepare_values(size, is_long); });
    }
}
