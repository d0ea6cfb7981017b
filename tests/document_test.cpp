// SPDX-License-Identifier: BSD-2-Clause

// Rules of the output that are easy to guess wrong, each by a small definition and the whole
// documents that it gives. What else definitions can hold is compared with a reference
// (random_test.cpp).

#include "render_fixture.h"

namespace {

const std::vector<row_s> ROWS = {{"lo", 0, {{"::1", 128}}}, {"eth0", 7, {}}};

// Fails when it is read ahead of its row, and has a value when its turn comes.
int read_shy(dr_meta_context_s* ctx, const void*) {
    static int reads = 0;
    return reads++ % 2 == 0 ? DREND_ERR : drend_set_string_value(ctx, "s");
}

int read_half(dr_meta_context_s* ctx, const void*) {
    return drend_set_decimal64_value(ctx, 1.5);
}

// "/a" to "/v", and the rows "/if" with their own "/if/addr".
class document_test : public render_test {
  protected:
    document_test() {
        drend_add_str_leaf("/a", read_text, "1");
        drend_add_str_leaf("/text", read_text,
                           "q\"\\/\b\n\x01\x7f \xE2\x82 \xED\xA0\x80<&>");
        drend_add_str_leaf("/v", read_text, "v");
        add_rows("/if", &ROWS, "name", "index");
        add_rows("/if/addr", nullptr, "ip", "len");
        drend_add_str_leaf("/if/odd", read_odd, nullptr);
        drend_add_str_leaf("/if/shy", read_shy, nullptr);
        drend_add_double_leaf("/if/half", read_half, nullptr);
    }

    // Has a value in the second row alone.
    static int read_odd(dr_meta_context_s* ctx, const void*) {
        return drend_get_element_ref(ctx) == ROWS.data() ? static_cast<int>(DREND_SKIP_LEAF)
                                                         : read_name(ctx, nullptr);
    }

    struct case_s {
        const char* tree;
        const char* xml;
        const char* json;
    };
    template <size_t Count>
    void expect_documents(const case_s (&cases)[Count], const std::string& xml_words,
                          const std::string& json_words) {
        for (const case_s& one : cases) {
            const std::string command = "c" + std::to_string(commands_++);
            define_tree(command, one.tree);
            EXPECT_EQ(render(command.c_str(), xml_words.c_str()), one.xml) << one.tree;
            EXPECT_EQ(render(command.c_str(), json_words.c_str()), one.json) << one.tree;
        }
    }

    int commands_ = 0;
};

} // namespace

TEST_F(document_test, keys_stand_ahead_of_their_row_or_else_in_their_place) {
    expect_documents(
        {
            // Not read ahead: one that fails, is no leaf, is internal, is not there.
            {"t(r*=/if[name=lo]{key: [`half`, `shy`, `__zor_internal`, `box`, "
             "`none`]}(shy, "
             "__zor_internal=name, box(i=index), "
             "half{data_type: `decimal64`, data_decimal64_fraction: 3}))",
             "<t>\n  <r>\n    <half>1.500</half>\n    <shy>s</shy>\n    <box>\n"
             "      <i>0</i>\n    </box>\n  </r>\n</t>\n",
             "{\n  \"t\" : {\n    \"r\" : [{\n        \"half\" : \"1.500\",\n"
             "        \"__zor_internal\" : \"lo\",\n        \"shy\" : \"s\",\n"
             "        \"box\" : {\n          \"i\" : \"0\"\n        }\n      }]\n  }\n}"},
            // An outer row's key is not printed again behind an inner list.
            {"t(r*=/if[name=lo]{key: [`name`]}(addr*{key: [`ip`]}(len, ip), name))",
             "<t>\n  <r>\n    <name>lo</name>\n    <addr>\n      <ip>::1</ip>\n"
             "      <len>128</len>\n    </addr>\n  </r>\n</t>\n",
             "{\n  \"t\" : {\n    \"r\" : [{\n        \"name\" : \"lo\",\n"
             "        \"addr\" : [{\n            \"ip\" : \"::1\",\n"
             "            \"len\" : \"128\"\n          }]\n      }]\n  }\n}"},
        },
        "", "as-json");
}

TEST_F(document_test, leaf_lists_hold_values) {
    expect_documents(
        {
            {"t(odd**=/if(#=odd))", "<t>\n  <odd>\n    eth0\n  </odd>\n</t>\n",
             "{\n  \"t\" : {\n    \"odd\" : [\"eth0\"]\n  }\n}"},
            {"t(n**=/if{prefix: `p:`, map: [[`lo`, `first`], [`*`, `*`]]}(#=name))",
             "<t>\n  <n>\n    p:first\n  </n>\n  <n>\n    p:eth0\n  </n>\n</t>\n",
             "{\n  \"t\" : {\n    \"n\" : [\"first\",\"eth0\"]\n  }\n}"},
            // What else stands in one has no name.
            {"t(n**=/if[name=lo](a=/v, b(a=/v), l*=/if(name)))",
             "<t>\n  <n>\n    <a>v</a>\n    <b>\n      <a>v</a>\n    </b>\n    <l>\n"
             "      <name>lo</name>\n    </l>\n    <l>\n      <name>eth0</name>\n"
             "    </l>\n  </n>\n</t>\n",
             "{\n  \"t\" : {\n    \"n\" : [\"v\",{\n          \"a\" : \"v\"\n        },[{\n"
             "            \"name\" : \"lo\"\n          },{\n"
             "            \"name\" : \"eth0\"\n          }]]\n  }\n}"},
            // The value of one that stands elsewhere.
            {"t(#=/v, a=/v)", "<t>\n  v\n  <a>v</a>\n</t>\n",
             "{\n  \"t\" : {\n    \"a\" : \"v\"\n  }\n}"},
        },
        "", "as-json");
}

TEST_F(document_test, what_is_not_printed_itself) {
    expect_documents(
        {
            {"t(way?(one!(a=/a)), __zor_internal_x=/a, __zor_internal_y(b=/v))",
             "<t>\n      <a>1</a>\n    <b>v</b>\n</t>\n",
             "{\n  \"t\" : {\n    \"a\" : \"1\",\n    \"__zor_internal_x\" : \"1\",\n"
             "    \"__zor_internal_y\" : {\n      \"b\" : \"v\"\n    }\n  }\n}"},
            {"t(__zor_internal*=/if{key: [`name`]}(name))",
             "<t>\n    <name>lo</name>\n    <name>eth0</name>\n</t>\n",
             "{\n  \"t\" : {\n    \"__zor_internal\" : [{\n        \"name\" : \"lo\"\n"
             "      },{\n        \"name\" : \"eth0\"\n      }]\n  }\n}"},
            // A hidden list: what its rows show, and no brackets.
            {"orvex-notification-root*=/if(name)", "<name>lo</name>\n<name>eth0</name>\n",
             "{\n  \"name\" : \"lo\",\n  \"name\" : \"eth0\"\n}"},
            {"if*=/if(name)",
             "<if>\n  <name>lo</name>\n</if>\n<if>\n  <name>eth0</name>\n</if>\n",
             "\n  \"if\" : [{\n      \"name\" : \"lo\"\n    },{\n"
             "      \"name\" : \"eth0\"\n    }]"},
        },
        "", "as-json");
}

TEST_F(document_test, sources_lead_to_a_row_or_nowhere) {
    expect_documents(
        {
            {"t(one*=/if[name=eth0](i=index, same=.(lo=../if[name=lo]/index)))",
             "<t>\n  <one>\n    <i>7</i>\n    <same>\n      <lo>0</lo>\n    </same>\n"
             "  </one>\n</t>\n",
             "{\n  \"t\" : {\n    \"one\" : [{\n        \"i\" : \"7\",\n"
             "        \"same\" : {\n          \"lo\" : \"0\"\n        }\n      }]\n  }\n}"},
            {"t(b=., l*=..(a), n{presence: `yes`}(z, y=/none))", "",
             "{\n  \"t\" : {\n  }\n}"},
        },
        "", "as-json");
}

TEST_F(document_test, values_are_escaped) {
    expect_documents(
        {
            {"t(v=/text)",
             "<t>\n  <v>q\"\\/\uFFFD\n\uFFFD\x7f \uFFFD\uFFFD \uFFFD\uFFFD\uFFFD"
             "&lt;&amp;&gt;</v>\n</t>\n",
             "{\n  \"t\" : {\n    \"v\" : \"q\\\"\\\\/\\b\\n\\u0001\x7f \uFFFD\uFFFD "
             "\uFFFD\uFFFD\uFFFD<&>\"\n  }\n}"},
        },
        "", "as-json");
}

TEST_F(document_test, below_a_hidden_root_the_answer_is_one) {
    define("[" + command_json("g", "one(row*=/if[name=eth0](i=index))") + "," +
           command_json("g", "if*=/if[name=lo](name)") + "]");
    EXPECT_EQ(render("g"), "<one>\n  <row>\n    <i>7</i>\n  </row>\n</one>\n"
                           "<if>\n  <name>lo</name>\n</if>\n");
    EXPECT_EQ(render("g", "as-json"),
              "{\n  \"one\" : {\n    \"row\" : [{\n        \"i\" : \"7\"\n      }]\n  },\n"
              "  \"if\" : [{\n      \"name\" : \"lo\"\n    }]\n}");
    EXPECT_EQ(render("g", "as-json filter=/none"), "");
}

TEST_F(document_test, filters_choose_rows_by_what_is_shown_of_them) {
    define_tree("c", "t(r*=/if{key: [`name`]}(name, i=index, up=index{map: [[`0`, `down`], "
                     "[`*`, `up`]]}))");
    const std::string lo =
        "  <r>\n    <name>lo</name>\n    <i>0</i>\n    <up>down</up>\n  </r>\n";
    const std::string eth0 =
        "  <r>\n    <name>eth0</name>\n    <i>7</i>\n    <up>up</up>\n  </r>\n";
    const std::pair<const char*, std::string> cases[] = {
        {"/t/r[name='eth0']", eth0},
        {"t/r[name='eth0' and i='7']", ""}, // ((name = 'eth0') and i) = '7'
        {"/t/r[name='eth0'][i='7']", eth0},
        {"/t/r[name='eth0'][i='0']", ""},
        {"/t/r[(name='x') or ((i > 1) and (i < 8))]", eth0},
        {"/t/r[up='down']", lo},
        {"/t/r[match(name, '^l.$')]", lo},
        {"/t/r[unknown='lo']", ""},
        {"/t/r[", ""}, // does not parse: hides its element
        {"/t/r[name='lo']/i", "  <r>\n    <name>lo</name>\n    <i>0</i>\n  </r>\n"},
    };
    for (const auto& [filter, rows] : cases) {
        EXPECT_EQ(render("c", ("filter=\"" + std::string(filter) + "\"").c_str()),
                  rows.empty() ? "" : "<t>\n" + rows + "</t>\n")
            << filter;
    }
}

TEST_F(document_test, forms_for_programs_have_one_document) {
    expect_documents(
        {
            {"x*=/if(#=index, n=name)", "<x><n>lo</n></x><x><n>eth0</n></x>",
             R"({"x":[{"n":"lo"},{"n":"eth0"}]})"},
            {"x**=/if(#=index, a*=addr(l=len))", "<x>0</x><a><l>128</l></a><x>7</x>",
             R"({"x":[0,{"l":128},7]})"},
            {"x**=/if[name=lo]{key: [`n`]}(b=index, n=name)", "<x>0</x><x>lo</x>",
             R"({"x":[0,"lo"]})"},
            {"x(__zor_internal_i*=/if(a*=/if(i=index)))",
             "<x><a><i>0</i></a><a><i>7</i></a><a><i>0</i></a><a><i>7</i></a></x>",
             R"({"x":{"a":[{"i":0},{"i":7},{"i":0},{"i":7}]}})"},
            {"x(__zor_internal_i*=/if[name=lo]{key: [`name`]}(name, a*=addr(l=len)), "
             "__zor_internal_j*=/if[name=eth0]{key: [`index`]}(index, name))",
             "<x><name>lo</name><a><l>128</l></a><index>7</index><name>eth0</name></x>",
             R"({"x":{"name":"lo","a":[{"l":128}],"index":7,"name":"eth0"}})"},
            {"x*=/if[name=lo]{key: [`n`]}(a*=addr(l=len), n=name)",
             "<x><n>lo</n><a><l>128</l></a></x>", R"({"x":[{"n":"lo","a":[{"l":128}]}]})"},
            {"p:x=/a{module: `m`}", "<p:x>1</p:x>", R"({"m:x":"1"})"},
        },
        "as-ietf-xml compact", "as-ietf-json compact");
}
