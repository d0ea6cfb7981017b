// SPDX-License-Identifier: BSD-2-Clause

// Whole documents: a definition, a model and a request in, XML out.

#include <cstring>

#include "render_fixture.h"

namespace {

const std::vector<row_s> INTERFACES = {
    {"lo", 0, {{"127.0.0.1", 8}, {"::1", 128}}}, {"eth0", 2, {}}, {"a<&>\x01\xff", 3, {}}};

int fail_leaf(dr_meta_context_s*, const void*) {
    return DREND_ERR;
}

int skip_leaf(dr_meta_context_s*, const void*) {
    return DREND_SKIP_LEAF;
}

class xml_test : public render_test {
  protected:
    static void model_interfaces() {
        drend_add_list("/ifs/if", step_rows, &INTERFACES);
        drend_add_str_leaf("/ifs/if/name", read_name, nullptr);
        drend_add_int32_leaf("/ifs/if/index", read_number, nullptr);
        drend_add_list("/ifs/if/addr", step_rows_below, nullptr);
        drend_add_str_leaf("/ifs/if/addr/ip", read_name, nullptr);
        drend_add_int32_leaf("/ifs/if/addr/len", read_number, nullptr);
    }
    // A command "c" with these kids below a container "top" at "/".
    void define_kids(const std::string& kids, const std::string& extra = "") {
        define(R"([{"dc_name": "c", "dc_tag": {"dts_name": "top", "dts_source": "/", )" +
               extra + R"("dts_kids": [)" + kids + "]}}]");
    }
};

constexpr char SHOW_IFS[] = R"([{"dc_name": "ifs", "dc_tag": {
    "dts_name": "interfaces", "dts_namespace": "xmlns='urn:x'", "dts_source": "/ifs",
    "dts_kids": [{"dts_name": "interface", "dts_type": "list", "dts_key": ["name"],
                  "dts_source": "if", "dts_kids": [
        {"dts_name": "index", "dts_type": "leaf", "dts_source": "index",
         "dts_zero_suppression": "true"},
        {"dts_name": "name", "dts_type": "leaf", "dts_source": "name", "dts_prefix": "p:"},
        {"dts_name": "state", "dts_type": "leaf", "dts_source": "index",
         "dts_map": [["2", "up"], ["0", "down"], ["*", "*"]]},
        {"dts_name": "address", "dts_type": "list", "dts_key": ["ip"], "dts_source": "addr",
         "dts_kids": [
            {"dts_name": "ip", "dts_type": "leaf", "dts_source": "ip"},
            {"dts_name": "len", "dts_type": "leaf", "dts_source": "len"}]}]}]}}])";

constexpr char LO[] = R"(  <interface>
    <name>p:lo</name>
    <state>down</state>
    <address>
      <ip>127.0.0.1</ip>
      <len>8</len>
    </address>
    <address>
      <ip>::1</ip>
      <len>128</len>
    </address>
  </interface>
)";

constexpr char ETH0[] = R"(  <interface>
    <name>p:eth0</name>
    <index>2</index>
    <state>up</state>
  </interface>
)";

std::string in_interfaces(const std::string& rows) {
    return rows.empty() ? "" : "<interfaces xmlns=\"urn:x\">\n" + rows + "</interfaces>\n";
}

} // namespace

TEST_F(xml_test, lists_print_keys_first_and_leave_empty_elements_out) {
    model_interfaces();
    define(SHOW_IFS);
    EXPECT_EQ(render("ifs"), in_interfaces(std::string(LO) + ETH0 +
                                           "  <interface>\n"
                                           "    <name>p:a&lt;&amp;&gt;\uFFFD\uFFFD</name>\n"
                                           "    <index>3</index>\n"
                                           "    <state>3</state>\n"
                                           "  </interface>\n"));
    EXPECT_EQ(output.flushes, 1);
}

TEST_F(xml_test, filters_select_at_list_and_row_level) {
    model_interfaces();
    define(SHOW_IFS);
    const struct {
        const char* filter;
        std::string rows;
    } cases[] = {
        {"/interfaces/interface[name='eth0']", ETH0},
        {"interfaces/interface[ name = \"eth0\" ]", ETH0},
        {"/interfaces/interface[(name='eth0') and (index='2')]", ETH0},
        {"/interfaces/interface[name='eth0' and index='2']", ""},
        {"/interfaces/interface[name='eth0'][index='2']", ETH0},
        {"/interfaces/interface[name='eth0'][index='3']", ""},
        {"/interfaces/interface[(name='x') or ((index > 1) and (index < 3))]", ETH0},
        {"/interfaces/interface[state='down']", LO}, // the mapped text
        {"/interfaces/interface[contains(name, 'th')]", ETH0},
        {"/interfaces/interface[match(name, '^l.$')]", LO},
        {"/interfaces/interface[starts-with(name,'e')]", ETH0},
        {"/interfaces/interface[unknown='eth0']", ""},
        {"/interfaces/interface[(local_name()='interface') and (name='lo')]", LO},
        {"/interfaces/interface[ local_name( ) = 'other' ]", ""},
        {"/interfaces/other", ""},
        {"/other", ""},
        {"/interfaces/interface[", ""}, // does not parse: hides its tag
        {"/interfaces[*]/interface[name='lo']", LO},
        {"/interfaces/interface[name='lo']/address[ip='::1']",
         "  <interface>\n    <name>p:lo</name>\n    <address>\n      <ip>::1</ip>\n"
         "      <len>128</len>\n    </address>\n  </interface>\n"},
        {"/interfaces/interface[name='lo']/name", "  <interface>\n    <name>p:lo</name>\n"
                                                  "  </interface>\n"},
    };
    for (const auto& row : cases) {
        std::string quoted = row.filter;
        const char quote = quoted.find('\'') == std::string::npos ? '\'' : '"';
        if (quoted.find('"') != std::string::npos && quote == '"') {
            continue;
        }
        const std::string argument = std::string("filter=") + quote + quoted + quote;
        EXPECT_EQ(render("ifs", argument.c_str()), in_interfaces(row.rows)) << row.filter;
    }
}

TEST_F(xml_test, list_procedures_are_given_what_every_row_must_equal) {
    static std::string seen;
    drend_add_list(
        "/t/row",
        [](dr_meta_context_s* ctx, const void*) {
            seen.clear();
            for (const char* key : {"name", "mapped", "number"}) {
                const char* text = drend_get_filter_name(ctx, key);
                seen += std::string(key) + "=" + (text == nullptr ? "-" : text) + " ";
            }
            return static_cast<int>(DREND_NO_EL);
        },
        nullptr);
    for (const char* leaf :
         {"/t/row/name", "/t/row/mapped", "/t/row/number", "/t/far/name"}) {
        drend_add_str_leaf(leaf, read_name, nullptr);
    }
    define(
        R"([{"dc_name": "c", "dc_tag": {"dts_name": "t", "dts_source": "/t", "dts_kids": [
        {"dts_name": "r", "dts_type": "list", "dts_source": "row", "dts_kids": [
            {"dts_name": "n", "dts_type": "leaf", "dts_source": "name"},
            {"dts_name": "m", "dts_type": "leaf", "dts_source": "mapped",
             "dts_map": [["1", "one"]]},
            {"dts_name": "far", "dts_type": "leaf", "dts_source": "../far/name"},
            {"dts_name": "pick", "dts_type": "choice", "dts_kids": [
                {"dts_name": "way", "dts_type": "case", "dts_kids": [
                    {"dts_name": "i", "dts_type": "leaf", "dts_source": "number"}]}]}]}]}}])");
    const struct {
        const char* predicate;
        const char* names;
    } cases[] = {
        {"n='x'", "name=x mapped=- number=- "},
        {"(n='x') and (i='7')", "name=x mapped=- number=7 "}, // below choice and case
        {"n='x' and i='7'", "name=- mapped=- number=- "},     // ((n='x') and i) = '7'
        {"(n='x') and (m='one')", "name=x mapped=- number=- "},
        {"(n='x') or (i='7')", "name=- mapped=- number=- "},
        {"(i='1') and ((n='x') or (n='y'))", "name=- mapped=- number=1 "},
        {"n=''", "name=- mapped=- number=- "},
        {"(n='x')='true'", "name=- mapped=- number=- "},
        {"'x'=n", "name=- mapped=- number=- "},
        {"far='x'", "name=- mapped=- number=- "},
        {"contains(n, 'x')", "name=- mapped=- number=- "},
    };
    for (const auto& row : cases) {
        render("c", ("filter=\"/t/r[" + std::string(row.predicate) + "]\"").c_str());
        EXPECT_EQ(seen, row.names) << row.predicate;
    }
}

TEST_F(xml_test, leaves_without_a_value_are_left_out) {
    drend_add_str_leaf("/ok", read_text, "v");
    drend_add_str_leaf("/empty", read_text, "");
    drend_add_str_leaf("/bad", fail_leaf, nullptr);
    drend_add_str_leaf("/skip", skip_leaf, nullptr);
    drend_add_str_leaf("/no-proc", nullptr, nullptr);
    drend_add_list("/not-a-leaf", step_rows, &INTERFACES);
    define_kids(R"({"dts_name": "a", "dts_type": "leaf", "dts_source": "bad"},
        {"dts_name": "b", "dts_type": "leaf", "dts_source": "skip"},
        {"dts_name": "c", "dts_type": "leaf", "dts_source": "no-proc"},
        {"dts_name": "d", "dts_type": "leaf", "dts_source": "nowhere"},
        {"dts_name": "e", "dts_type": "leaf", "dts_source": "not-a-leaf"},
        {"dts_name": "f", "dts_type": "leaf"},
        {"dts_name": "g", "dts_type": "leaf", "dts_source": "bad",
         "dts_map": [["1", "x"], ["*", "unknown"]]},
        {"dts_name": "h", "dts_type": "leaf", "dts_source": "ok", "dts_map": [["1", "x"]]},
        {"dts_name": "i", "dts_type": "leaf", "dts_source": "ok"},
        {"dts_name": "j", "dts_type": "leaf", "dts_source": "empty"},
        {"dts_name": "k", "dts_type": "leaf", "dts_source": "empty",
         "dts_is_mandatory": "true"},
        {"dts_name": "l", "dts_type": "leaf", "dts_source": "empty",
         "dts_data_type": "empty"},
        {"dts_name": "m", "dts_type": "empty", "dts_source": "ok"})");
    const std::string head = "<top>\n  <g>unknown</g>\n  <i>v</i>\n";
    const std::string tail = "  <k></k>\n  <l></l>\n</top>\n";
    EXPECT_EQ(render("c"), head + "  <j></j>\n" + tail);
    drend_set_skip_if_empty_leaf(1);
    EXPECT_EQ(render("c"), head + tail);
    drend_set_skip_if_empty_leaf(0);
}

TEST_F(xml_test, presence_containers_print_even_when_empty) {
    static const char* answer = "true";
    drend_add_str_leaf("/there", drend_get_str_cb, &answer);
    drend_add_str_leaf("/bad", fail_leaf, nullptr);
    define_kids(R"({"dts_name": "p", "dts_source": "there", "dts_presence": "yes"},
        {"dts_name": "q", "dts_source": "bad", "dts_presence": "yes"},
        {"dts_name": "r", "dts_source": "there"},
        {"dts_name": "s", "dts_kids": [
            {"dts_name": "t", "dts_source": "/there", "dts_presence": "false"}]})");
    EXPECT_EQ(render("c"), "<top>\n  <p>\n  </p>\n  <q>\n  </q>\n  <s>\n    <t>\n    </t>\n"
                           "  </s>\n</top>\n");
    answer = "truer";
    EXPECT_EQ(render("c"), "<top>\n  <q>\n  </q>\n</top>\n");
}

TEST_F(xml_test, leaf_lists_print_a_value_to_a_line) {
    model_interfaces();
    define_kids(R"({"dts_name": "n", "dts_type": "leaf-list", "dts_source": "ifs/if",
        "dts_prefix": "p:", "dts_map": [["eth0", "first"], ["*", "*"]], "dts_kids": [
            {"dts_name": "__zor_leaf_list_value__", "dts_type": "leaf",
             "dts_source": "name"}]})");
    EXPECT_EQ(render("c"), "<top>\n  <n>\n    p:lo\n  </n>\n  <n>\n    p:first\n  </n>\n"
                           "  <n>\n    p:a&lt;&amp;&gt;\uFFFD\uFFFD\n  </n>\n</top>\n");
}

TEST_F(xml_test, hidden_and_internal_tags_print_nothing_themselves) {
    drend_add_str_leaf("/a", read_text, "1");
    drend_add_str_leaf("/b", read_text, "2");
    define_kids(R"({"dts_name": "ch", "dts_type": "choice", "dts_kids": [
            {"dts_name": "ca", "dts_type": "case", "dts_kids": [
                {"dts_name": "a", "dts_type": "leaf", "dts_source": "a"}]}]},
        {"dts_name": "__zor_internal_x", "dts_type": "leaf", "dts_source": "a"},
        {"dts_name": "__zor_internal_y", "dts_kids": [
            {"dts_name": "b", "dts_type": "leaf", "dts_source": "b"}]})");
    EXPECT_EQ(render("c"), "<top>\n      <a>1</a>\n    <b>2</b>\n</top>\n");
}

TEST_F(xml_test, a_source_with_a_key_shows_that_row) {
    model_interfaces();
    define_kids(R"({"dts_name": "one", "dts_type": "list", "dts_key": ["name"],
        "dts_source": "ifs/if[name=eth0]", "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
            {"dts_name": "index", "dts_type": "leaf", "dts_source": "index"},
            {"dts_name": "same", "dts_source": ".", "dts_kids": [
                {"dts_name": "up", "dts_type": "leaf", "dts_source": "../if[name=lo]/index"}]}
        ]})");
    EXPECT_EQ(render("c"), "<top>\n  <one>\n    <name>eth0</name>\n    <index>2</index>\n"
                           "    <same>\n      <up>0</up>\n    </same>\n  </one>\n</top>\n");
    EXPECT_EQ(render("c", "filter=\"/top/one[name='lo']\""), "");
}

TEST_F(xml_test, keys_are_ordinary_leaves_when_they_cannot_be_read_ahead) {
    static int reads;
    reads = 0;
    drend_add_list("/row", step_rows, &INTERFACES);
    // Fails when it is read ahead of a row, and has a value when its turn comes.
    drend_add_str_leaf(
        "/row/shy",
        [](dr_meta_context_s* ctx, const void*) {
            return reads++ % 2 == 0 ? DREND_DEFER : drend_set_string_value(ctx, "s");
        },
        nullptr);
    drend_add_double_leaf(
        "/row/rate",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_decimal64_value(ctx, 1.5);
        },
        nullptr);
    define_kids(R"({"dts_name": "r", "dts_type": "list", "dts_source": "row",
        "dts_key": ["rate", "shy", "none", "__zor_internal_k"], "dts_kids": [
            {"dts_name": "shy", "dts_type": "leaf", "dts_source": "shy"},
            {"dts_name": "__zor_internal_k", "dts_type": "leaf", "dts_source": "rate"},
            {"dts_name": "rate", "dts_type": "leaf", "dts_source": "rate",
             "dts_data_type": "decimal64", "dts_data_decimal64_fraction": 2}]})");
    const std::string row = "  <r>\n    <rate>1.50</rate>\n    <shy>s</shy>\n  </r>\n";
    EXPECT_EQ(render("c"), "<top>\n" + row + row + row + "</top>\n");
}

TEST_F(xml_test, outer_keys_stay_printed_after_an_inner_list) {
    model_interfaces();
    define_kids(R"({"dts_name": "i", "dts_type": "list", "dts_source": "ifs/if[name=lo]",
        "dts_key": ["name"], "dts_kids": [
            {"dts_name": "addr", "dts_type": "list", "dts_source": "addr", "dts_key": ["ip"],
             "dts_kids": [{"dts_name": "ip", "dts_type": "leaf", "dts_source": "ip"}]},
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]})");
    EXPECT_EQ(render("c"), "<top>\n  <i>\n    <name>lo</name>\n    <addr>\n"
                           "      <ip>127.0.0.1</ip>\n    </addr>\n    <addr>\n"
                           "      <ip>::1</ip>\n    </addr>\n  </i>\n</top>\n");
}

TEST_F(xml_test, value_maps_evaluate_their_own_expressions_only) {
    drend_add_str_leaf("/a", read_text, "=val('../b')");
    drend_add_str_leaf("/b", read_text, "7");
    drend_add_str_leaf("/up", read_text, "1");
    define_kids(R"json({"dts_name": "data", "dts_type": "leaf", "dts_source": "a",
            "dts_map": [["*", "*"]]},
        {"dts_name": "both", "dts_type": "leaf", "dts_source": "up",
         "dts_map": [["1", "='<'+val('../b')+ '/' +val('../a')"]]},
        {"dts_name": "broken", "dts_type": "leaf", "dts_source": "up",
         "dts_map": [["1", "=val(b)"]]},
        {"dts_name": "nowhere", "dts_type": "leaf", "dts_source": "up",
         "dts_map": [["1", "=val('../zzz')"]]},
        {"dts_name": "here", "dts_type": "leaf", "dts_source": ".",
         "dts_map": [["*", "=val('b')"]]})json");
    EXPECT_EQ(render("c"), "<top>\n  <data>=val('../b')</data>\n"
                           "  <both>&lt;7/=val('../b')</both>\n  <here>7</here>\n</top>\n");
}

TEST_F(xml_test, dynamic_containers_show_what_the_daemon_names) {
    // Names b, zzz (no such kid) and a, by the attribute reference; the row's reference stays.
    static const char* const names[] = {"b", "zzz", "a", nullptr};
    drend_add_list("/row", step_rows, &INTERFACES);
    drend_add_cont_cb(
        "/row/stats",
        [](dr_meta_context_s* ctx, const void*) {
            void* at = nullptr;
            drend_get_attribute_ref(ctx, &at);
            auto* next = at == nullptr ? names : static_cast<const char* const*>(at) + 1;
            drend_set_attribute_name(ctx, *next);
            drend_set_attribute_ref(ctx, *next == nullptr ? nullptr
                                                          : const_cast<const char**>(next));
            return static_cast<int>(*next == nullptr ? DREND_NO_EL : DREND_OK);
        },
        nullptr);
    for (const char* leaf : {"a", "b", "c"}) {
        drend_add_str_leaf((std::string("/row/stats/") + leaf).c_str(), read_name, nullptr);
    }
    define_kids(R"({"dts_name": "r", "dts_type": "list", "dts_source": "row[name=eth0]",
        "dts_kids": [
          {"dts_name": "s", "dts_source": "stats", "dts_kids": [
            {"dts_name": "A", "dts_type": "leaf", "dts_source": "a"},
            {"dts_name": "B", "dts_type": "leaf", "dts_source": "b"},
            {"dts_name": "C", "dts_type": "leaf", "dts_source": "c"}]}]})");
    drend_add_str_leaf("/row/name", read_name, nullptr);
    EXPECT_EQ(render("c"), "<top>\n  <r>\n    <s>\n      <B>eth0</B>\n      <A>eth0</A>\n"
                           "      <C>eth0</C>\n    </s>\n  </r>\n</top>\n");
}

TEST_F(xml_test, definitions_of_one_command_merge_under_a_hidden_root) {
    model_interfaces();
    drend_add_str_leaf("/sys/host", read_text, "h");
    const std::string get = R"({"dc_name": "corvane-netconf-get", "dc_tag": )";
    define("[" + get +
           R"({"dts_name": "n", "dts_kids": [{"dts_name": "i", "dts_type": "list",
        "dts_source": "/ifs/if[name=eth0]", "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]}]}},)" +
           get + R"({"dts_name": "n", "dts_kids": [{"dts_name": "s", "dts_source": "/sys",
        "dts_kids": [{"dts_name": "host", "dts_type": "leaf", "dts_source": "host"}]}]}},)" +
           get + R"({"dts_name": "m", "dts_source": "/sys", "dts_kids": [
        {"dts_name": "host", "dts_type": "leaf", "dts_source": "host"}]}}])");
    const std::string n = "<n>\n  <i>\n    <name>eth0</name>\n  </i>\n  <s>\n"
                          "    <host>h</host>\n  </s>\n</n>\n";
    const std::string m = "<m>\n  <host>h</host>\n</m>\n";
    EXPECT_EQ(render("corvane-netconf-get"), "<data>\n" + n + m + "</data>\n");
    EXPECT_EQ(render("corvane-netconf-get", "filter=/m/host"),
              "<data>\n" + m + "</data>\n");
    EXPECT_EQ(render("corvane-netconf-get-2"), m); // a merged one, under its number
}

TEST_F(xml_test, long_values_are_cut_and_keep_their_closing_tag) {
    static const std::string text = std::string(1048000, 'x') + std::string(1000, '&');
    drend_add_str_leaf("/long", read_text, text.c_str());
    define_kids(R"({"dts_name": "v", "dts_type": "leaf", "dts_source": "long"})");
    const std::string whole = render("c");
    const std::string end = "&amp; [string > 1M: truncated]</v>\n</top>\n";
    EXPECT_EQ(whole.substr(whole.size() - end.size()), end);
    EXPECT_LE(whole.size(), 1048576 + strlen("<top>\n  <v></top>\n"));
}

TEST_F(xml_test, a_lost_peer_ends_the_walk_and_gives_everything_back) {
    static int inside;
    inside = 0;
    model_interfaces();
    drend_add_enter(
        "/ifs", [](dr_meta_context_s*, const void*) { return ++inside; }, nullptr);
    drend_add_exit(
        "/ifs", [](dr_meta_context_s*, const void*) { return --inside; }, nullptr);
    drend_add_enter(
        "/ifs/if", [](dr_meta_context_s*, const void*) { return ++inside; }, nullptr);
    drend_add_exit(
        "/ifs/if", [](dr_meta_context_s*, const void*) { return --inside; }, nullptr);
    define(SHOW_IFS);
    render("ifs");
    EXPECT_EQ(inside, 0);
    const int all = output.sends;
    for (int lost_at = 0; lost_at < all; ++lost_at) {
        output.fail_at = lost_at;
        testing::internal::CaptureStderr();
        render("ifs");
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "Write failure for rpc 'ifs'\n");
        EXPECT_EQ(output.sends, lost_at);
        EXPECT_EQ(output.flushes, 0);
        EXPECT_EQ(inside, 0) << lost_at;
    }
}

TEST_F(xml_test, an_unknown_command_is_one_line_on_standard_error) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(drend_dump_rpc(nullptr, "nope", nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid top node for rpc 'nope'\n");
}
