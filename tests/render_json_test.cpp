// SPDX-License-Identifier: BSD-2-Clause

// JSON and text output, and what a request's arguments select.

#include <utility>

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
        add_rows("/ifs/if", &ROWS, "name", "index");
        add_rows("/ifs/if/addr", nullptr, "ip", "len");
    }
};

constexpr char IFS[] = R"(top{
        style: [`terse detail`],
        input_kids: [{`dts_name`: `name`}, {`dts_name`: `ip`}, {`dts_name`: `top`},
                     {`dts_name`: `host`}, {`dts_name`: `brief`, `dts_style`: [`brief`]}]}(
    if*=/ifs/if{key: [`name`]}(
        name, pick?(index{style: [`detail`]}),
        addr*{key: [`ip`]}(ip, len{style: [`brief`]})),
    system(host=)))";

} // namespace

TEST_F(json_test, containers_lists_and_leaves_become_objects_arrays_and_strings) {
    std::string definition = IFS;
    definition.insert(definition.find("style: [`detail`]"),
                      "zero_suppression: `true`, "); // which is XML's alone
    define_tree("ifs", definition);
    EXPECT_EQ(render("ifs", "as-json"), R"({
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

TEST_F(json_test, text_has_a_line_for_each_value) {
    define_tree("ifs", IFS);
    define_tree("ls", "top(l**=/ifs/if(#=name), if*=/ifs/if(i=index))");
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
    define_tree("ifs", IFS);
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
    const auto command = [&](const std::string& name, const std::string& input) {
        return command_json(name, "top{input_kids: [{`dts_name`: `" + input +
                                      "`}]}(if*=/ifs/if(name, index))");
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
