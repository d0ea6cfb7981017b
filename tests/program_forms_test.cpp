// SPDX-License-Identifier: BSD-2-Clause

// The forms for programs: XML and JSON as YANG has them, and JSON lines.

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include <jansson.h>

#include "render_fixture.h"

namespace {

const std::vector<row_s> ROWS = {{"lo", 1, {{"127.0.0.1", 8}, {"::1", 128}}},
                                 {"\u20ac\r&", 0, {{"\u00e9\U0001F600\xff", 0}}}};

template <auto set, auto value>
int give(dr_meta_context_s* ctx, const void*) {
    return set(ctx, value);
}

class program_forms_test : public render_test {
  protected:
    program_forms_test() {
        drend_add_list("/ifs/if", step_rows, &ROWS);
        drend_add_str_leaf("/ifs/if/name", read_name, nullptr);
        drend_add_int32_leaf("/ifs/if/index", read_number, nullptr);
        drend_add_list("/ifs/if/addr", step_rows_below, nullptr);
        drend_add_str_leaf("/ifs/if/addr/ip", read_name, nullptr);
        drend_add_int32_leaf("/ifs/if/addr/len", read_number, nullptr);
        drend_add_str_leaf("/on", read_text, "true");
    }

    // A command with the tag, whose texts are in backticks.
    void define_tag(std::string tag, const char* name = "c") {
        std::replace(tag.begin(), tag.end(), '`', '"');
        define(R"([{"dc_name": ")" + std::string(name) + R"(", "dc_tag": )" + tag + "}]");
    }

    // The answer in a form of JSON, of which each line of lines must parse.
    std::string render_json(const std::string& argument, const char* command = "c") {
        const std::string text = render(command, argument.c_str());
        const bool has_lines = argument.find("lines") != std::string::npos;
        for (size_t at = 0; at < text.size();) {
            const size_t end = has_lines ? text.find('\n', at) + 1 : text.size();
            json_error_t error;
            json_t* document = json_loads(text.substr(at, end - at).c_str(),
                                          JSON_REJECT_DUPLICATES, &error);
            EXPECT_NE(document, nullptr) << error.text << " in:\n" << text;
            json_decref(document);
            at = end;
        }
        return text;
    }
};

// With all that the forms treat each in its own way.
constexpr char INTERFACES[] = R"({`dts_name`: `ifs`, `dts_source`: `/ifs`,
    `dts_namespace`: `xmlns='urn:a' xmlns:t='urn:t' t:x='1' u:y='2'`, `dts_module`: `mod-a`,
    `dts_kids`: [
    {`dts_name`: `on`, `dts_type`: `leaf`, `dts_source`: `/on`, `dts_data_type`: `boolean`},
    {`dts_name`: `p`, `dts_source`: `/on`, `dts_presence`: `yes`,
     `dts_kids`: [{`dts_name`: `none`, `dts_type`: `leaf`, `dts_source`: `/none`}]},
    {`dts_name`: `empty`,
     `dts_kids`: [{`dts_name`: `none`, `dts_type`: `leaf`, `dts_source`: `/none`}]},
    {`dts_name`: `if`, `dts_type`: `list`, `dts_source`: `if`, `dts_key`: [`name`], `dts_kids`: [
        {`dts_name`: `pick`, `dts_type`: `choice`, `dts_kids`: [
            {`dts_name`: `index`, `dts_type`: `leaf`, `dts_source`: `index`,
             `dts_zero_suppression`: `true`}]},
        {`dts_name`: `name`, `dts_type`: `leaf`, `dts_source`: `name`},
        {`dts_name`: `__zor_internal_n`, `dts_type`: `leaf`, `dts_source`: `name`},
        {`dts_name`: `type`, `dts_type`: `leaf`, `dts_source`: `index`, `dts_prefix`: `t:&amp;`,
         `dts_namespace`: `xmlns='urn:a'`},
        {`dts_name`: `flag`, `dts_type`: `leaf`, `dts_source`: `index`, `dts_data_type`: `empty`},
        {`dts_name`: `ip`, `dts_type`: `leaf-list`, `dts_source`: `addr`,
         `dts_namespace`: `xmlns='urn:b' xmlns:t='urn:t'`, `dts_module`: `mod-b`, `dts_kids`: [
            {`dts_name`: `__zor_leaf_list_value__`, `dts_type`: `leaf`, `dts_source`: `ip`}]},
        {`dts_name`: `addr`, `dts_type`: `list`, `dts_source`: `addr`, `dts_key`: [`len`],
         `dts_namespace`: `xmlns='urn:b'`, `dts_module`: `mod-b`, `dts_kids`: [
            {`dts_name`: `ip`, `dts_type`: `leaf`, `dts_source`: `ip`},
            {`dts_name`: `len`, `dts_type`: `leaf`, `dts_source`: `len`}]}]}]})";

} // namespace

TEST_F(program_forms_test, ietf_xml_is_what_a_validator_accepts) {
    define_tag(INTERFACES);
    EXPECT_EQ(render("c", "as-ietf-xml"),
              R"(<ifs xmlns="urn:a" xmlns:t="urn:t" t:x="1">
  <on>true</on>
  <p>
  </p>
  <if>
    <name>lo</name>
    <index>1</index>
    <type>t:&amp;1</type>
    <flag></flag>
    <ip xmlns="urn:b">127.0.0.1</ip>
    <ip xmlns="urn:b">::1</ip>
    <addr xmlns="urn:b">
      <len>8</len>
      <ip>127.0.0.1</ip>
    </addr>
    <addr xmlns="urn:b">
      <len>128</len>
      <ip>::1</ip>
    </addr>
  </if>
  <if>
    <name>)"
              "\u20ac&#xD;&amp;</name>\n    <type>t:&amp;0</type>\n"
              "    <flag></flag>\n    <ip xmlns=\"urn:b\">\u00e9\U0001F600\ufffd</ip>\n"
              "    <addr xmlns=\"urn:b\">\n      <len>0</len>\n"
              "      <ip>\u00e9\U0001F600\ufffd</ip>\n    </addr>\n  </if>\n</ifs>\n");
}

TEST_F(program_forms_test, ietf_json_has_modules_types_and_arrays) {
    define_tag(INTERFACES);
    EXPECT_EQ(render_json("as-ietf-json"), R"({
  "mod-a:ifs": {
    "on": true,
    "p": {},
    "if": [{
      "name": "lo",
      "index": 1,
      "type": "t:&1",
      "flag": [null],
      "mod-b:ip": ["127.0.0.1", "::1"],
      "mod-b:addr": [{
        "len": 8,
        "ip": "127.0.0.1"
      }, {
        "len": 128,
        "ip": "::1"
      }]
    }, {
      "name": ")"
                                           "\u20ac\\r&\",\n"
                                           R"(      "type": "t:&0",
      "flag": [null],
      "mod-b:ip": [")"
                                           "\u00e9\U0001F600\ufffd"
                                           R"("],
      "mod-b:addr": [{
        "len": 0,
        "ip": ")"
                                           "\u00e9\U0001F600\ufffd\"\n      }]\n    }]\n"
                                           "  }\n}\n");
}

TEST_F(program_forms_test, each_row_of_a_list_is_a_line) {
    define_tag(INTERFACES);
    EXPECT_EQ(render_json("as-json-lines=addr filter='/ifs/if[name=\"lo\"]'"),
              R"({"if/name":"lo","len":8,"ip":"127.0.0.1"})"
              "\n"
              R"({"if/name":"lo","len":128,"ip":"::1"})"
              "\n");
    EXPECT_EQ(render("c", "as-json-lines=ip"),
              "error: arguments: as-json-lines: the command has no list 'ip'\n");
    EXPECT_EQ(render("c", "as-json-lines=\"\f\xff\""),
              "error: arguments: as-json-lines: the command has no list '\\x0c\\xff'\n");
}

TEST_F(program_forms_test, a_value_has_the_type_that_is_said_or_registered) {
    constexpr drend_proc_t u8 = give<drend_set_uint8_value, 5>;
    constexpr drend_proc_t u32 = give<drend_set_uint32_value, 4294967295U>;
    constexpr drend_proc_t u64 = give<drend_set_uint64_value, 300>;
    constexpr drend_proc_t truth = give<drend_set_boolean_value, 1>;
    constexpr drend_proc_t text = read_text;
    // What the tag has besides, what reads the leaf, and what is shown.
    const std::tuple<const char*, drend_proc_t, const void*, std::string> cases[] = {
        // no type in the definition
        {"", u32, nullptr, "4294967295"},
        {"", u64, nullptr, "\"300\""},
        {"`dts_map`: [[`*`, `*`]]", u8, nullptr, "5"},
        {"`dts_data_type`: `nonsense`", u8, nullptr, "5"},
        // the definition's
        {"`dts_data_type`: `binary`", truth, nullptr, "\"true\""},
        {"`dts_data_type`: `union`", u8, nullptr, "\"5\""},
        {"`dts_data_type`: `int64`", u8, nullptr, "\"5\""},
        {"`dts_data_type`: `uint16`", u64, nullptr, "300"},
        {"`dts_data_type`: `int32`", u32, nullptr, "\"4294967295\""}, // not in its range
        {"`dts_data_type`: `int32`", text, "-2147483648", "-2147483648"},
        {"`dts_data_type`: `int32`", text, "-2147483649", "\"-2147483649\""},
        {"`dts_data_type`: `uint16`", text, "007", "\"007\""},
        {"`dts_data_type`: `int16`", text, "-0", "\"-0\""},
        {"`dts_data_type`: `uint16`", text, "1e3", "\"1e3\""},
        {"`dts_data_type`: `uint16`", text, "", "\"\""},
        {"`dts_data_type`: `uint16`, `dts_map`: [[`5`, `none`]]", u8, nullptr, "\"none\""},
        {"`dts_data_type`: `uint16`, `dts_map`: [[`5`, `6`]]", u8, nullptr, "6"},
        {"`dts_prefix`: `&#x7f;&#x80;&#x7FF;&#x800;&#65533;&#x1F600;:`", u8, nullptr,
         "\"\x7f\u0080\u07ff\u0800\ufffd\U0001F600:5\""},
    };
    int number = 0;
    for (const auto& [members, reads, data, json] : cases) {
        const std::string name = "v" + std::to_string(++number);
        drend_add_str_leaf(("/" + name).c_str(), reads, data);
        testing::internal::CaptureStderr();
        define_tag("{`dts_name`: `t`, `dts_kids`: [{`dts_name`: `v`, `dts_type`: `leaf`, "
                   "`dts_source`: `/" +
                       name + "`" + (*members == '\0' ? "" : ", ") + members + "}]}",
                   name.c_str());
        testing::internal::GetCapturedStderr();
        EXPECT_EQ(render(name.c_str(), "as-ietf-json compact"),
                  "{\"t\":{\"v\":" + json + "}}")
            << members;
    }
}

TEST_F(program_forms_test, an_xml_prefix_is_no_part_of_a_name) {
    define_tag("{`dts_name`: `p:x`, `dts_module`: `m`, `dts_type`: `leaf`, "
               "`dts_source`: `/on`}");
    EXPECT_EQ(render_json("as-ietf-json compact"), R"({"m:x":"true"})");
    EXPECT_EQ(render("c", "as-ietf-xml compact"), "<p:x>true</p:x>");
}

TEST_F(program_forms_test, the_type_empty_is_that_of_leaves) {
    define_tag(R"({`dts_name`: `t`, `dts_source`: `/ifs`, `dts_kids`: [
        {`dts_name`: `c`, `dts_data_type`: `empty`, `dts_kids`: [
         {`dts_name`: `on`, `dts_type`: `leaf`, `dts_source`: `/on`, `dts_data_type`: `empty`,
          `dts_prefix`: `p:`}]},
        {`dts_name`: `if`, `dts_type`: `list`, `dts_source`: `if[name=lo]`,
         `dts_data_type`: `empty`, `dts_key`: [`name`], `dts_kids`: [
         {`dts_name`: `name`, `dts_type`: `leaf`, `dts_source`: `name`,
          `dts_data_type`: `empty`}]}]})");
    EXPECT_EQ(render_json("as-ietf-json compact"),
              R"({"t":{"c":{"on":[null]},"if":[{"name":[null]}]}})");
    EXPECT_EQ(render("c", "as-ietf-xml compact"),
              "<t><c><on></on></c><if><name></name></if></t>");
}

TEST_F(program_forms_test, a_merged_schema_is_one_object_and_several_elements) {
    define(R"([
        {"dc_name": "get", "dc_tag": {"dts_name": "a", "dts_namespace": "xmlns='urn:a'",
            "dts_module": "m", "dts_kids": [
            {"dts_name": "one", "dts_type": "leaf", "dts_source": "/on"}]}},
        {"dc_name": "get", "dc_tag": {"dts_name": "a", "dts_kids": [
            {"dts_name": "two", "dts_type": "leaf", "dts_source": "/on",
             "dts_namespace": "xmlns='urn:a'", "dts_module": "m"}]}},
        {"dc_name": "get", "dc_tag": {"dts_name": "b", "dts_kids": [
            {"dts_name": "three", "dts_type": "leaf", "dts_source": "/on"}]}}])");
    // The leaf "two" begins a module in its own tree and is inside of it in the merged one.
    for (int i = 0; i < 2; ++i) { // once made, texts are used again
        EXPECT_EQ(render("get", "as-ietf-json compact"),
                  R"({"m:a":{"one":"true","two":"true"},"b":{"three":"true"}})");
        EXPECT_EQ(render("get", "as-ietf-xml compact"),
                  R"(<a xmlns="urn:a"><one>true</one><two>true</two></a>)"
                  R"(<b><three>true</three></b>)");
        EXPECT_EQ(render("get-1", "as-ietf-json compact"), R"({"a":{"m:two":"true"}})");
        EXPECT_EQ(render("get-1", "as-ietf-xml compact"),
                  R"(<a><two xmlns="urn:a">true</two></a>)");
    }
}

TEST_F(program_forms_test, words_of_forms_are_parameters_first_and_choose_no_style) {
    define_tag(R"({`dts_name`: `t`, `dts_source`: `/ifs`, `dts_style`: [`brief`],
        `dts_input_kids`: [{`dts_name`: `compact`, `dts_style`: [`brief`]},
                           {`dts_name`: `as-json-lines`, `dts_style`: [`brief`]}],
        `dts_kids`: [{`dts_name`: `if`, `dts_type`: `list`, `dts_source`: `if[name=lo]`,
            `dts_kids`: [
            {`dts_name`: `n`, `dts_type`: `leaf`, `dts_source`: `name`},
            {`dts_name`: `i`, `dts_type`: `leaf`, `dts_source`: `index`,
             `dts_style`: [`full`]}]}]})");
    const std::string full = "<t>\n  <if>\n    <n>lo</n>\n    <i>1</i>\n  </if>\n</t>\n";
    const std::string brief = "<t>\n  <if>\n    <n>lo</n>\n  </if>\n</t>\n";
    EXPECT_EQ(render("c", "as-ietf-xml"), full);
    EXPECT_EQ(render("c", "as-ietf-xml ascii"), full);
    EXPECT_EQ(render("c", "as-ietf-xml compact"), brief);
    EXPECT_EQ(render("c", "as-ietf-xml other"), brief);
    EXPECT_EQ(render("c", "as-ietf-xml as-json-lines"), brief);
    EXPECT_EQ(render("c", "as-json-lines"), render("c", "compact"));
    EXPECT_EQ(render("c", "ascii"), render("c")); // changes nothing of XML
}

TEST_F(program_forms_test, an_answer_that_prints_nothing_is_the_bare_code) {
    define_tag("{`dts_name`: `t`, `dts_kids`: [{`dts_name`: `n`, `dts_type`: `leaf`, "
               "`dts_source`: `/none`}]}");
    for (const char* form : {"as-ietf-xml", "as-ietf-json", "as-json-lines"}) {
        EXPECT_EQ(render("c", form), "") << form;
        output = {};
        EXPECT_EQ(drend_dump_tags(this, 0, form), 0);
        EXPECT_EQ(output.text, "210\n") << form;
    }
}
