// SPDX-License-Identifier: BSD-2-Clause

// JSON data in the place of accessors.
#include <filesystem>
#include <fstream>
#include <memory>
#include <utility>

#include <gmock/gmock.h>

#include "failing_memory.h"
#include "model/dr_walk_data.h"
#include "render_fixture.h"
#include "repeated.h"

namespace {

constexpr char SET[] = "test";

std::string load(const std::string& text, const char* set = SET) {
    char error[256] = "";
    const int status = dr_ops_load_from_json(set, text.c_str(), error, sizeof error);
    EXPECT_EQ(status, error[0] == '\0' ? DREND_OK : DREND_ERR);
    return error;
}

// Suspends after each row, and counts the rows.
int rows_given = 0;
int suspend_always(dr_meta_context_s*, void*) {
    ++rows_given;
    return 1;
}

constexpr char DEFINITION[] = R"(top=/system(
    host,
    if*=/interfaces/interface(name, mtu, octets=in/octets, unit*=units/unit(id))))";

constexpr char DATA[] = R"({
  "system": {"host": "r1"},
  "interfaces": {"interface": [
    {"name": "lo", "mtu": 65536, "units": {"unit": [{"id": 0}, {"id": 1}]}},
    {"name": "eth0", "in": {"octets": 7}, "units": {"unit": [{"id": 2}]}}]}})";

constexpr char ANSWER[] = R"(<top>
  <host>r1</host>
  <if>
    <name>lo</name>
    <mtu>65536</mtu>
    <unit>
      <id>0</id>
    </unit>
    <unit>
      <id>1</id>
    </unit>
  </if>
  <if>
    <name>eth0</name>
    <octets>7</octets>
    <unit>
      <id>2</id>
    </unit>
  </if>
</top>
)";

class data_set_test : public render_test {
  protected:
    ~data_set_test() override {
        dr_ops_drop(SET);
        dr_ops_drop("other");
    }

    // What the dumps say, without the blanks that align them.
    static std::string paths() {
        output.text.clear();
        drend_dump_schema(nullptr);
        return output.text;
    }
    static std::string values() {
        output.text.clear();
        EXPECT_EQ(drend_dump(nullptr), nullptr);
        std::string text;
        for (const char c : output.text) {
            if (c != ' ' || !text.ends_with(' ')) {
                text += c;
            }
        }
        return text;
    }
};

TEST_F(data_set_test, members_are_containers_lists_and_leaves) {
    EXPECT_EQ(load(R"({"a": {"text": "x<y", "int": -9223372036854775808, "real": 0.5,
        "yes": true, "no": false, "none": null, "empty": {}}, "tags": ["one", 2, null],
        "row": [{"k": "p"}, {"more": 1}, null, {}], "nobody": []})"),
              "");
    EXPECT_EQ(paths(), "/  container \n/a  container \n/a/text  leaf \n/a/int  leaf \n"
                       "/a/real  leaf \n/a/yes  leaf \n/a/no  leaf \n/a/empty  container \n"
                       "/tags  list \n/tags/value  leaf \n/row  list \n/row/k  leaf \n"
                       "/row/more  leaf \n/nobody  list \n\n\n");
    EXPECT_EQ(values(), "/a/text : [x<y]\n/a/int : [-9223372036854775808]\n"
                        "/a/real : [5.000000e-01]\n/a/yes : [true]\n/a/no : [false]\n"
                        "/tags/value : [one]\n/tags/value : [2]\n/row/k : [p]\n"
                        "/row/more : [1]\n\n\n");
}

TEST_F(data_set_test, a_command_shows_it) {
    define_tree("c", DEFINITION);
    EXPECT_EQ(load(DATA), "");
    EXPECT_EQ(render("c"), ANSWER);
    EXPECT_EQ(dr_ops_drop(SET), DREND_OK);
    EXPECT_EQ(render("c"), "");
    EXPECT_EQ(dr_ops_drop(SET), DREND_NO_EL);
    EXPECT_EQ(dr_ops_drop("never loaded"), DREND_NO_EL);
}

TEST_F(data_set_test, what_is_wrong_is_said_with_its_place) {
    const std::string deep = repeated(64, "{\"a\":") + "1" + repeated(64, "}");
    const struct {
        std::string text;
        std::string line;
    } cases[] = {
        {"", "test:1:1: '[' or '{' expected near end of file"},
        {"[]", "test:1:1: no object"},
        {"{" + std::string(64 << 20, ' ') + "}", "test:1:1: larger than 64 MiB"},
        {"{\"a\": 1,\n \"a\": 2}", "test:1:1: a name stands twice in this object"},
        {"{\"a\": 1, \"a\": 2, \"b/c\": 3}",
         "test:1:1: a name stands twice in this object"},
        {"{\"a\": 9223372036854775808}",
         "test:1:25: too big integer near '9223372036854775808'"},
        {"{\"a\": [{\"b\": true},\n       {\"b\": []}]}",
         "test:2:14: 'b' is of another kind than before"},
        {"{\"ä\": \"\\\"}\", \"b\": [true, null,\n {}]}",
         "test:2:2: objects and scalars in one array"},
        {"{\"b\": [{\"c\": 1}, true]}", "test:1:18: objects and scalars in one array"},
        {"{\"a\": true, \"b\": [[true]]}", "test:1:19: an array in an array"},
        {"{\"a\": 1, \"b/c\": 2}", "test:1:10: the name 'b/c' cannot stand in a path"},
        {"{\"\": 2}", "test:1:2: the name '' cannot stand in a path"},
        {"{\"a\\n[\": 2}", "test:1:2: the name 'a?[' cannot stand in a path"},
        {"{\"a\":" + deep + "}", "test:1:321: nested deeper than 64 levels"},
        {"{\"daemon\": {\"leaf\": 1}}", "test:1:21: 'leaf' is registered by the daemon"},
        {"{\"daemon\": 1}", "test:1:12: 'daemon' is registered as a container, and a leaf "
                            "here"},
        {"{\"mine\": {\"row\": 1}}",
         "test:1:18: 'row' is registered as a list, and a leaf here"},
        {"{\"theirs\": 5}", "test:1:12: 'theirs' belongs to another data set"},
    };
    drend_add_int32_leaf("/daemon/leaf", read_number, nullptr);
    EXPECT_EQ(load("{\"theirs\": 6}", "other"), "");
    EXPECT_EQ(load("{\"mine\": {\"row\": [{}], \"leaf\": 1}}"), "");
    const std::string before = paths();
    for (const auto& [text, line] : cases) {
        EXPECT_EQ(load(text), line) << text.substr(0, 400);
    }
    EXPECT_EQ(paths(), before);
    EXPECT_EQ(load(deep), "");
}

TEST_F(data_set_test, paths_are_bounded) {
    std::string text = "{\"last\": 1";
    for (int n = 0; n < 65536; ++n) {
        text += ",\"" + std::to_string(n) + "\":1";
    }
    EXPECT_THAT(load(text + "}"),
                testing::EndsWith("would be one path more than data sets may have"));
    EXPECT_EQ(paths(), "/  container \n\n\n");
}

// Also those of containers, and of loads before.
TEST_F(data_set_test, paths_are_bounded_for_good) {
    const auto load_containers = [](const char* names) {
        std::string text = "{\"_\": {}";
        for (int n = 0; n < 40000; ++n) {
            text += ",\"" + (names + std::to_string(n)) + "\": {}";
        }
        return load(text + "}");
    };
    const auto in_a_process_of_its_own = [&] {
        const bool is_first_taken = load_containers("a").empty();
        const bool is_second_taken = load_containers("b").empty();
        exit(is_first_taken && !is_second_taken ? 0 : 1);
    };
    EXPECT_EXIT(in_a_process_of_its_own(), testing::ExitedWithCode(0), "");
}

TEST_F(data_set_test, memory_goes_by_the_text) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    // Rows of one member each, the last of many that the first row has.
    std::string text = "{\"wide\": [{\"0\": 1";
    for (int n = 1; n < 500; ++n) {
        text += ",\"" + std::to_string(n) + "\":" + std::to_string(n);
    }
    text += "}" + repeated(500, ",{\"499\": 1}") + "]}";
    const size_t before = asked_bytes;
    EXPECT_EQ(load(text), "");
    EXPECT_LT(asked_bytes - before, 200 * text.size());
    EXPECT_TRUE(values().ends_with("/wide/499 : [499]\n" +
                                   repeated(500, "/wide/499 : [1]\n") + "\n\n"));
}

TEST_F(data_set_test, files_are_named_in_their_faults) {
    char error[256];
    const std::string file = testing::TempDir() + "data_set_test.json";
    EXPECT_EQ(dr_ops_load_from_json_file(SET, file.c_str(), error, sizeof error),
              DREND_ERR);
    EXPECT_EQ(error, file + ": No such file or directory");
    EXPECT_EQ(dr_ops_load_from_json_file(SET, "/", error, sizeof error), DREND_ERR);
    EXPECT_STREQ(error, "/: is no regular file");
    std::ofstream(file) << "{\"a\": 5";
    testing::internal::CaptureStderr();
    EXPECT_EQ(dr_ops_load_from_json_file(SET, file.c_str(), nullptr, 0), DREND_ERR);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              file + ":1:7: '}' expected near end of file\n");
    std::ofstream(file) << "{\"a\": 5" << std::string(200000, ' ') << "}";
    EXPECT_EQ(dr_ops_load_from_json_file(SET, file.c_str(), error, sizeof error), 0);
    EXPECT_EQ(values(), "/a : [5]\n\n\n");
    std::filesystem::remove(file);
}

// Each of these comes between any two slices; the walk goes on with what it began with.
TEST_F(data_set_test, a_walk_shows_the_set_that_it_began_with) {
    define_tree("c", DEFINITION);
    const struct {
        const char* what;
        const char* text; // null: dropped
        const char* after;
    } cases[] = {
        {"dropped", nullptr, ""},
        {"less", R"({"system": {"host": "r2"}})", "<top>\n  <host>r2</host>\n</top>\n"},
        {"more", R"({"new": 1, "interfaces": {"new": [{"x": 1}], "interface": [
            {"first": 1, "mtu": "9k", "units": {"x": 1, "unit": [{"a": 1}]}}]}})",
         "<top>\n  <if>\n    <mtu>9k</mtu>\n  </if>\n</top>\n"},
    };
    drend_add_walk_handlers(nullptr, suspend_always, nullptr);
    for (const auto& [what, text, after] : cases) {
        ASSERT_EQ(load(DATA), "") << what;
        const std::weak_ptr<const void> old = dr_walk_data_c::in_force();
        const std::string answer = render("c", nullptr, [&, text = text] {
            EXPECT_FALSE(old.expired());
            text == nullptr ? static_cast<void>(dr_ops_drop(SET))
                            : static_cast<void>(load(text));
        });
        EXPECT_EQ(answer, ANSWER) << what;
        EXPECT_EQ(slices, 4) << what;
        EXPECT_TRUE(old.expired()) << what; // freed by its last walk
        EXPECT_EQ(render("c"), after) << what;
    }
}

TEST_F(data_set_test, two_walks_hold_each_their_own) {
    define_tree("c", DEFINITION);
    drend_add_walk_handlers(nullptr, suspend_always, nullptr);
    ASSERT_EQ(load(DATA), "");
    EXPECT_EQ(render("c", nullptr,
                     [&, is_first = true]() mutable {
                         if (!std::exchange(is_first, false)) {
                             return;
                         }
                         load(R"({"system": {"host": "r2"}})");
                         const std::string begun = std::exchange(output.text, "");
                         drend_dump_rpc(nullptr, "c", nullptr);
                         EXPECT_EQ(output.text, "<top>\n  <host>r2</host>\n</top>\n");
                         output.text = begun;
                     }),
              ANSWER);
}

TEST_F(data_set_test, an_access_context_holds_its_rows) {
    define_tree("c", DEFINITION);
    ASSERT_EQ(load(DATA), "");
    drx_context_s* context = nullptr;
    ASSERT_EQ(drx_create_context("c", &context), DREND_OK);
    ASSERT_EQ(drx_push_path(context, "/top/if[name='eth0']"), DREND_OK) << drx_get_error();
    EXPECT_EQ(dr_ops_drop(SET), DREND_OK);
    drx_value_s value;
    EXPECT_EQ(drx_get_leaf_value(context, "octets", &value), DREND_OK) << drx_get_error();
    EXPECT_EQ(value.as.int_value, 7);
    EXPECT_EQ(render("c"), "");
    EXPECT_EQ(drx_push_path(context, "/top/if[name='eth0']"), DREND_OK) << drx_get_error();
    EXPECT_EQ(drx_push_path(context, "/top"), DREND_OK) << drx_get_error();
    EXPECT_EQ(drx_get_leaf_value(context, "host", &value), DREND_OK) << drx_get_error();
    EXPECT_STREQ(value.text, "r1");
    drx_destroy_context(context);
}

TEST_F(data_set_test, lists_seek_by_texts) {
    define_tree("c", DEFINITION);
    ASSERT_EQ(load(R"({"system": {}, "interfaces": {"interface": [
        {"name": "a", "mtu": 1}, {"name": "b", "mtu": 2}, {"mtu": 3}, {"name": "b", "mtu": 4},
        {"name": 5, "mtu": 5}]}})"),
              "");
    drend_add_walk_handlers(nullptr, suspend_always, nullptr);
    const struct {
        const char* argument;
        const char* answer;
        int rows; // that the list procedure gave
    } cases[] = {
        {"filter=\"/top/if[name='b']/mtu\"",
         "<top>\n  <if>\n    <mtu>2</mtu>\n  </if>\n  <if>\n    <mtu>4</mtu>\n  </if>\n"
         "</top>\n",
         4}, // those without a text, too: the filter judges them
        {"filter=\"/top/if[name='5']/mtu\"",
         "<top>\n  <if>\n    <mtu>5</mtu>\n  </if>\n</top>\n", 2},
        {"filter=\"/top/if[mtu='3']/mtu\"",
         "<top>\n  <if>\n    <mtu>3</mtu>\n  </if>\n</top>\n", 5},
    };
    for (const auto& [argument, answer, rows] : cases) {
        rows_given = 0;
        EXPECT_EQ(render("c", argument), answer) << argument;
        EXPECT_EQ(rows_given, rows) << argument;
    }
}

// A daemon's row is not taken for a set's, and the other way round no set's for another list's.
TEST_F(data_set_test, a_leaf_without_its_row_is_left_out) {
    static const std::vector<row_s> rows{{"own"}};
    drend_add_list("/own", step_rows, &rows);
    drend_add_str_leaf("/own/name", read_name, nullptr);
    ASSERT_EQ(load(DATA), "");
    define_tree("c", "t=/(own*(name, mtu=/interfaces/interface/mtu, "
                     "id=../interfaces/interface/units/unit/id, host=/system/host))");
    EXPECT_EQ(render("c"),
              "<t>\n  <own>\n    <name>own</name>\n    <host>r1</host>\n  </own>\n"
              "</t>\n");
}

TEST_F(data_set_test, memory_that_runs_out_leaves_the_set_in_force) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    define_tree("c", DEFINITION);
    const std::string text = DATA;
    char error[64];
    long failures = 0;
    for (bool has_failed = true; has_failed && !HasFailure(); ++failures) {
        failing_allocation = failures + 1;
        const int status = dr_ops_load_from_json(SET, text.c_str(), error, sizeof error);
        has_failed = failing_allocation <= 0;
        failing_allocation = 0;
        ASSERT_EQ(status, has_failed ? DREND_ERR : DREND_OK) << failures;
        if (has_failed) {
            EXPECT_STREQ(error, "test: out of memory") << failures;
            EXPECT_EQ(render("c"), "") << failures;
        }
    }
    EXPECT_GT(failures, 20);
    EXPECT_EQ(render("c"), ANSWER);
}

} // namespace
