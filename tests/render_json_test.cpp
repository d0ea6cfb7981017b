// SPDX-License-Identifier: BSD-2-Clause

// JSON and text output, and what a request's arguments select.

#include <tuple>

#include <jansson.h>

#include "definitions/drend_load.h"
#include "expr/dr_xp_parser.h"
#include "render/dr_json_cwalker.h"
#include "render/dr_string_cwalker.h"
#include "render/dr_tags_access_context.h"
#include "render_fixture.h"
#include "service/dr_derived_filter.h"

namespace {

const std::vector<row_s> ROWS = {{"lo", 0, {{"a/b", 1}, {"it's", 2}}}, {"eth0", 7, {}}};

class json_test : public render_test {
  protected:
    json_test() {
        drend_add_list("/ifs/if", step_rows, &ROWS);
        drend_add_str_leaf("/ifs/if/name", read_name, nullptr);
        drend_add_int32_leaf("/ifs/if/index", read_number, nullptr);
        drend_add_list("/ifs/if/addr", step_rows_below, nullptr);
        drend_add_str_leaf("/ifs/if/addr/ip", read_name, nullptr);
        drend_add_int32_leaf("/ifs/if/addr/len", read_number, nullptr);
    }

    // The answer as JSON, which must parse.
    std::string render_json(const char* command, size_t flags = JSON_REJECT_DUPLICATES) {
        const std::string text = render(command, "as-json");
        json_error_t error;
        json_t* document = json_loads(text.c_str(), flags, &error);
        EXPECT_NE(document, nullptr) << error.text << " in:\n" << text;
        json_decref(document);
        return text;
    }
};

constexpr char IFS[] = R"([{"dc_name": "ifs", "dc_tag": {"dts_name": "top",
    "dts_style": ["terse detail"],
    "dts_input_kids": [{"dts_name": "name"}, {"dts_name": "ip"}, {"dts_name": "top"},
                       {"dts_name": "host"}, {"dts_name": "brief", "dts_style": ["brief"]}],
    "dts_kids": [{"dts_name": "if", "dts_type": "list", "dts_key": ["name"],
        "dts_source": "/ifs/if", "dts_kids": [
        {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
        {"dts_name": "pick", "dts_type": "choice", "dts_kids": [
            {"dts_name": "index", "dts_type": "leaf", "dts_source": "index",
             "dts_style": ["detail"]}]},
        {"dts_name": "addr", "dts_type": "list", "dts_source": "addr", "dts_key": ["ip"],
         "dts_kids": [
            {"dts_name": "ip", "dts_type": "leaf", "dts_source": "ip"},
            {"dts_name": "len", "dts_type": "leaf", "dts_source": "len",
             "dts_style": ["brief"]}]}]},
        {"dts_name": "system", "dts_kids": [{"dts_name": "host", "dts_type": "leaf"}]}]}}])";

} // namespace

TEST_F(json_test, containers_lists_and_leaves_become_objects_arrays_and_strings) {
    std::string definition = IFS;
    definition.insert(definition.find("\"dts_source\": \"index\""),
                      "\"dts_zero_suppression\": \"true\", "); // which is XML's alone
    define(definition);
    EXPECT_EQ(render_json("ifs"), R"({
  "top" : {
    "if" : [{
        "name" : "lo",
        "index" : "0",
        "addr" : [{
            "ip" : "a/b"
          },{
            "ip" : "it's"
          }]
      },{
        "name" : "eth0",
        "index" : "7",
        "addr" : []
      }]
  }
})");
    EXPECT_EQ(output.flushes, 1);
    EXPECT_EQ(render("ifs", "name=lo").find("<index>"), std::string::npos);
}

TEST_F(json_test, values_are_escaped) {
    static const std::string text =
        "q\"\\/\b\f\n\r\t\x01\x7f \xC3\xA9 \xE2\x82 \xED\xA0\x80";
    drend_add_str_leaf("/v", read_text, text.c_str());
    define(R"([{"dc_name": "c", "dc_tag": {"dts_name": "c", "dts_source": "/", "dts_kids": [
        {"dts_name": "v", "dts_type": "leaf", "dts_source": "v"}]}}])");
    EXPECT_EQ(render_json("c"),
              "{\n  \"c\" : {\n    \"v\" : \"q\\\"\\\\/\\b\\f\\n\\r\\t\\u0001"
              "\x7f \xC3\xA9 \uFFFD\uFFFD \uFFFD\uFFFD\uFFFD\"\n  }\n}");
}

TEST_F(json_test, below_a_hidden_root_the_answer_is_one_object) {
    const std::string get = R"({"dc_name": "g", "dc_tag": )";
    const std::string list =
        R"({"dts_name": "if", "dts_type": "list", "dts_source": "/ifs/if",
        "dts_kids": [{"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]}})";
    const std::string container = R"({"dts_name": "one", "dts_kids": [
        {"dts_name": "row", "dts_type": "list", "dts_source": "/ifs/if[name=eth0]",
         "dts_kids": [{"dts_name": "index", "dts_type": "leaf", "dts_source": "index"}]}]}})";
    define("[" + get + container + "," + get + list + "]");
    EXPECT_EQ(render_json("g"), R"({
  "one" : {
    "row" : [{
        "index" : "7"
      }]
  },
  "if" : [{
      "name" : "lo"
    },{
      "name" : "eth0"
    }]
})");
    EXPECT_EQ(render("g", "as-json filter=/none"), "");
}

TEST_F(json_test, a_command_that_is_a_list_prints_its_member_alone) {
    define(R"([{"dc_name": "l", "dc_tag": {"dts_name": "if", "dts_type": "list",
        "dts_source": "/ifs/if", "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}]}}])");
    EXPECT_EQ(render("l", "as-json"), "\n  \"if\" : [{\n      \"name\" : \"lo\"\n    },{\n"
                                      "      \"name\" : \"eth0\"\n    }]");
}

TEST_F(json_test, leaf_lists_leave_no_comma_for_rows_without_a_value) {
    drend_add_str_leaf(
        "/ifs/if/odd",
        [](dr_meta_context_s* ctx, const void*) {
            return read_number(ctx, nullptr) == 0 && drend_get_element_ref(ctx) == &ROWS[0]
                       ? static_cast<int>(DREND_SKIP_LEAF)
                       : read_name(ctx, nullptr);
        },
        nullptr);
    define(
        R"([{"dc_name": "c", "dc_tag": {"dts_name": "c", "dts_source": "/ifs", "dts_kids": [
        {"dts_name": "odd", "dts_type": "leaf-list", "dts_source": "if", "dts_kids": [
            {"dts_name": "__zor_leaf_list_value__", "dts_type": "leaf", "dts_source": "odd"}]},
        {"dts_name": "one", "dts_type": "leaf-list", "dts_source": "if[name=lo]", "dts_kids": [
            {"dts_name": "__zor_leaf_list_value__", "dts_type": "leaf",
             "dts_source": "name"}]}]}}])");
    EXPECT_EQ(render_json("c"), "{\n  \"c\" : {\n    \"odd\" : [\"eth0\"],\n"
                                "    \"one\" : [\"lo\"]\n  }\n}");
}

TEST_F(json_test, any_definition_gives_json_that_parses_and_closed_elements) {
    drend_add_str_leaf("/v", read_text, "v");
    const std::string value = R"("__zor_leaf_list_value__", "dts_source": "/v")";
    const std::string rows = R"("dts_source": "/ifs/if", "dts_key": ["name"], "dts_kids": [
        {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"}])";
    const std::string leaf = R"({"dts_name": "a", "dts_type": "leaf", "dts_source": "/v"})";
    const std::string b = R"({"dts_name": "b", "dts_kids": [)" + leaf + "]}";
    const auto top = [](const std::string& kids) {
        return R"("t", "dts_kids": [{"dts_name": )" + kids + "}]";
    };
    const struct {
        std::string tag; // from its name on
        const char* json;
        const char* xml;
    } cases[] = {
        // Internal tags: in JSON like any other.
        {R"("__zor_internal", "dts_kids": [)" + leaf + "," + b + "]",
         "{\n  \"__zor_internal\" : {\n    \"a\" : \"v\",\n    \"b\" : {\n"
         "      \"a\" : \"v\"\n    }\n  }\n}",
         "  <a>v</a>\n  <b>\n    <a>v</a>\n  </b>\n"},
        {top(R"("__zor_internal", "dts_type": "list", )" + rows),
         "{\n  \"t\" : {\n    \"__zor_internal\" : [{\n        \"name\" : \"lo\"\n"
         "      },{\n        \"name\" : \"eth0\"\n      }]\n  }\n}",
         "<t>\n    <name>lo</name>\n    <name>eth0</name>\n</t>\n"},
        // What stands in a leaf-list has no name.
        {top(R"("n", "dts_type": "leaf-list", "dts_source": "/ifs/if[name=lo]",
             "dts_kids": [)" +
             leaf + "," + b + R"(,{"dts_name": "l", "dts_type": "list", )" + rows + "}]"),
         "{\n  \"t\" : {\n    \"n\" : [\"v\",{\n          \"a\" : \"v\"\n        },[{\n"
         "            \"name\" : \"lo\"\n          },{\n            \"name\" : \"eth0\"\n"
         "          }]]\n  }\n}",
         "<t>\n  <n>\n    <a>v</a>\n    <b>\n      <a>v</a>\n    </b>\n    <l>\n"
         "      <name>lo</name>\n    </l>\n    <l>\n      <name>eth0</name>\n    </l>\n"
         "  </n>\n</t>\n"},
        // A hidden list: what its rows show, and no brackets.
        {R"("orvex-notification-root", "dts_type": "list", )" + rows,
         "{\n  \"name\" : \"lo\",\n  \"name\" : \"eth0\"\n}",
         "<name>lo</name>\n<name>eth0</name>\n"},
        // The value of a leaf-list where it is none.
        {top(value + R"(, "dts_type": "leaf"},)" + leaf.substr(0, leaf.size() - 1)),
         "{\n  \"t\" : {\n    \"a\" : \"v\"\n  }\n}", "<t>\n  v\n  <a>v</a>\n</t>\n"},
        {value + R"(, "dts_type": "leaf")", "", "v\n"},
        {value + R"(, "dts_kids": [)" + leaf + "," + b + "]",
         "{\n  \"a\" : \"v\",\n  \"b\" : {\n    \"a\" : \"v\"\n  }\n}",
         "  <a>v</a>\n  <b>\n    <a>v</a>\n  </b>\n"},
        {top(R"("n", "dts_type": "leaf-list", "dts_source": "/ifs/if", "dts_kids": [
             {"dts_name": )" +
             value + "}]"),
         "{\n  \"t\" : {\n    \"n\" : []\n  }\n}", ""},
        {value + R"(, "dts_type": "list", )" + rows,
         "{\n  \"name\" : \"lo\",\n  \"name\" : \"eth0\"\n}",
         "  <name>lo</name>\n  <name>eth0</name>\n"},
    };
    int number = 0;
    for (const auto& row : cases) {
        const std::string name = "c" + std::to_string(number++);
        define(R"([{"dc_name": ")" + name + R"(", "dc_tag": {"dts_name": )" + row.tag +
               "}}]");
        EXPECT_EQ(render(name.c_str()), row.xml) << row.tag;
        if (*row.json == '\0') {
            EXPECT_EQ(render(name.c_str(), "as-json"), "") << row.tag;
        } else {
            EXPECT_EQ(render_json(name.c_str(), 0), row.json) << row.tag;
        }
    }
}

TEST_F(json_test, names_are_escaped) {
    // Not by way of a file, which would not be loaded with such names.
    drend_add_str_leaf("/v", read_text, "v");
    drend_tag_c root("t", "/");
    drend_tag_c leaf("q\"\\\n\xFF", "v");
    leaf.dt_type = DT_TYPE_LEAF;
    for (drend_tag_c* tag : {&root, &leaf}) {
        tag->set_flags(DT_FLAG_SOURCE_CHILD);
    }
    root.dt_kids.push_back(&leaf);
    dr_tags_access_context_c walk(nullptr);
    dr_json_cwalker_c walker(walk, nullptr);
    walk.push_tag(&root);
    walk.get_value(&walker);
    EXPECT_EQ(output.text, "{\n  \"t\" : {\n    \"q\\\"\\\\\\n\uFFFD\" : \"v\"\n  }\n}");
}

TEST_F(json_test, keys_stand_ahead_of_their_row_or_else_in_their_place) {
    static std::string shy_rows; // the rows whose key cannot be read ahead
    static int reads;            // of such a key: ahead, in its place, and there once more
    drend_add_str_leaf(
        "/ifs/if/key",
        [](dr_meta_context_s* ctx, const void*) {
            const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
            const bool is_shy = shy_rows.find(row->name) != std::string::npos;
            return is_shy && reads++ % 3 < 2 ? DREND_DEFER
                                             : drend_set_string_value(ctx, "k");
        },
        nullptr);
    define(R"([{"dc_name": "c", "dc_tag": {"dts_name": "c", "dts_kids": [
        {"dts_name": "if", "dts_type": "list", "dts_source": "/ifs/if",
         "dts_key": ["key", "__zor_internal", "box", "none"], "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
            {"dts_name": "__zor_internal", "dts_type": "leaf", "dts_source": "name"},
            {"dts_name": "box", "dts_kids": [
                {"dts_name": "i", "dts_type": "leaf", "dts_source": "index"}]},
            {"dts_name": "key", "dts_type": "leaf", "dts_source": "key"}]}]}}])");
    // The key stands in one of two places.
    const auto xml_of = [](const row_s& row, const std::string& ahead,
                           const std::string& behind) {
        return "  <if>\n" + ahead + "    <name>" + row.name +
               "</name>\n    <box>\n      <i>" + std::to_string(row.number) +
               "</i>\n    </box>\n" + behind + "  </if>\n";
    };
    const auto json_of = [](const row_s& row, const std::string& ahead,
                            const std::string& behind) {
        return "{\n" + ahead + R"(        "__zor_internal" : ")" + row.name +
               "\",\n        \"name\" : \"" + row.name +
               "\",\n        \"box\" : {\n          \"i\" : \"" +
               std::to_string(row.number) + "\"\n        }" + behind + "\n      }";
    };
    const std::string xml_key = "    <key>k</key>\n";
    const std::string json_key = R"(        "key" : "k")";
    const std::tuple<const char*, bool, bool> cases[] = {{"", false, false},
                                                         {"lo", true, false},
                                                         {"eth0", false, true},
                                                         {"lo eth0", true, true}};
    for (const auto& [rows, first_is_shy, second_is_shy] : cases) {
        shy_rows = rows;
        std::string xml = "<c>\n";
        std::string json = "{\n  \"c\" : {\n    \"if\" : [";
        for (const row_s& row : ROWS) {
            const bool is_shy = &row == &ROWS[0] ? first_is_shy : second_is_shy;
            xml += is_shy ? xml_of(row, "", xml_key) : xml_of(row, xml_key, "");
            json += &row == &ROWS[0] ? "" : ",";
            json += is_shy ? json_of(row, "", ",\n" + json_key)
                           : json_of(row, json_key + ",\n", "");
        }
        EXPECT_EQ(render("c"), xml + "</c>\n") << rows;
        EXPECT_EQ(slices, 1 + first_is_shy + second_is_shy);
        EXPECT_EQ(render_json("c"), json + "]\n  }\n}") << rows;
        EXPECT_EQ(slices, 1 + first_is_shy + second_is_shy);
    }
}

TEST_F(json_test, a_decimal64_is_shown_alike_as_key_and_as_leaf) {
    static const char* const texts[] = {"0.5", "12.75", "-0.25", "text", "1.5", "unset"};
    static const std::vector<row_s> rows(std::size(texts));
    drend_add_list("/row", step_rows, &rows);
    drend_add_double_leaf(
        "/row/d",
        [](dr_meta_context_s* ctx, const void*) {
            const auto* row = static_cast<const row_s*>(drend_get_element_ref(ctx));
            const auto index = static_cast<size_t>(row - rows.data());
            const double number = strtod(texts[index], nullptr);
            return index < 3   ? drend_set_decimal64_value(ctx, number)
                   : index < 5 ? drend_set_string_value(ctx, texts[index])
                               : static_cast<int>(DREND_OK);
        },
        nullptr);
    std::string xml;
    std::string json;
    for (const char* shown :
         {"0.500", "12.750", "-0.250", "two", "1.5", "Conversion Error"}) {
        xml += "  <r>\n    <d>" + std::string(shown) + "</d>\n  </r>\n";
        json += std::string(json.empty() ? "" : ",") + "{\n        \"d\" : \"" + shown +
                "\"\n      }";
    }
    for (const char* key : {"none", "d"}) {
        define(R"([{"dc_name": ")" + std::string(key) + R"(", "dc_tag": {"dts_name": "c",
            "dts_kids": [{"dts_name": "r", "dts_type": "list", "dts_source": "/row",
                "dts_key": [")" +
               key + R"("], "dts_kids": [{"dts_name": "d", "dts_type": "leaf",
                    "dts_source": "d", "dts_data_type": "decimal64",
                    "dts_data_decimal64_fraction": 3,
                    "dts_map": [["text", "two"], ["*", "*"]]}]}]}}])");
        EXPECT_EQ(render(key), "<c>\n" + xml + "</c>\n");
        EXPECT_EQ(render_json(key), "{\n  \"c\" : {\n    \"r\" : [" + json + "]\n  }\n}");
    }
}

TEST_F(json_test, text_has_a_line_for_each_value) {
    define(IFS);
    define(R"([{"dc_name": "ls", "dc_tag": {"dts_name": "top", "dts_kids": [
        {"dts_name": "l", "dts_type": "leaf-list", "dts_source": "/ifs/if", "dts_kids": [
          {"dts_name": "__zor_leaf_list_value__", "dts_type": "leaf",
           "dts_source": "name"}]},
        {"dts_name": "if", "dts_type": "list", "dts_source": "/ifs/if", "dts_kids": [
          {"dts_name": "i", "dts_type": "leaf", "dts_source": "index"}]}]}}])");
    for (const auto& [command, text] :
         {std::pair("ifs", "top if name lo\ntop if index 0\ntop if addr ip a/b\n"
                           "top if addr len 1\ntop if addr ip it's\n"
                           "top if addr len 2\ntop if name eth0\ntop if index 7"),
          {"ls", "top l lo\ntop l eth0\ntop if i 0\ntop if i 7"}}) {
        const drend_tag_c* tag = dri_acquire_command_tag(command);
        {
            dr_tags_access_context_c context(nullptr);
            dr_string_cwalker_c walker(context);
            context.push_tag(tag);
            context.get_value(&walker);
            EXPECT_EQ(walker.text(), text);
        }
        dri_release_command_tag(tag);
    }
}

TEST_F(json_test, input_parameters_filter_and_select_a_style) {
    define(IFS);
    const auto names = [&](const char* arguments) {
        const std::string text = render("ifs", arguments);
        std::string found;
        for (const char* tag :
             {"<name>lo<", "<name>eth0<", "<ip>a/b<", "<ip>it's<", "<index>", "<len>"}) {
            found += text.find(tag) == std::string::npos ? "" : tag;
        }
        return found;
    };
    const struct {
        const char* arguments;
        const char* found;
    } cases[] = {
        {nullptr, "<name>lo<<name>eth0<<ip>a/b<<ip>it's<<index><len>"},
        {"", "<name>lo<<name>eth0<<ip>a/b<<ip>it's<<index>"}, // the tag's own last style
        {"brief", "<name>lo<<name>eth0<<ip>a/b<<ip>it's<<len>"},
        {"name=lo", "<name>lo<<ip>a/b<<ip>it's<<index>"},
        {"name=lo, brief", "<name>lo<<ip>a/b<<ip>it's<<len>"},
        {"name='lo' ip=a/b", "<name>lo<<ip>a/b<"},
        {"ip='it\\'s'", "<name>lo<<ip>it's<"}, // the step names addr, so index is hidden,
        {"ip=\"it's\"", "<name>lo<<ip>it's<"},
        {"name=\"x') or ('1'='1\"", ""}, // stays one literal
        {"name=lo\\", ""},               // no literal can hold it: never true
        {"top=x", "<name>lo<<name>eth0<<ip>a/b<<ip>it's<<index>"}, // the top tag's own name
        {"name=lo filter=/none", "<name>lo<<ip>a/b<<ip>it's<<index>"},
        {"filter=\"/top[*]//if[*][name='lo']\"", "<name>lo<<ip>a/b<<ip>it's<<index>"},
        {"filter=\"/top/if/addr[ip='a//b']\"", ""},
        {"filter=\"/top/if[name='[*]lo']\"", ""},
        {"unknown=1 'quoted", "<name>lo<<name>eth0<<ip>a/b<<ip>it's<<index>"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(names(row.arguments), row.found)
            << (row.arguments == nullptr ? "(null)" : row.arguments);
    }
    // An argument of another branch adds to the step that its depth has already.
    const drend_tag_c& tag = *dri_get_command_tag_by_name("ifs");
    const auto steps = [&](const char* arguments) {
        std::vector<dr_argument_s> args;
        dri_read_args(arguments, args);
        const dr_filter_t filter = dri_derive_wish(tag, args).filter;
        std::string text;
        for (const dr_filter_node_s* step = &filter->top(); !step->below.empty();) {
            step = step->below.front();
            dr_str_buf_c parsed;
            dri_xpath_dump(step->ways.at(0).parsed->steps(), parsed);
            text += "/" + step->ways[0].text + " " + parsed.c_str();
        }
        return text;
    };
    EXPECT_EQ(steps("host=x"), "/top top/system [ ( host = 'x' ) ] system[(host = 'x')]");
    EXPECT_EQ(steps("name=\"a'b\", host=x\\"),
              "/top top/if [ ( name = 'a\\'b' ) and ( host = 'x\\' ) ] "
              "if[(name = 'a'b')][(host = 'x\\')]");
}

TEST_F(json_test, a_request_that_comes_again_is_read_for_its_command) {
    const std::string tags = R"("dts_name": "top", "dts_kids": [
        {"dts_name": "if", "dts_source": "/ifs/if", "dts_type": "list", "dts_kids": [
            {"dts_name": "name", "dts_type": "leaf", "dts_source": "name"},
            {"dts_name": "index", "dts_type": "leaf", "dts_source": "index"}]}])";
    const auto command = [&](const std::string& name, const std::string& input) {
        return R"({"dc_name": ")" + name + R"(", "dc_tag": {)" + tags +
               R"(, "dts_input_kids": [{"dts_name": ")" + input + R"("}]}})";
    };
    const auto shows = [&](const char* name, const char* expected) {
        const std::string text = render(name, "name=lo index=7");
        EXPECT_NE(text.find(expected), std::string::npos) << text;
        EXPECT_EQ(text.find("<if>"), text.rfind("<if>")) << text;
    };
    define("[" + command("by-name", "name") + ", " + command("by-index", "index") + "]");
    for (int times = 0; times < 2; ++times) {
        shows("by-name", "<name>lo<");
        shows("by-index", "<name>eth0<");
    }
    redefine(0, "[" + command("by-name", "index") + "]");
    EXPECT_EQ(dri_reload_json(), 0);
    shows("by-name", "<name>eth0<");
}
