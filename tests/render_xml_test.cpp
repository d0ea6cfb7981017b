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

using xml_test = render_test;

constexpr char SHOW_IFS[] = R"(interfaces=/ifs{namespace: `xmlns='urn:x'`}(
    interface*=if{key: [`name`]}(
        index{zero_suppression: `true`}, name{prefix: `p:`},
        state=index{map: [[`2`, `up`], [`0`, `down`], [`*`, `*`]]},
        address*=addr{key: [`ip`]}(ip, len))))";

} // namespace

TEST_F(xml_test, lists_print_keys_first_and_leave_empty_elements_out) {
    add_rows("/ifs/if", &INTERFACES, "name", "index");
    add_rows("/ifs/if/addr", nullptr, "ip", "len");
    define_tree("ifs", SHOW_IFS);
    EXPECT_EQ(render("ifs"), R"(<interfaces xmlns="urn:x">
  <interface>
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
  <interface>
    <name>p:eth0</name>
    <index>2</index>
    <state>up</state>
  </interface>
  <interface>
    <name>p:a&lt;&amp;&gt;��</name>
    <index>3</index>
    <state>3</state>
  </interface>
</interfaces>
)");
    EXPECT_EQ(output.flushes, 1);
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
    define_tree("c", "t=/t(r*=row(n=name, m=mapped{map: [[`1`, `one`]]}, far=../far/name, "
                     "pick?(way!(i=number))))");
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
    define_tree(
        "c",
        "top=/(a=bad, b=skip, c=no-proc, d=nowhere, e=not-a-leaf, f=, g=bad{map: [[`1`, "
        "`x`], [`*`, `unknown`]]}, h=ok{map: [[`1`, `x`]]}, i=ok, j=empty, "
        "k=empty{is_mandatory: `true`}, l=empty{data_type: `empty`}, m=ok{type: `empty`})");
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
    define_tree("c", "top=/(p=there{presence: `yes`}(), q=bad{presence: `yes`}(), "
                     "r=there(), s(t=/there{presence: `false`}()))");
    EXPECT_EQ(render("c"), "<top>\n  <p>\n  </p>\n  <q>\n  </q>\n  <s>\n    <t>\n    </t>\n"
                           "  </s>\n</top>\n");
    answer = "truer";
    EXPECT_EQ(render("c"), "<top>\n  <q>\n  </q>\n</top>\n");
}

TEST_F(xml_test, value_maps_evaluate_their_own_expressions_only) {
    drend_add_str_leaf("/a", read_text, "=val('../b')");
    drend_add_str_leaf("/b", read_text, "7");
    drend_add_str_leaf("/up", read_text, "1");
    define_tree("c",
                "top=/(data=a{map: [[`*`, `*`]]}, both=up{map: [[`1`, `='<'+val('../b')+ "
                "'/' +val('../a')`]]}, broken=up{map: [[`1`, `=val(b)`]]}, nowhere=up{map: "
                "[[`1`, `=val('../zzz')`]]}, here=.{map: [[`*`, `=val('b')`]]})");
    EXPECT_EQ(render("c"), "<top>\n  <data>=val('../b')</data>\n"
                           "  <both>&lt;7/=val('../b')</both>\n  <here>7</here>\n</top>\n");
}

// Short texts are compared as numbers.
TEST_F(xml_test, value_maps_tell_texts_apart_by_every_byte) {
    static std::string text;
    drend_add_str_leaf(
        "/text",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_string_value(ctx, text.c_str());
        },
        nullptr);
    for (size_t length = 1; length < 10; ++length) {
        const std::string other(length, 'a');
        for (size_t at = 0; at < length; ++at) {
            text = other;
            text[at] = 'b';
            redefine_tree("c", "top=/(text{map: [[`" + other + "`, `other`], [`" + text +
                                   "`, `this`]]})");
            drend_dir_init();
            EXPECT_EQ(render("c"), "<top>\n  <text>this</text>\n</top>\n") << text;
        }
    }
}

TEST_F(xml_test, long_values_are_cut_and_keep_their_closing_tag) {
    static const std::string text = std::string(1048000, 'x') + std::string(1000, '&');
    drend_add_str_leaf("/long", read_text, text.c_str());
    define_tree("c", "top=/(v=long)");
    const std::string whole = render("c");
    const std::string end = "&amp; [string > 1M: truncated]</v>\n</top>\n";
    EXPECT_EQ(whole.substr(whole.size() - end.size()), end);
    EXPECT_LE(whole.size(), 1048576 + strlen("<top>\n  <v></top>\n"));
}

TEST_F(xml_test, an_unknown_command_is_one_line_on_standard_error) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(drend_dump_rpc(nullptr, "nope", nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Invalid top node for rpc 'nope'\n");
}
