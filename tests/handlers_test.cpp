// SPDX-License-Identifier: BSD-2-Clause

// What a daemon has called around commands and walks.

#include <gmock/gmock.h>

#include "render_fixture.h"

using testing::ElementsAre;

namespace {

const std::vector<row_s> ROWS = {{"a", 1, {}}, {"b", 2, {}}};

std::vector<std::string> calls;

class handlers_test : public render_test {
  protected:
    handlers_test() {
        drend_add_list("/t/row", step_rows, &ROWS);
        drend_add_str_leaf("/t/row/name", read_name, nullptr);
        define_tree("c", "t=/t(row*(name))");
        calls.clear();
        drend_add_cmd_handlers(
            [](const char* command, void* data) {
                calls.push_back(static_cast<const char*>(data) +
                                ("begins " + std::string(command)));
            },
            [](const char* command, void* data) {
                calls.push_back(static_cast<const char*>(data) +
                                ("ends " + std::string(command)));
            },
            const_cast<char*>("c "));
        drend_add_walk_handlers(
            [](dr_meta_context_s* ctx, void*) {
                calls.push_back(ctx == nullptr ? "walk of nothing" : "walk");
                return 7; // which nobody heeds
            },
            nullptr, nullptr);
    }
    ~handlers_test() override {
        drend_add_cmd_handlers(nullptr, nullptr, nullptr);
        drend_add_walk_handlers(nullptr, nullptr, nullptr);
    }
};

TEST_F(handlers_test, a_command_begins_and_ends_and_names_its_top_for_each_element) {
    drend_dump_rpc(nullptr, "c", "");
    EXPECT_THAT(calls, ElementsAre("c begins ", "walk", "c begins /t", "c begins /t",
                                   "c begins /t", "c begins /t", "c ends "));
}

TEST_F(handlers_test, a_dump_of_the_data_is_a_walk) {
    drend_dump(nullptr);
    EXPECT_THAT(calls, ElementsAre("walk"));
}

} // namespace
