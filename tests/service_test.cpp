// SPDX-License-Identifier: BSD-2-Clause

// The daemon's view of a running library: start-up, menu, reload, dumps, look-ups.

#include <atomic>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>

#include "definitions/drend_lookup.h"
#include "failing_memory.h"
#include "model/drend_meta_tree.h"
#include "service/drend_fixed_commands.h"
#include "service/drend_menu.h"
#include "service_fixture.h"
#include "traced.h"

using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(service_test, start_up_adds_an_entry_to_the_daemons_menu) {
    const drend_menu_entry_s own[] = {{"show", "Shows", 3, nullptr, nullptr}, {}};
    start(own, 2);
    EXPECT_STREQ(menu_[0].command, "show");
    EXPECT_STREQ(menu_[1].command, "drend");
    EXPECT_STREQ(menu_[1].help, "Dynamic rendering commands");
    EXPECT_EQ(menu_[2].command, nullptr);
    EXPECT_THAT(words(), ElementsAre("rows", "tagless", "dump-schema", "dump",
                                     "dump-render-tree", "xwalker", "reload"));
    for (const int count : {0, 1}) {
        start(nullptr, count);
        EXPECT_EQ(drend_get_event_context(), &event_context);
        EXPECT_STREQ(menu_[0].command, "drend");
        EXPECT_EQ(menu_[1].command, nullptr);
    }
}

TEST_F(service_test, the_menu_is_found_by_index_too) {
    start(nullptr, 1);
    const unsigned count = drend_menu_get_count();
    ASSERT_EQ(count, 2 + dri_fixed_count());
    EXPECT_STREQ(drend_menu_get_command_string(0), "rows");
    EXPECT_STREQ(drend_menu_get_command_help(0), "Shows rows");
    EXPECT_STREQ(drend_menu_get_command_string(2), "dump-schema");
    EXPECT_EQ(drend_menu_get_command_string(count), nullptr);
    EXPECT_EQ(drend_menu_get_command_subcode(1), 1);
    EXPECT_EQ(drend_menu_get_command_subcode(2), 0);
    // Fixed help is counted from the number of fixed commands.
    EXPECT_EQ(drend_menu_get_command_help(2), nullptr);
    EXPECT_STREQ(drend_menu_get_command_help(dri_fixed_count()),
                 "Dump the dynamic rendering schema");
    testing::internal::CaptureStderr();
    EXPECT_EQ(drend_dump_tags(peer_, count, nullptr), -1);
    EXPECT_EQ(drend_dump_tags(peer_, 1, nullptr), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "drend:subcode out of range '" + std::to_string(count) +
                  "'\nInvalid top node for subcode '1'\n");
}

TEST_F(service_test, a_daemon_starts_without_definitions_and_with_broken_ones) {
    redefine(0, "[{\"dc_name\": ");
    testing::internal::CaptureStderr();
    start(nullptr, 1);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("json load error: "));
    EXPECT_EQ(words().front(), "dump-schema");
    drend_set_prefix("/nowhere");
    start(nullptr, 1);
    EXPECT_EQ(words().front(), "dump-schema");
    EXPECT_EQ(drend_dir_init(), 0);
    EXPECT_EQ(drend_app_init("nobody"), 0);
}

TEST_F(service_test, reload_replaces_definitions_and_menu) {
    start(nullptr, 1);
    const drend_menu_entry_s* before = submenu();
    redefine_tree("new", "n()");
    EXPECT_EQ(request("reload"), 0);
    EXPECT_EQ(take_text(), "finish reloading\n");
    EXPECT_EQ(words().front(), "new");
    EXPECT_STREQ(before->command, "rows"); // a handler may still run out of it
    dr_str_buf_c argument("x");
    EXPECT_EQ(dri_menu_call_fixed_command_function(peer_, "reload", argument.buf()), 0);
    EXPECT_EQ(dri_menu_call_fixed_command_function(peer_, "nope", nullptr), -1);
    take_text();
    drend_set_rebuild_menu(nullptr, nullptr);
    EXPECT_EQ(dri_menu_call_fixed_command_function(peer_, "reload", nullptr), -1);
    EXPECT_EQ(take_text(), "Missing rebuild_menu_fnerror reloading\n");
}

TEST_F(service_test, reload_says_what_it_left_out) {
    start(nullptr, 1);
    const std::string directory = dri_prefix() + "/usr/lib/render";
    const auto reload = [this] {
        testing::internal::CaptureStderr();
        EXPECT_EQ(request("reload"), 0);
        EXPECT_NE(testing::internal::GetCapturedStderr(), "");
        return take_text();
    };
    redefine(0, R"([{"dc_name": "n", "dc_tag": {"dts_name": "\n"}}, {}])");
    EXPECT_EQ(reload(), directory +
                            "/0.json:1:42: error: command 'n', tag ?: '?' is no name of an "
                            "element [bad-name]\n" +
                            directory +
                            "/0.json:1:50: error: Neither a command nor a notification, "
                            "moving on to next entry [not-an-entry]\nfinish reloading\n");
    std::filesystem::create_symlink("/proc/self/mem", directory + "/1.json");
    redefine(0, "[]");
    EXPECT_EQ(reload(),
              directory +
                  "/1.json: error: cannot be read: Input/output error [unreadable]\n"
                  "error reloading\n");
    std::filesystem::remove_all(directory);
    const std::string prefix = dri_prefix();
    EXPECT_EQ(reload(), prefix + "/usr/lib/render, " + prefix + "/opt/lib/render, " +
                            prefix +
                            "/var/opt/lib/render: error: no file is called '*.json' "
                            "[no-file]\nfinish reloading\n");
}

TEST_F(service_test, a_strict_daemon_keeps_its_definitions_when_there_is_an_error) {
    start(nullptr, 1);
    const std::string broken = R"([{"dc_name": "new", "dc_tag": {"dts_name": "t",
        "dts_sorce": "/t"}}, {"dc_name": "other", "dc_tag": {"dts_name": "o"}}])";
    const std::string finding = dri_prefix() +
                                "/usr/lib/render/0.json:2:9: error: command 'new', tag t: "
                                "'dts_sorce' is no member; did you mean 'dts_source'? "
                                "[unknown-member]\n";
    drend_set_strict(1);
    redefine(0, broken);
    request("reload");
    EXPECT_EQ(take_text(), finding + "error reloading\n");
    EXPECT_EQ(words().front(), "rows");
    drend_set_strict(0);
    request("reload");
    EXPECT_EQ(take_text(), finding + "finish reloading\n");
    EXPECT_EQ(words().front(), "new");
}

TEST_F(service_test, daemons_add_fixed_commands) {
    const auto answer = [](void* peer, void*, const char* argument) {
        return drend_send(peer, "<%s>", argument);
    };
    const drend_menu_entry_s more[] = {{"extra", "An extra", 0, nullptr, answer}};
    start(nullptr, 1);
    EXPECT_EQ(drend_add_fixed_commands(more, 1), 0);
    EXPECT_EQ(drend_add_fixed_commands(more, 0), 0);
    EXPECT_EQ(dri_run_menu_rebuild(peer_), 0);
    EXPECT_EQ(words().back(), "extra");
    EXPECT_EQ(drend_dump_tags(peer_, drend_menu_get_count() - 1, "arg"), 0);
    EXPECT_EQ(take_text(), "<arg>");
}

TEST_F(service_test, the_menu_holds_while_another_thread_loads) {
    static int calls;
    calls = 0;
    const drend_menu_entry_s last[] = {{"last", "The last", 0, nullptr,
                                        [](void*, void*, const char*) { return ++calls; }}};
    start(nullptr, 1);
    ASSERT_EQ(drend_add_fixed_commands(last, 1), 0);
    std::string many = "[";
    for (int i = 0; i < 40; ++i) {
        many += i == 0 ? "{" : ", {";
        many += "\"dc_name\": \"" + std::to_string(i) + "\"}";
    }
    many += "]";
    std::atomic<bool> stop{false};
    std::thread loader([&] {
        while (!stop) {
            for (const std::string& set : {std::string("[]"), many}) {
                redefine(0, set);
                dri_reload_json();
            }
        }
    });
    // The last command when there are 40 others, and beyond the menu when there are none.
    const unsigned index = 40 + dri_fixed_count() - 1;
    testing::internal::CaptureStderr();
    int found = 0;
    int answered = 0;
    // At least until both menus were met: the loader may be slow to get a processor.
    for (int i = 0; i < 100000 || found == 0 || found == i; ++i) {
        const char* text = drend_menu_get_command_string(index);
        if (text != nullptr && text != last[0].command) {
            ADD_FAILURE() << "not an entry of the menu";
            break;
        }
        found += text != nullptr;
        answered += drend_dump_tags(peer_, index, nullptr) == 0;
    }
    stop = true;
    loader.join();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(answered, calls);
}

TEST_F(service_test, handlers_that_are_set_again_and_again_take_no_memory) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    constexpr long supply = 1000000;
    static int data[1000];
    failing_allocation = supply;
    for (int& datum : data) {
        drend_add_walk_handlers([](dr_meta_context_s*, void*) { return 0; }, nullptr,
                                &datum);
        drend_add_cmd_handlers(
            nullptr, [](const char*, void*) {}, &datum);
        drend_set_reschedule_handler([](void*, void*) {}, &datum);
    }
    EXPECT_EQ(failing_allocation, supply);
    failing_allocation = 0;
}

TEST_F(service_test, a_tree_of_any_length_is_sent_whole) {
    std::string kids;
    for (int i = 0; i < 12000; ++i) {
        kids += i == 0 ? "{" : ", {";
        kids += "\"dts_source\": \"some/path/to/it\", \"dts_name\": \"kid" +
                std::to_string(i) + "\"}";
    }
    define(R"([{"dc_name": "large", "dc_app_name": "anapp", "dc_tag": {"dts_name": "t",
        "dts_kids": [)" +
           kids + "]}}]");
    start(nullptr, 1);
    request("dump-render-tree", "large");
    EXPECT_GT(output.text.size(), 1U << 20);
    EXPECT_TRUE(output.text.ends_with("  }\n}\n\n"));
    EXPECT_EQ(output.text.find("truncated"), std::string::npos);
    for (const int i : {0, 6000, 11999}) {
        EXPECT_NE(output.text.find("\n  kid" + std::to_string(i) + " {\n"),
                  std::string::npos);
    }
    output.fail_at = 1;
    output.sends = 0;
    request("dump-render-tree", "large");
    EXPECT_EQ(output.failed, 1);
    output = {};
    request("dump-render-tree", "a\x1b[2J\x9b\x7f\"~");
    EXPECT_EQ(take_text(), "Couldn't find 'a\\x1b[2J\\x9b\\x7f\"~'\n");
}

TEST_F(service_test, a_definition_takes_no_fixed_commands_name) {
    const drend_menu_entry_s more[] = {{"more", "", 0, nullptr, nullptr}};
    start(nullptr, 1);
    drend_add_fixed_commands(more, 1);
    std::string json = R"([{"dc_name": "own", "dc_tag": {"dts_name": "t"}})";
    for (const char* name :
         {"dump-schema", "dump", "dump-render-tree", "xwalker", "reload", "more"}) {
        json += std::string(R"(, {"dc_name": ")") + name + "\"}";
    }
    redefine(0, json + "]");
    testing::internal::CaptureStderr();
    request("reload");
    EXPECT_EQ(take_text(), testing::internal::GetCapturedStderr() + "finish reloading\n");
    EXPECT_EQ(drend_dir_init(), 1);
}

TEST_F(service_test, dumps_show_schema_values_and_trees) {
    start(nullptr, 1);
    request("dump-schema");
    EXPECT_EQ(take_text(),
              "/  container \n/t  container \n/t/row  list \n/t/row/name  leaf \n"
              "/t/row/below  list \n/t/row/below/number  leaf \n\n\n");
    request("dump");
    const std::string values = take_text();
    EXPECT_EQ(values, "/t/row/name                               :  [a]\n"
                      "/t/row/below/number                       :  [11]\n"
                      "/t/row/name                               :  [b]\n"
                      "/t/row/below/number                       :  [12]\n\n\n");
    suspend_rows = true;
    request("dump");
    EXPECT_EQ(waiting.size(), 1u);
    EXPECT_EQ(request("rows"), -1);
    output.text.erase(output.text.find("error"));
    run_idle();
    EXPECT_EQ(take_text(), values);
    suspend_rows = false;

    const std::string tree =
        "t {\n  dt_type: 2, dt_data_type: 1, dt_flags: 1, apps: rowd\n";
    request("dump-render-tree", "rows");
    EXPECT_EQ(take_text().substr(0, tree.size()), tree);
    request("dump-render-tree", "");
    EXPECT_EQ(take_text(), "Couldn't find 'corvane-netconf-get'\n");
    static std::string entered;
    const auto note = [](dr_meta_context_s*, const void* sign) {
        return entered += static_cast<const char*>(sign), 0;
    };
    for (const char* path : {"/t", "/t/row"}) {
        drend_add_enter(path, note, path == std::string("/t") ? "(" : "[");
        drend_add_exit(path, note, path == std::string("/t") ? ")" : "]");
    }
    entered.clear();
    request("dump");
    EXPECT_EQ(take_text(), values);
    EXPECT_EQ(entered, "([])");

    dmn_reset_root();
    EXPECT_EQ(drend_dump_schema(nullptr), 0);
    EXPECT_EQ(take_text(), "/  container \n\n\n");
}

TEST_F(service_test, look_ups_find_commands_owners_and_events) {
    define(R"([
      {"dc_name": "corvane-netconf-get", "dc_app_name": "b", "dc_message_id": 5,
       "dc_tag": {"dts_name": "n", "dts_kids": [{"dts_name": "x"}]}},
      {"dc_name": "corvane-netconf-get", "dc_app_name": "a", "dc_message_id": 6,
       "dc_tag": {"dts_name": "n", "dts_kids": [{"dts_name": "y"}]}},
      {"dc_external_notify_name": "e", "dc_internal_notify_name": "i", "dc_tag": {
          "dts_name": "t", "dts_input_kids": [{"dts_name": "parameter"}]}},
      {"dc_notify_leaf": "/n/x/leaf", "dc_internal_notify_name": ["i", "j"]},
      {"dc_notify_leaf": "/n/y"}])");
    struct free_text_s {
        void operator()(char* text) const { free(text); }
    };
    using text_t = std::unique_ptr<char, free_text_s>;
    std::set<std::string> daemons;
    std::set<drend_command_s*> commands;
    EXPECT_EQ(drend_get_daemons_from_path("/n", daemons), 2);
    EXPECT_EQ(text_t(drend_get_only_daemon_responsible("/n")), nullptr);
    EXPECT_STREQ(text_t(drend_get_daemon_responsible("/n")).get(), "a");
    EXPECT_STREQ(text_t(drend_get_only_daemon_responsible("/n/x")).get(), "b");
    EXPECT_EQ(drend_get_message_id_from_path("/n/y"), 6);
    EXPECT_EQ(drend_get_command_set_from_path("/n/y", commands), 1);
    EXPECT_STREQ((*commands.begin())->dc_app_name, "a");
    EXPECT_EQ(drend_get_command_set_from_path("/n/z", commands), -1);
    EXPECT_EQ(drend_get_daemons_from_path("/z", daemons), -1);
    EXPECT_EQ(drend_get_message_id_from_path("/z]"), -1);
    EXPECT_EQ(drend_get_daemon_responsible("/z"), nullptr);

    EXPECT_EQ(dri_get_external_events("i")->front()->dc_external_notify_name, "e");
    EXPECT_EQ(dri_get_external_events("none"), nullptr);
    std::vector<std::string> names;
    EXPECT_EQ(dri_get_internal_events_for_leaf("/n/x/leaf/", names), 0);
    EXPECT_THAT(names, ElementsAre("i", "j"));
    EXPECT_EQ(dri_get_internal_events_for_leaf("/n/y", names), -1);
    std::map<std::string, std::vector<std::string>> by_leaf;
    EXPECT_EQ(dri_get_ntfy_leaf_events_for_container("x/", by_leaf), 0);
    EXPECT_EQ(by_leaf.size(), 1u);

    traced_c traced(DREND_TRACE_ERROR | DREND_TRACE_WALKER);
    text_t(drend_get_daemon_responsible("/n"));
    text_t(drend_get_only_daemon_responsible("/z"));
    const std::string only = "drend_get_only_daemon_responsible: ";
    const std::string any = "DR_WALKER: drend_get_daemon_responsible: Daemon";
    EXPECT_EQ(traced_c::text, any + "0 for path /n is a" + any + "1 for path /n is b" +
                                  "DR_ERROR: " + only +
                                  "drend_get_daemons_from_path failed for path /z, return "
                                  "value: -1");

    EXPECT_EQ(dri_get_command(1000), nullptr);
    dri_clear_command();
    EXPECT_EQ(dri_get_count(), 0u);
    EXPECT_EQ(dri_get_netconf_get_tag(), nullptr);
    // Events stay, with their input parameters.
    EXPECT_EQ(dri_get_external_events("i")->front()->dc_tag->dt_input_kids[0]->name(),
              "parameter");
    dri_release_daemon_context();
    traced_c::text.clear();
    EXPECT_EQ(drend_get_command_set_from_path("/n", commands), -1);
    EXPECT_EQ(drend_get_message_id_from_path("/n"), -1);
    EXPECT_EQ(drend_get_daemons_from_path("/n", daemons), -1);
    const std::string missing = "DR_ERROR: Couldn't find corvane-netconf-get:drend_get_";
    EXPECT_EQ(traced_c::text, missing + "command_set_from_path\n" + missing +
                                  "message_id_from_path\n" + missing +
                                  "daemons_from_path\n");
    EXPECT_EQ(dri_get_external_events("i"), nullptr);
}

TEST_F(service_test, handlers_are_called_around_commands_and_walks) {
    static std::vector<std::string> calls;
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
        [](dr_meta_context_s*, void*) { return suspend_rows ? 1 : 0; }, nullptr);
    drend_dump_rpc(nullptr, "rows", "");
    EXPECT_THAT(calls, ElementsAre("c begins ", "walk", "c begins /t", "c begins /t",
                                   "c begins /t", "c begins /t", "c ends "));
    calls.clear();
    drend_dump(nullptr);
    EXPECT_THAT(calls, ElementsAre("walk"));
    start(nullptr, 1);
    suspend_rows = true;
    request("dump");
    calls.clear();
    run_idle();
    EXPECT_THAT(calls, ElementsAre("walk", "walk")) << "for each row";
    suspend_rows = false;
}
