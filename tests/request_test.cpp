// SPDX-License-Identifier: BSD-2-Clause

// A request by its menu entry: how its answer ends, is suspended, dropped and lost.

#include <gmock/gmock.h>

#include "definitions/drend_lookup.h"
#include "failing_memory.h"
#include "frame/str_util.h"
#include "orvex_platform/mgmt_sock.h"
#include "render/dr_deferral.h"
#include "repeated.h"
#include "service/drend_fixed_commands.h"
#include "service_fixture.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using request_test = service_test;

struct asked_s {
    const char* word;
    const char* argument;
};

} // namespace

TEST_F(request_test, requests_are_answered_whatever_they_print) {
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

TEST_F(request_test, a_protocol_is_told_how_answers_end) {
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

TEST_F(request_test, a_command_says_what_it_takes) {
    redefine_tree("rows", R"(t=/t{input_kids: [
            {`dts_name`: `name`, `dts_type`: `leaf`, `dts_help`: `Its\tname`},
            {`dts_name`: `state`, `dts_type`: `leaf`},
            {`dts_name`: `brief`, `dts_type`: `empty`, `dts_help`: `Less`},
            {`dts_name`: `limit`, `dts_type`: `leaf`, `dts_data_type`: `uint8`}]}(
        row*(name, state{data_type: `uint32`, map: [[`1`, `up`], [`2`, `going down`],
                                                    [`3`, `=1+1`], [`*`, `*`]]})))");
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
TEST_F(request_test, a_filter_that_is_too_large_is_refused) {
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

TEST_F(request_test, a_suspended_request_belongs_to_its_peer) {
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

TEST_F(request_test, a_dropped_walk_leaves_its_peer_free) {
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

TEST_F(request_test, a_walk_may_end_before_during_and_after_a_slice) {
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
    define_tree("deep", "t=/t(row*(below*(n=box/name, m=number)))");
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

TEST_F(request_test, a_peer_that_is_lost_at_any_send_is_told_nothing_more) {
    define_tree("corvane-netconf-get", "t=/t(row*(name))");
    start(nullptr, 1);
    const asked_s requests[] = {{"rows", nullptr},
                                {"rows", "as-json"},
                                {"corvane-netconf-get", nullptr},
                                {"corvane-netconf-get", "as-json"}};
    for (const unsigned buffer : {0U, 100000U}) {
        drend_set_send_buffer(buffer);
        for (const auto& row : requests) {
            output = {};
            drend_dump_rpc(peer_, row.word, row.argument);
            const int sends = output.sends;
            for (output.fail_at = 0; output.fail_at < sends; ++output.fail_at) {
                output.sends = output.failed = 0;
                testing::internal::CaptureStderr();
                EXPECT_EQ(drend_dump_rpc(peer_, row.word, row.argument), 0);
                EXPECT_EQ(testing::internal::GetCapturedStderr(),
                          "Write failure for rpc '" + std::string(row.word) + "'\n");
                EXPECT_EQ(output.failed, 1);
            }
        }
    }
    drend_set_send_buffer(0);
    output = {};
}

TEST_F(request_test, every_request_may_be_suspended_lost_or_dropped_anywhere) {
    start(nullptr, 1);
    const asked_s requests[] = {{"rows", nullptr},
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

TEST_F(request_test, memory_that_runs_out_ends_the_request_and_nothing_else) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
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
    redefine_tree("rows", R"json(t=/t{input_kids: [{`dts_name`: `name`}]}(
        row*{key: [`name`]}(name, left{
            map: [[`*`, `='a mapped text that is long enough: '+val('../name')`]]})))json");
    start(nullptr, 1);
    const asked_s requests[] = {
        {"rows", "filter=\"/t/row[contains(name, 'a')]/left\" as-json"},
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
