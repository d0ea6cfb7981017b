// JSON and text output, and what a request's arguments select.

#include <jansson.h>

#include "definitions/drend_load.h"
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
    std::string render_json(const char* command) {
        const std::string text = render(command, "as-json");
        json_error_t error;
        json_t* document = json_loads(text.c_str(), JSON_REJECT_DUPLICATES, &error);
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
    define(IFS);
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

TEST_F(json_test, text_has_a_line_for_each_value) {
    define(IFS);
    const drend_tag_c* tag = dri_acquire_command_tag("ifs");
    {
        dr_tags_access_context_c context(nullptr);
        dr_string_cwalker_c walker(context);
        context.push_tag(tag);
        context.get_value(&walker);
        EXPECT_EQ(walker.text(), "top if name lo\ntop if index 0\ntop if addr ip a/b\n"
                                 "top if addr len 1\ntop if addr ip it's\n"
                                 "top if addr len 2\ntop if name eth0\ntop if index 7");
    }
    dri_release_command_tag(tag);
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
    EXPECT_EQ(dri_derive_wish(tag, "host=x").filter, "/top/system[(host='x')]");
    EXPECT_EQ(dri_derive_wish(tag, "name=lo, host=x").filter,
              "/top/if[(name='lo') and (host='x')]");
}
