// SPDX-License-Identifier: BSD-2-Clause

// Definitions against the data, and the fixed commands that show what is wrong with them.
#include <cstdarg>

#include <gmock/gmock.h>

#include "definitions/dr_check.h"
#include "frame/drend_trace.h"
#include "frame/str_util.h"
#include "render_fixture.h"
#include "service/drend_fixed_commands.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

std::vector<row_s> rows(1000);
std::vector<std::string> traced;

class diagnostics_test : public render_test {
  protected:
    diagnostics_test() {
        EXPECT_EQ(drend_add_service_commands(), 0);
        drend_add_list("/rows/row", step_rows, &rows);
        drend_add_str_leaf("/rows/row/name", read_name, nullptr);
        drend_add_uint32_leaf("/rows/row/size", read_number, nullptr);
        drend_add_boolean_leaf("/rows/row/on", read_name, nullptr);
        traced.clear();
        drend_set_debugtrace_cb([](const char* format, va_list args) {
            std::string line;
            str_vappend(line, format, args);
            traced.push_back(line);
            return 0;
        });
    }
    ~diagnostics_test() override {
        drend_set_trace_flag(0);
        drend_set_debugtrace_cb(nullptr);
    }

    // The answer of a fixed command.
    static std::string ask(const char* command, const char* argument = nullptr) {
        output.text.clear();
        dr_str_buf_c text(argument == nullptr ? "" : argument);
        dri_menu_call_fixed_command_function(nullptr, command, text.buf());
        return output.text;
    }

    // The findings for what is loaded, from the word of severity on.
    static std::vector<std::string> found() {
        dr_findings_c findings;
        dri_check_loaded(findings);
        std::vector<std::string> lines;
        for (const dr_finding_s& finding : findings.all()) {
            const std::string line = dri_finding_line(finding);
            lines.push_back(line.substr(line.find(".json:") + 6));
        }
        return lines;
    }
};

TEST_F(diagnostics_test, each_mistake_that_the_data_shows_is_found) {
    struct case_s {
        const char* tag;
        std::vector<std::string> findings;
    };
    const case_s cases[] = {
        {R"("dts_source": "/rows/row", "dts_type": "list")", {}},
        {R"("dts_source": "/rows/./row/..", "dts_kids": [{"dts_name": "a", "dts_source": "."}])",
         {}},
        {R"("dts_source": "/rwos")",
         {"2:34: error: command 'c', tag t: the data has no 'rwos' here; did you mean "
          "'rows'? "
          "[no-such-source]"}},
        {R"("dts_source": "rows")",
         {"2:34: error: command 'c', tag t: dts_source 'rows' needs a '/' in front: no tag "
          "above has a source [no-such-source]"}},
        {R"("dts_source": "/rows/../..")",
         {"2:34: error: command 'c', tag t: dts_source '/rows/../..' leads out of the data "
          "[no-such-source]"}},
        {R"("dts_source": "/rows/row[nam=x]")",
         {"2:34: error: command 'c', tag t: list 'row' has no leaf 'nam' to select by; did "
          "you "
          "mean 'name'? [no-such-source]"}},
        {R"("dts_source": "/rows", "dts_type": "list")",
         {"2:34: error: command 'c', tag t: dts_source leads to a container, not to a list "
          "[source-is-no-list]"}},
        {R"("dts_source": "/rows/row", "dts_type": "leaf")",
         {"2:34: error: command 'c', tag t: dts_source leads to a list, not to a leaf "
          "[source-is-no-leaf]"}},
        {R"("dts_source": "/rows", "dts_presence": "true")",
         {"2:34: error: command 'c', tag t: dts_presence needs a source that is a leaf; "
          "this "
          "is a container [presence-without-leaf]"}},
        {R"("dts_source": "/rows/row", "dts_type": "list", "dts_key": ["k"], "dts_kids": [
            {"dts_name": "k", "dts_type": "leaf", "dts_source": "kee"}])",
         {"3:65: error: command 'c', tag t/k: the data has no 'kee' here "
          "[key-without-leaf]"}},
        {R"("dts_source": "/rows/row/size", "dts_type": "leaf", "dts_map": [["up", "1"],
            ["-1", "x"], ["4294967296", "y"]])",
         {"2:34: warning: command 'c', tag t: no pair of dts_map can be a value of 'size' "
          "[map-never-matches]"}},
        {R"("dts_source": "/rows/row/size", "dts_type": "leaf", "dts_map": [["up", "1"],
            ["7", "x"]])",
         {}},
        {R"("dts_source": "/rows/row/on", "dts_type": "leaf", "dts_map": [["true", "1"]])",
         {}},
        // What stands below is not reported for what stands above, unless it begins anew.
        {R"("dts_source": "/none", "dts_kids": [{"dts_name": "a", "dts_source": "b", "dts_kids": [
            {"dts_name": "c", "dts_source": "/rows/row/x"}]}])",
         {"2:34: error: command 'c', tag t: the data has no 'none' here [no-such-source]",
          "3:45: error: command 'c', tag t/a/c: the data has no 'x' here "
          "[no-such-source]"}},
    };
    define("[]");
    for (const case_s& c : cases) {
        redefine(0, "[{\"dc_name\": \"c\", \"dc_tag\":\n {\"dts_name\": \"t\",\t" +
                        std::string(c.tag) + "}}]");
        dri_reload_json();
        EXPECT_EQ(found(), c.findings) << c.tag;
    }
}

TEST_F(diagnostics_test, a_map_is_judged_by_its_leafs_type) {
    const struct {
        int (*add)(const char* path, drend_proc_t proc, const void* data);
        const char* least;
        const char* most;
        const char* too_much;
    } types[] = {
        {drend_add_int8_leaf, "-128", "127", "128"},
        {drend_add_int16_leaf, "-32768", "32767", "-32769"},
        {drend_add_int32_leaf, "-2147483648", "2147483647", "2147483648"},
        {drend_add_int64_leaf, "-9223372036854775808", "9223372036854775807",
         "9223372036854775808"},
        {drend_add_uint8_leaf, "0", "255", "256"},
        {drend_add_uint16_leaf, "0", "65535", "-1"},
        {drend_add_uint32_leaf, "0", "4294967295", "4294967296"},
        {drend_add_uint64_leaf, "0", "18446744073709551615", "18446744073709551616"},
    };
    define("[]");
    for (const auto& type : types) {
        const std::string name = "n" + std::string(type.most);
        type.add(("/" + name).c_str(), read_number, nullptr);
        for (const char* from : {type.least, type.most, type.too_much, "7x"}) {
            redefine(0, R"([{"dc_name": "c", "dc_tag": {"dts_name": "t", "dts_type": "leaf",
                "dts_source": "/)" +
                            name + R"(", "dts_map": [[")" + from + R"(", "x"]]}}])");
            dri_reload_json();
            EXPECT_EQ(found().size(), from == type.least || from == type.most ? 0U : 1U)
                << name << " " << from;
        }
    }
}

TEST_F(diagnostics_test, parts_of_a_merged_schema_belong_to_applications) {
    define(
        R"([{"dc_name": "corvane-netconf-get", "dc_tag": {"dts_name": "a", "dts_source": "/"}},
 {"dc_name": "corvane-netconf-get", "dc_app_name": "x", "dc_tag": {"dts_name": "a"}},
 {"dc_name": "corvane-netconf-get", "dc_app_name": "y", "dc_tag": {"dts_name": "a"}},
 {"dc_name": "corvane-netconf-get", "dc_app_name": "x", "dc_tag": {"dts_name": "a"}}])");
    const std::vector<std::string> findings = found();
    EXPECT_THAT(findings,
                ElementsAre("1:47: warning: command 'corvane-netconf-get', tag a: a get "
                            "request needs dc_app_name to find its daemon "
                            "[no-application]"));
}

TEST_F(diagnostics_test, check_answers_for_what_is_loaded_and_for_files) {
    define(R"([{"dc_name": "c", "dc_tag": {"dts_name": "t", "dts_source": "/non"}}])");
    const std::string loaded = ask("check");
    EXPECT_THAT(loaded,
                HasSubstr(".json:1:61: error: command 'c', tag t: the data has no "));
    EXPECT_TRUE(loaded.ends_with("\n1 errors, 0 warnings\n")) << loaded;
    static std::string media;
    drend_set_answer_methods([](void*, const char* type) { media = type; },
                             [](void*, const drend_answer_end_s*) { return 0; });
    EXPECT_THAT(ask("check", "as-json"), HasSubstr("\"id\": \"no-such-source\""));
    EXPECT_EQ(media, "application/json");
    drend_set_answer_methods(nullptr, nullptr);
    EXPECT_EQ(
        ask("check", "path='/no/such file'"),
        "/no/such file: error: there is no such file [no-file]\n1 errors, 0 warnings\n");
    redefine(0, "[7]");
    EXPECT_EQ(ask("check"), loaded); // what is loaded is in force
    const std::string path = "path=" + loaded.substr(0, loaded.find(".json:") + 5);
    EXPECT_THAT(ask("check", path.c_str()), HasSubstr("[not-an-entry]"));
}

TEST_F(diagnostics_test, trace_is_set_and_shown_and_ends) {
    EXPECT_EQ(ask("trace"), "trace: off\n");
    EXPECT_EQ(ask("trace", "walk error lines=3"), "trace: walk error, 3 lines left\n");
    for (int i = 0; i < 5; ++i) {
        if (dri_trace_lines_left() > 0) {
            drend_debug_trace("%d\n", i);
        }
    }
    EXPECT_THAT(traced, ElementsAre("0\n", "1\n", "2\n"));
    EXPECT_EQ(ask("trace"), "trace: off\n");
    EXPECT_EQ(ask("trace", "all"), "trace: walk load error walker\n");
    EXPECT_EQ(ask("trace", "lines=x"),
              "error: trace: 'lines'; there are walk, load, error, walker, all, off and "
              "lines=NUMBER\n");
    EXPECT_THAT(ask("trace", "wakl"), HasSubstr("error: trace: 'wakl'; there are "));
    EXPECT_THAT(ask("trace", "\033[2J"),
                StartsWith("error: trace: '\\x1b[2J'; there are "));
    EXPECT_EQ(ask("trace"), "trace: walk load error walker\n");
    EXPECT_EQ(ask("trace", "off"), "trace: off\n");
}

TEST_F(diagnostics_test, filters_are_traced_where_they_are_asked) {
    define_tree("c", "t=/rows(r*=row(name))");
    drend_set_trace_flag(DREND_TRACE_WALK);
    render("c", "filter=/t/r[name='x']");
    for (const char* line :
         {"DR_TAGS_ACCESS: push_tag:filter: tag: r filter: r [ name = 'x' ]\n",
          "DR_TAGS_ACCESS: filter_match: tag: t filter: t\n",
          "DR_TAGS_ACCESS: filter_match: tag: r filter: r [ name = 'x' ]\n",
          "DR_TAGS_ACCESS: t[/rows]/r[row]\n", "DR_TAGS_ACCESS: /rows/row [(nil)]\n"}) {
        EXPECT_THAT(traced, testing::Contains(line));
    }
}

TEST_F(diagnostics_test, statistics_tell_what_answers_hold) {
    drend_add_walk_handlers(
        nullptr, [](dr_meta_context_s*, void*) { return 1; }, nullptr);
    define_tree("c", "t=/rows(r*=row(size))");
    EXPECT_THAT(ask("statistics"), StartsWith("answers: 0\nuses: 0\nsets: 1\ntags: 3\n"));
    std::vector<void*> walks;
    while (walks.size() < 2) {
        ASSERT_EQ(drend_dump_rpc(nullptr, "c", nullptr), DREND_DEFER);
        walks.push_back(drend_take_suspended_rpc());
    }
    EXPECT_THAT(ask("statistics"), StartsWith("answers: 2\nuses: 2\nsets: 1\ntags: 3\n"));
    dri_reload_json();
    EXPECT_THAT(ask("statistics"), StartsWith("answers: 2\nuses: 2\nsets: 2\ntags: 6\n"));
    drend_drop_walk(walks[0]);
    EXPECT_THAT(ask("statistics"), StartsWith("answers: 1\nuses: 1\nsets: 2\ntags: 6\n"));
    while (drend_defer_continue(walks[1]) == 1) {
    }
    EXPECT_THAT(ask("statistics"), StartsWith("answers: 0\nuses: 0\nsets: 1\ntags: 3\n"));
}

TEST_F(diagnostics_test, a_lost_source_is_traced_once_for_each_tag_and_request) {
    for (row_s& row : rows) {
        row.name = "a";
    }
    define(
        R"([{"dc_name": "c", "dc_tag": {"dts_name": "t", "dts_source": "/rows", "dts_kids": [
        {"dts_name": "r", "dts_type": "list", "dts_source": "row", "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
            {"dts_name": "lost", "dts_type": "leaf", "dts_source": "lsot"}]}]}}])");
    drend_set_trace_flag(DREND_TRACE_ERROR);
    for (int request = 1; request <= 2; ++request) {
        traced.clear();
        render("c");
        ASSERT_EQ(traced.size(), 2U);
        EXPECT_EQ(traced[0], "DR_ERROR: Couldn't push tag->dt_source:'lsot':ret=-1\n");
        EXPECT_THAT(traced[1], HasSubstr("DR_ERROR: command 'c', tag 'lost': "));
        EXPECT_THAT(traced[1], HasSubstr(".json:4:68\n"));
    }
}

} // namespace
