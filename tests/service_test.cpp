// SPDX-License-Identifier: BSD-2-Clause

// The daemon's view of a running library: start-up, menu, requests by entry, dumps, look-ups.

#include <atomic>
#include <filesystem>
#include <thread>

#include <gmock/gmock.h>
#include <unistd.h>

#include "definitions/drend_lookup.h"
#include "failing_memory.h"
#include "frame/str_util.h"
#include "model/drend_meta_tree.h"
#include "orvex_platform/mgmt_sock.h"
#include "render/dr_deferral.h"
#include "render_fixture.h"
#include "repeated.h"
#include "service/drend_fixed_commands.h"
#include "service/drend_menu.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

const std::vector<row_s> ROWS = {{"a", 1, {{"x", 11}}}, {"b", 2, {{"y", 12}}}};

// Walks handed over for continuing; run_idle continues them as an idle loop would.
std::vector<void*> waiting;

// The walk is suspended after every row, or after the row of that number (counted by `rows_seen`).
bool suspend_rows = false;
int suspend_at = -1;
int rows_seen = 0;

class service_test : public render_test {
  protected:
    service_test() : peer_(mgmt_sock_open_local(stdout)) {
        waiting.clear();
        suspend_rows = false;
        suspend_at = -1;
        drend_add_list("/t/row", step_rows, &ROWS);
        drend_add_str_leaf("/t/row/name", read_name, nullptr);
        drend_add_list("/t/row/below", step_rows_below, nullptr);
        drend_add_int32_leaf("/t/row/below/number", read_number, nullptr);
        drend_add_walk_handlers(
            nullptr,
            [](dr_meta_context_s*, void*) {
                return suspend_rows || rows_seen++ == suspend_at ? 1 : 0;
            },
            nullptr);
        define(R"([{"dc_name": "rows", "dc_help": "Shows rows", "dc_app_name": "rowd",
            "dc_message_id": 7, "dc_tag": {"dts_name": "t", "dts_source": "/t", "dts_kids": [
            {"dts_name": "row", "dts_type": "list", "dts_source": "row", "dts_kids": [
                {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]}]}},
            {"dc_name": "tagless", "dc_help": "Has no tree"}])");
    }
    ~service_test() override {
        if (peer_ != nullptr) {
            close_peer();
        }
        drend_add_cmd_handlers(nullptr, nullptr, nullptr);
        drend_set_rebuild_menu(nullptr, nullptr);
        EXPECT_EQ(dri_inuse_count(), 0u);
    }

    // Starts the library as a daemon does.
    void start(const drend_menu_entry_s* menu, int count) {
        // A menu lives as long as the process.
        static auto& served = *new std::vector<drend_menu_entry_s*>;
        menu_ = drend_init(nullptr, menu, count, nullptr);
        served.push_back(menu_);
        EXPECT_EQ(drend_set_flush_method([](void*) { return ++output.flushes, 0; }),
                  ms_peer_flush);
        drend_set_reschedule_handler([](void*, void* walk) { waiting.push_back(walk); },
                                     nullptr);
    }
    static void run_idle() {
        while (!waiting.empty()) {
            std::vector<void*> due;
            due.swap(waiting);
            for (void* walk : due) {
                drend_defer_continue(walk);
            }
        }
    }
    // Runs the entry of the "drend" sub-menu of that word.
    int request(const char* word, const char* argument = nullptr) {
        for (const drend_menu_entry_s* entry = submenu(); entry->command != nullptr;
             ++entry) {
            if (strcmp(entry->command, word) == 0) {
                ms_parse_context_s context{entry->subcode};
                return entry->handler(peer_, &context, argument);
            }
        }
        ADD_FAILURE() << "no entry " << word;
        return -1;
    }
    const drend_menu_entry_s* submenu() const {
        const drend_menu_entry_s* entry = menu_;
        while (strcmp(entry->command, "drend") != 0) {
            ++entry;
        }
        return entry->submenu;
    }
    std::vector<std::string> words() const {
        std::vector<std::string> found;
        for (const drend_menu_entry_s* entry = submenu(); entry->command != nullptr;
             ++entry) {
            found.push_back(entry->command);
        }
        return found;
    }
    void close_peer() {
        drend_set_flush_method(nullptr);
        mgmt_sock_close(peer_);
        peer_ = nullptr;
    }
    std::string take_text() {
        std::string text;
        text.swap(output.text);
        return text;
    }

    void* peer_;
    drend_menu_entry_s* menu_ = nullptr;
};

constexpr char ROWS_XML[] = "<t>\n  <row>\n    <name>a</name>\n  </row>\n  <row>\n"
                            "    <name>b</name>\n  </row>\n</t>\n";

} // namespace

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

TEST_F(service_test, requests_are_answered_whatever_they_print) {
    start(nullptr, 1);
    EXPECT_EQ(request("rows"), 0);
    EXPECT_EQ(take_text(), ROWS_XML);
    EXPECT_EQ(request("rows", "filter=/none"), 0);
    EXPECT_EQ(take_text(), "210\n");
    EXPECT_EQ(request("rows", "as-json, filter=\"/t/row[name='b']\""), 0);
    EXPECT_EQ(take_text(), "{\n  \"t\" : {\n    \"row\" : [{\n        \"name\" : \"b\"\n"
                           "      }]\n  }\n}");
    output.fail_at = output.sends + 2;
    EXPECT_EQ(request("rows"), DREND_PEER_LOST);
    EXPECT_EQ(take_text(), "<t>\n  <row>\n");
    output.fail_at = -1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(request("tagless"), -1);
    EXPECT_EQ(take_text(), "");
    drend_set_strict(1);
    EXPECT_EQ(request("tagless"), -1);
    EXPECT_EQ(take_text(), "error: the command's definition has no tags\n");
    drend_set_strict(0);
    const std::string line = "Invalid top node for subcode '1'\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), line + line);
}

TEST_F(service_test, a_protocol_is_told_how_answers_end) {
    static std::string log;
    static bool tells_peer; // in a way of its own: no line does
    drend_set_answer_methods(
        [](void*, const char* media_type) { log += std::string(media_type) + " "; },
        [](void*, const drend_answer_end_s* end) {
            log += std::to_string(end->end) + (end->code == nullptr ? "" : end->code);
            log += end->text == nullptr ? "" : ": " + std::string(end->text);
            return tells_peer ? 1 : 0;
        });
    start(nullptr, 1);
    suspend_rows = true;
    struct case_s {
        const char* argument;
        int fail_at; // the send
        long failing;
        const char* told;
        std::string line = {};
    };
    const case_s cases[] = {{"", -1, 0, "application/xml 0"},
                            {"as-json", -1, 0, "application/json 0"},
                            {"filter=/none", -1, 0, "application/xml 0nothing", "210\n"},
                            {"", 0, 0, "application/xml "},
                            {"filter='<'", -1, 0,
                             "1invalid-request: Failed to parse the document.",
                             "error: Failed to parse the document.\n"},
                            {"", -1, 5, "application/xml 2out-of-memory: out of memory",
                             "error: out of memory\n"}};
    for (const case_s& row : cases) {
        for (const bool tells : {false, true}) {
            if (row.failing != 0 && !allocations_can_fail()) {
                continue;
            }
            log.clear();
            tells_peer = tells;
            output.fail_at = row.fail_at < 0 ? -1 : output.sends;
            failing_allocation = row.failing;
            request("rows", row.argument);
            failing_allocation = 0;
            run_idle();
            EXPECT_EQ(log, row.told) << row.argument;
            const std::string text = take_text();
            EXPECT_EQ(!row.line.empty() && text.ends_with(row.line),
                      !row.line.empty() && !tells)
                << text;
        }
    }
    output.fail_at = -1;
    drend_set_answer_methods(nullptr, nullptr);
}

TEST_F(service_test, a_command_says_what_it_takes) {
    redefine(0, R"([{"dc_name": "rows", "dc_tag": {"dts_name": "t", "dts_source": "/t",
        "dts_input_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_help": "Its\tname"},
            {"dts_name": "state", "dts_type": "leaf"},
            {"dts_name": "brief", "dts_type": "empty", "dts_help": "Less"},
            {"dts_name": "limit", "dts_type": "leaf", "dts_data_type": "uint8"}],
        "dts_kids": [{"dts_name": "row", "dts_type": "list", "dts_source": "row", "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
            {"dts_name": "state", "dts_type": "leaf", "dts_data_type": "uint32",
             "dts_map": [["1", "up"], ["2", "going down"], ["3", "=1+1"], ["*", "*"]]}]}]}}])");
    start(nullptr, 1);
    const drend_menu_entry_s* rows = submenu();
    EXPECT_EQ(drend_send_parameters(peer_, rows), 0);
    const std::string lines = take_text();
    EXPECT_THAT(lines, StartsWith("name=\tIts\\x09name\tstring\t\nstate=\t\tuint32\tup\n"
                                  "brief\tLess\tempty\t\nlimit=\t\tuint8\t\nfilter=\t"));
    EXPECT_THAT(lines, HasSubstr("\nas-json\tJSON, each value a text\tform\t\n"));
    EXPECT_THAT(lines, HasSubstr("\ndepth=\tNo deeper than so many levels\tvalue\t\n"));
    EXPECT_EQ(lines.find("\nlimit=\tAt most"), std::string::npos); // the command's counts
    EXPECT_THAT(lines, Not(HasSubstr("\t\tform"))); // every word is explained
    EXPECT_THAT(lines, Not(HasSubstr("\t\tvalue")));
    EXPECT_EQ(drend_send_parameters(peer_, rows + 1), DREND_ERR); // a fixed command
    output.fail_at = output.sends;
    EXPECT_EQ(drend_send_parameters(peer_, rows), DREND_PEER_LOST);
    output.fail_at = -1;
}

// The whole filter counts, in whatever steps and predicates: parsing it stops there.
TEST_F(service_test, a_filter_that_is_too_large_is_refused) {
    static int handled;
    handled = 0;
    const auto count = [](const char*, void*) { ++handled; };
    drend_add_cmd_handlers(count, count, nullptr);
    start(nullptr, 1);
    const char refused[] = "error: the filter is too large\n";
    for (const std::string& filter :
         {repeated(4100, "/"), "/t" + repeated(2100, "[x]") + "/row[name='a']",
          "/t" + repeated(1100, "[x]") + "/row" + repeated(1100, "[x]"),
          "/t/row" + repeated(4, "/x[f(" + repeated(75, "match(x, 'a') ") + ")]")}) {
        EXPECT_EQ(request("rows", ("filter=\"" + filter + "\"").c_str()), 0);
        EXPECT_EQ(take_text(), refused) << filter.substr(0, 50);
        EXPECT_EQ(request("rows", ("as-json filter=\"" + filter + "\"").c_str()), 0);
        EXPECT_EQ(take_text(), refused) << filter.substr(0, 50);
    }
    EXPECT_EQ(output.flushes, output.sends);
    EXPECT_EQ(handled, 0);
    output.fail_at = output.sends;
    const std::string argument = "filter='" + repeated(5000, "/") + "'";
    EXPECT_EQ(request("rows", argument.c_str()), DREND_PEER_LOST);
    output.fail_at = -1;
    const std::string largest = "/t[" + repeated(254, "'1' and ") + "'1']/row" +
                                repeated(1190, "[name='b']") + "/name";
    EXPECT_EQ(request("rows", ("filter=\"" + largest + "\"").c_str()), 0);
    EXPECT_THAT(take_text(), HasSubstr("<name>b</name>"));
}

TEST_F(service_test, a_suspended_request_belongs_to_its_peer) {
    static std::string log;
    log.clear();
    drend_add_cmd_handlers(
        nullptr, [](const char*, void*) { log += "end "; }, nullptr);
    start(nullptr, 1);
    suspend_rows = true;
    EXPECT_EQ(request("rows"), 0);
    ASSERT_EQ(waiting.size(), 1u);
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), waiting[0]);
    EXPECT_EQ(log, "");
    const std::string begun = take_text();
    EXPECT_EQ(request("rows"), -1); // one at a time
    EXPECT_EQ(take_text(), "error: a request of this peer is still being answered\n");
    run_idle();
    EXPECT_EQ(begun + take_text(), ROWS_XML);
    EXPECT_EQ(log, "end ");
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), nullptr);

    EXPECT_EQ(request("rows"), 0);
    void* const cookie = mgmt_sock_get_drend_cookie(peer_);
    take_text();
    EXPECT_EQ(drend_dump(peer_), nullptr); // nor a dump beside it
    EXPECT_EQ(take_text(), "error: a request of this peer is still being answered\n");
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), cookie);
    run_idle();
    take_text();
    log.clear();

    // One that shows nothing until its last slice, while others are being sent to.
    EXPECT_EQ(request("rows", "filter=/t/row/none"), 0);
    drend_send(nullptr, "to somebody else\n");
    take_text();
    run_idle();
    EXPECT_EQ(take_text(), "210\n");
    EXPECT_EQ(log, "end ");
}

TEST_F(service_test, a_dropped_walk_leaves_its_peer_free) {
    start(nullptr, 1);
    suspend_rows = true;
    request("rows");
    ASSERT_EQ(waiting.size(), 1u);
    drend_drop_walk(waiting[0]);
    EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), nullptr);
    waiting.clear();
    take_text();

    void* other = mgmt_sock_open_local(stdout);
    drend_dump_tags(other, 0, nullptr); // may lie where the dropped one lay
    const std::string begun = take_text();
    EXPECT_EQ(request("rows"), 0); // not taken for busy
    close_peer();                  // ends its own walk only
    take_text();
    run_idle();
    EXPECT_EQ(begun + take_text(), ROWS_XML);
    drend_set_flush_method(nullptr);
    mgmt_sock_close(other);
}

TEST_F(service_test, a_walk_may_end_before_during_and_after_a_slice) {
    static void* ending;
    static void (*end)(void*);
    static int inside;
    inside = 0;
    // Ends the walk from within a leaf, as a failed write would.
    drend_add_str_leaf(
        "/t/row/below/box/name",
        [](dr_meta_context_s* ctx, const void*) {
            if (ending != nullptr) {
                end(ending);
            }
            return drend_set_string_value(ctx, "n");
        },
        nullptr);
    for (const char* path : {"/t", "/t/row", "/t/row/below", "/t/row/below/box"}) {
        drend_add_enter(
            path, [](dr_meta_context_s*, const void*) { return ++inside; }, nullptr);
        drend_add_exit(
            path, [](dr_meta_context_s*, const void*) { return --inside; }, nullptr);
    }
    define(
        R"([{"dc_name": "deep", "dc_tag": {"dts_name": "t", "dts_source": "/t", "dts_kids": [
        {"dts_name": "row", "dts_type": "list", "dts_source": "row", "dts_kids": [
            {"dts_name": "below", "dts_type": "list", "dts_source": "below", "dts_kids": [
                {"dts_name": "n", "dts_type": "leaf", "dts_source": "box/name"},
                {"dts_name": "m", "dts_type": "leaf", "dts_source": "number"}]}]}]}}])");
    start(nullptr, 1);
    suspend_rows = true;
    const struct {
        void (*end)(void* walk);
        bool closes; // the peer; else the library frees it
    } ends[] = {{dri_cleanup_cookie, true}, {drend_drop_walk, false}};
    for (const auto& row : ends) {
        const auto after_end = [&] {
            if (row.closes) {
                EXPECT_NE(mgmt_sock_get_drend_cookie(peer_), nullptr); // not touched
                mgmt_sock_set_drend_cookie(peer_, nullptr);
            }
            EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), nullptr);
            EXPECT_EQ(dri_inuse_count(), 0u);
            EXPECT_EQ(inside, 0);
        };
        for (const char* command : {"deep", "dump"}) {
            ending = nullptr;
            request(command);
            ASSERT_EQ(waiting.size(), 1u);
            row.end(waiting[0]); // between two slices
            after_end();
            take_text();
            run_idle();
            EXPECT_EQ(take_text(), "") << command;

            request(command);
            ASSERT_EQ(waiting.size(), 1u);
            ending = waiting[0];
            end = row.end;
            take_text();
            const int flushes = output.flushes;
            run_idle(); // in the middle of one
            after_end();
            EXPECT_EQ(take_text().find("210"), std::string::npos);
            EXPECT_EQ(output.flushes, flushes) << command;

            ending = nullptr;
            request(command);
            ASSERT_EQ(waiting.size(), 1u);
            run_idle();
            take_text();
            EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), nullptr);
        }
    }
    request("deep");
    close_peer(); // the socket calls the close function with the cookie
    run_idle();
}

TEST_F(service_test, a_peer_that_is_lost_at_any_send_is_told_nothing_more) {
    define(R"([{"dc_name": "corvane-netconf-get", "dc_tag": {"dts_name": "t",
        "dts_source": "/t", "dts_kids": [{"dts_name": "row", "dts_type": "list",
        "dts_source": "row", "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]}]}}])");
    start(nullptr, 1);
    const struct {
        const char* word;
        const char* argument;
    } requests[] = {{"rows", nullptr},
                    {"rows", "as-json"},
                    {"rows", "filter=/none"}, // answered with the bare code
                    {"corvane-netconf-get", nullptr},
                    {"corvane-netconf-get", "as-json"}};
    for (const unsigned buffer : {0U, 100000U}) {
        drend_set_send_buffer(buffer);
        for (const auto& row : requests) {
            output = {};
            EXPECT_EQ(request(row.word, row.argument), 0);
            const int sends = output.sends;
            for (int lost_at = 0; lost_at < sends; ++lost_at) {
                output = {};
                output.fail_at = lost_at;
                EXPECT_EQ(request(row.word, row.argument), DREND_PEER_LOST) << lost_at;
                EXPECT_EQ(output.failed, 1) << row.word << lost_at;
            }
            output = {};
            drend_dump_rpc(peer_, row.word, row.argument);
            output.fail_at = output.sends - 1;
            if (output.fail_at < 0) {
                continue; // by its name a command may print nothing
            }
            output.sends = 0;
            testing::internal::CaptureStderr();
            EXPECT_EQ(drend_dump_rpc(peer_, row.word, row.argument), 0);
            EXPECT_EQ(testing::internal::GetCapturedStderr(),
                      "Write failure for rpc '" + std::string(row.word) + "'\n");
            EXPECT_EQ(output.failed, 1);
        }
    }
    drend_set_send_buffer(0);
    output = {};
}

TEST_F(service_test, every_request_may_be_suspended_lost_or_dropped_anywhere) {
    start(nullptr, 1);
    const struct {
        const char* word;
        const char* argument;
    } requests[] = {{"rows", nullptr},
                    {"rows", "as-json"},
                    {"dump", nullptr},
                    {"dump", "/t/row[name=b]/below/number"},
                    {"xwalker", "rows/t/row list"}};
    for (const auto& row : requests) {
        suspend_at = -1;
        rows_seen = 0;
        request(row.word, row.argument);
        const std::string whole = take_text();
        const int places = rows_seen;
        ASSERT_GT(places, 1);
        for (suspend_at = 0; suspend_at < places; ++suspend_at) {
            rows_seen = 0;
            request(row.word, row.argument);
            ASSERT_EQ(waiting.size(), 1u);
            dri_reload_json();
            run_idle();
            EXPECT_EQ(take_text(), whole) << row.word << suspend_at;
            EXPECT_EQ(dri_get_set_count(), 1);

            rows_seen = 0;
            request(row.word, row.argument);
            dri_reload_json();
            dri_cleanup_cookie(mgmt_sock_get_drend_cookie(peer_)); // as a closing peer does
            mgmt_sock_set_drend_cookie(peer_, nullptr);
            run_idle();
            EXPECT_EQ(dri_inuse_count(), 0u);
            EXPECT_EQ(dri_get_set_count(), 1);
            take_text();
        }
        if (strcmp(row.word, "rows") != 0) {
            continue; // does not tell of its sends
        }
        for (suspend_at = -1; suspend_at < 1; ++suspend_at) {
            output = {};
            rows_seen = 0;
            request(row.word, row.argument);
            run_idle();
            const int sends = output.sends;
            for (int lost_at = 0; lost_at < sends; ++lost_at) {
                output = {};
                rows_seen = 0;
                output.fail_at = lost_at;
                const int status = request(row.word, row.argument);
                EXPECT_EQ(status, waiting.empty() ? DREND_PEER_LOST : 0);
                run_idle();
                EXPECT_EQ(output.failed, 1);
                EXPECT_EQ(dri_inuse_count(), 0u);
                output = {};
                rows_seen = 0;
                request(row.word, row.argument);
                run_idle();
                EXPECT_EQ(take_text(), whole); // the next one is whole
            }
        }
    }
}

TEST_F(service_test, memory_that_runs_out_ends_the_request_and_nothing_else) {
    if (!allocations_can_fail()) {
        GTEST_SKIP() << "the allocation function is not this program's";
    }
    // An accessor that leaves something in the context, as a C daemon would.
    drend_add_str_leaf(
        "/t/row/left",
        [](dr_meta_context_s* ctx, const void*) {
            drend_set_cookie(ctx, "a name that is too long to be kept in place", ctx);
            drend_add_str_cached(ctx, "text", "%s", "a text that is long, too, as it goes");
            drend_set_attribute_name(ctx, "an attribute name that is long enough as well");
            return drend_set_str_value(ctx, "%d", 7);
        },
        nullptr);
    redefine(0, R"json([{"dc_name": "rows", "dc_tag": {"dts_name": "t", "dts_source": "/t",
        "dts_kids": [{"dts_name": "row", "dts_type": "list", "dts_source": "row",
        "dts_key": ["name"], "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
            {"dts_name": "left", "dts_type": "leaf", "dts_source": "left",
             "dts_map": [["*", "='a mapped text that is long enough: '+val('../name')"]]}]}],
        "dts_input_kids": [{"dts_name": "name"}]}}])json");
    start(nullptr, 1);
    const struct {
        const char* word;
        const char* argument;
    } requests[] = {{"rows", "filter=\"/t/row[contains(name, 'a')]/left\" as-json"},
                    {"rows", "name=b"},
                    {"dump", nullptr},
                    {"dump", "/t/row[name=b]"},
                    {"dump", "/t/row[name=c]"},
                    {"xwalker", "rows"},
                    {"xwalker", "rows/t/row[name='b']/left"},
                    {"xwalker", "rows/t/row[name='c']"},
                    {"xwalker", "rows/t/row list"},
                    {"dump-schema", nullptr},
                    {"dump-render-tree", "rows"},
                    {"reload", nullptr}};
    output.text.reserve(1 << 20); // the recording is not what is tested
    failing_allocation = 5;
    EXPECT_EQ(drend_dump_rpc(peer_, "rows", "as-json"), DREND_ERR);
    EXPECT_EQ(failing_allocation, 0);
    EXPECT_THAT(take_text(), testing::EndsWith("error: out of memory\n"));
    output.text.reserve(1 << 20);
    const auto answer = [this](const auto& row) {
        output.text.clear();
        request(row.word, row.argument);
        return output.text;
    };
    const std::string rows = answer(requests[0]);
    for (const auto& row : requests) {
        dri_reset_xpath_cache();
        const std::string whole = answer(row);
        ASSERT_GT(whole.size(), 10u);
        long failures = 0;
        for (bool has_failed = true; has_failed && !HasFailure(); failures += has_failed) {
            suspend_at = static_cast<int>(failures % 3) - 1;
            rows_seen = 0;
            output.text.clear();
            waiting.reserve(8);
            dri_reset_xpath_cache();
            testing::internal::CaptureStderr();
            failing_allocation = failures + 1;
            request(row.word, row.argument);
            drend_get_daemon_responsible("/t/row");
            for (size_t i = 0; i < waiting.size(); ++i) {
                drend_defer_continue(waiting[i]);
            }
            waiting.clear();
            has_failed = failing_allocation <= 0;
            failing_allocation = 0;
            testing::internal::GetCapturedStderr();
            if (output.text != whole) {
                EXPECT_THAT(output.text, testing::ContainsRegex("(^|[^a-z])error"))
                    << row.word << failures;
            }
            EXPECT_EQ(dri_inuse_count(), 0u);
            EXPECT_EQ(mgmt_sock_get_drend_cookie(peer_), nullptr);
            suspend_at = -1;
            EXPECT_EQ(answer(requests[0]), rows) << "after " << row.word << failures;
            EXPECT_EQ(answer(row), whole) << row.word << failures; // the next one is whole
        }
        EXPECT_GT(failures, 2) << row.word;
        output.text.clear();
    }
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
    redefine(0, R"([{"dc_name": "new", "dc_tag": {"dts_name": "n"}}])");
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
    symlink("/proc/self/mem", (directory + "/1.json").c_str());
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
    for (int i = 0; i < 100000; ++i) {
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
    EXPECT_GT(found, 0);
    EXPECT_LT(found, 100000);
    EXPECT_EQ(answered, calls);
}

TEST_F(service_test, handlers_that_are_set_again_and_again_take_no_memory) {
    if (!allocations_can_fail()) {
        GTEST_SKIP() << "the allocation function is not this program's";
    }
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

    static std::string traced;
    traced.clear();
    drend_set_debugtrace_cb([](const char* format, va_list arguments) {
        return static_cast<int>(str_vappend(traced, format, arguments));
    });
    drend_set_trace_flag(DREND_TRACE_ERROR | DREND_TRACE_WALKER);
    text_t(drend_get_daemon_responsible("/n"));
    text_t(drend_get_only_daemon_responsible("/z"));
    const std::string only = "drend_get_only_daemon_responsible: ";
    const std::string any = "DR_WALKER: drend_get_daemon_responsible: Daemon";
    EXPECT_EQ(traced, any + "0 for path /n is a" + any + "1 for path /n is b" +
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
    traced.clear();
    EXPECT_EQ(drend_get_command_set_from_path("/n", commands), -1);
    EXPECT_EQ(drend_get_message_id_from_path("/n"), -1);
    EXPECT_EQ(drend_get_daemons_from_path("/n", daemons), -1);
    drend_set_trace_flag(0);
    drend_set_debugtrace_cb(nullptr);
    const std::string missing = "DR_ERROR: Couldn't find corvane-netconf-get:drend_get_";
    EXPECT_EQ(traced, missing + "command_set_from_path\n" + missing +
                          "message_id_from_path\n" + missing + "daemons_from_path\n");
    EXPECT_EQ(dri_get_external_events("i"), nullptr);
}
