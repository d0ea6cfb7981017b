// SPDX-License-Identifier: BSD-2-Clause

// What is wrong with definitions, and where: each mistake with its finding.
#include "definitions/dr_findings.h"

#include <gmock/gmock.h>

#include "definition_files.h"
#include "definitions/dr_check.h"
#include "definitions/dr_json_places.h"
#include "definitions/dr_load_steps.h"
#include "definitions/dr_nearest.h"

namespace {

using testing::ElementsAre;

// The findings of one file, each without the file's name.
std::vector<std::string> findings_of(std::string text) {
    std::replace(text.begin(), text.end(), '`', '"');
    dr_daemon_context_c set;
    dr_findings_c findings;
    dri_read_definitions("f", text, set, findings);
    std::vector<std::string> lines;
    for (const dr_finding_s& finding : findings.all()) {
        lines.push_back(dri_finding_line(finding).substr(2));
    }
    return lines;
}

TEST(Findings, EachMistakeOfATagIsFoundWhereItStands) {
    struct case_s {
        const char* members;
        std::vector<std::string> findings;
    };
    const case_s cases[] = {
        {"`dts_source`:`s`", {}},
        {"`dts_sorce`:`s`",
         {"2:1: error: 'dts_sorce' is no member; did you mean "
          "'dts_source'? [unknown-member]"}},
        {"`remark`:`s`", {"2:1: warning: 'remark' is no member [unknown-member]"}},
        {"`dts_fid`:1,\n`dts_fid`:2",
         {"1:29: warning: a member is there more than once; the "
          "last one counts [repeated-member]"}},
        {"`dts_source`:7", {"2:14: error: dts_source is not a text [wrong-type]"}},
        {"`dts_presence`:true", {"2:16: error: dts_presence is not a text [wrong-type]"}},
        {"`dts_kids`:{}", {"2:12: error: dts_kids is not an array of tags [wrong-type]"}},
        {"`dts_kids`:[7]",
         {"2:13: error: dts_kids has an element that is not a tag "
          "[wrong-type]"}},
        {"`dts_style`:[`a`,7]",
         {"2:18: error: dts_style has an element that is not a text "
          "[wrong-type]"}},
        {"`dts_source`:`s`,\n `dts_type`:`lst`",
         {"3:13: error: dts_type: 'lst' is no word of it; did you mean 'list'? "
          "[unknown-word]"}},
        {"`dts_data_type`:`unit32`",
         {"2:17: error: dts_data_type: 'unit32' is no word of it; "
          "did you mean 'uint32'? [unknown-word]"}},
        {"`dts_is_mandatory`:`yes`",
         {"2:20: error: dts_is_mandatory: 'yes' is no word of it "
          "[unknown-word]"}},
        {"`dts_type`:`list`,`dts_source`:`l`,`dts_key`:[`nam`],\n"
         "`dts_kids`:[{`dts_name`:`name`}]",
         {"2:46: error: dts_key: no kid is called 'nam'; did you mean 'name'? "
          "[key-without-kid]"}},
        {"`dts_map`:[[`1`,`up`],[`2`,`down`,`x`],[`3`]]",
         {"2:23: error: dts_map has an element that is not two texts [bad-pair]",
          "2:40: error: dts_map has an element that is not two texts [bad-pair]"}},
        {"`dts_map`:[[`1`,`=val(`]]",
         {"2:11: error: '=val(' is a malformed expression "
          "[bad-expression]"}},
        {"`dts_type`:`list`",
         {"1:29: error: dts_type 'list' needs dts_source: it has no rows "
          "without it [missing-member]"}},
        {"`dts_data_type`:`decimal64`",
         {"1:29: error: dts_data_type 'decimal64' needs dts_data_decimal64_fraction: no "
          "value "
          "can be shown without it [missing-member]"}},
        {"`dts_data_type`:`decimal64`,`dts_data_decimal64_fraction`:19",
         {"2:59: error: dts_data_decimal64_fraction is 19, not 1 to 18 [out-of-range]"}},
        {"`dts_data_decimal64_fraction`:2",
         {"2:1: warning: dts_data_decimal64_fraction means something with the data type "
          "'decimal64' only [misplaced-member]"}},
        {"`dts_type`:`leaf`,`dts_source`:`s`,`dts_presence`:`x`",
         {"2:36: warning: dts_presence is for a container [misplaced-member]"}},
        {"`dts_kids`:[{`dts_name`:`k`},\n{`dts_name`:`k`}]",
         {"3:1: warning: /k: another kid has this name [repeated-kid]"}},
        {"`dts_type`:`leaf`,`dts_source`:`s`,`dts_align`:`rigth`,`dts_width`:0,"
         "`dts_column`:-1",
         {"2:48: error: dts_align: 'rigth' is no word of it; did you mean 'right'? "
          "[unknown-word]",
          "2:68: error: dts_width is 0, not 1 to 200 [out-of-range]",
          "2:83: error: dts_column is -1, not 1 to 1000 [out-of-range]"}},
        {"`dts_type`:`leaf`,`dts_source`:`s`,`dts_map`:[[`1`,`up`],[`2`,`down`]],\n"
         "`dts_state`:[[`up`,`god`],[`2`,`bad`],[`*`,`warning`]]",
         {"3:20: error: dts_state: 'god' is no word of it; did you mean 'good'? "
          "[unknown-word]",
          "3:13: warning: dts_state: dts_map never shows '2' [state-never-shown]"}},
        {"`dts_unit`:`s`,`dts_rows`:`blocks`",
         {"2:1: warning: dts_unit is for a leaf or leaf-list [misplaced-member]",
          "2:16: warning: dts_rows is for a list [misplaced-member]"}},
        {"`dts_kids`:[{`dts_name`:`a`,`dts_type`:`leaf-list`,`dts_source`:`a`,"
         "`dts_column`:2},\n"
         "{`dts_name`:`b`,`dts_type`:`leaf`,`dts_source`:`b`,`dts_column`:2}]",
         {"3:1: warning: /b: another kid has column 2 [repeated-column]"}},
    };
    for (const case_s& c : cases) {
        std::vector<std::string> found =
            findings_of("[{`dc_name`:`c`,   `dc_tag`:{`dts_name`:`t`,\n" +
                        std::string(c.members) + "}}]");
        for (std::string& line : found) { // where it is another tag, that is told
            const size_t owner = line.find("command 'c', tag t");
            ASSERT_NE(owner, std::string::npos) << line;
            const size_t kid = owner + strlen("command 'c', tag t");
            line.erase(owner,
                       (line[kid] == '/' ? kid : line.find(": ", owner) + 2) - owner);
        }
        EXPECT_EQ(found, c.findings) << c.members;
    }
}

TEST(Findings, EachMistakeOfAnEntryIsFoundWhereItStands) {
    EXPECT_THAT(
        findings_of("[{`dc_name`:`c`,`dc_help`:7,`dc_app_nam`:`a`,\n`dc_tag`:[]},\n 7,\n"
                    "{`dc_external_notify_name`:`n`,`dc_tag`:{`dts_name`:`a`,`dts_kids`:[\n"
                    "  {`dts_name`:`b`,`dts_kid`:[]}]}},\n"
                    "{`dc_notify_leaf`:`l`,`dc_internal_notify_name`:`no array`}]"),
        ElementsAre(
            "1:27: error: command 'c': dc_help is not a text [wrong-type]",
            "1:29: error: command 'c': 'dc_app_nam' is no member; did you mean "
            "'dc_app_name'? [unknown-member]",
            "2:10: error: command 'c': dc_tag is not a tag [wrong-type]",
            "3:2: error: Neither a command nor a notification, moving on to next "
            "entry [not-an-entry]",
            "5:19: error: notification 'n', tag a/b: 'dts_kid' is no member; did you "
            "mean 'dts_kids'? [unknown-member]",
            "6:49: error: notification 'l': dc_internal_notify_name is not an array "
            "of texts [wrong-type]"));
    EXPECT_THAT(findings_of("[\n {`dc_name` `c`}]"),
                ElementsAre("2:15: error: ':' expected near '\"c\"' [syntax]"));
    EXPECT_THAT(findings_of("\n {}"), ElementsAre("2:2: error: the root is not an array "
                                                  "[not-a-list]"));
}

// What an application says twice of an element has to be the same.
TEST(Findings, PartsOfAMergedSchemaAgreeOnWhatTheyShare) {
    struct case_s {
        const char* first;
        const char* later;
        const char* member; // empty: they agree
    };
    const case_s cases[] = {
        {"`dts_source`: `x`", "`dts_source`: `x`", ""},
        {"`dts_source`: `x`", "`dts_fid`: 7", ""},
        {"`dts_source`: `x`", "`dts_source`: `y`", "dts_source"},
        {"`dts_type`: `container`", "`dts_type`: `choice`", "dts_type"},
        {"`dts_type`: `list`, `dts_source`: `x`", "`dts_source`: `x`", "dts_type"},
        {"`dts_key`: [`k`]", "`dts_source`: `x`", "dts_key"},
        {"`dts_namespace`: `xmlns='a'`", "`dts_namespace`: `xmlns='b'`", "dts_namespace"},
        {"`dts_module`: `m`", "`dts_source`: `x`", "dts_module"},
        {"`dts_prefix`: `m`", "`dts_prefix`: `n`", "dts_prefix"},
        {"`dts_data_type`: `int8`", "`dts_data_type`: `int16`", "dts_data_type"},
        {"`dts_data_type`: `decimal64`, `dts_data_decimal64_fraction`: 1",
         "`dts_data_type`: `decimal64`, `dts_data_decimal64_fraction`: 2",
         "dts_data_decimal64_fraction"},
        {"`dts_map`: [[`1`, `a`]]", "`dts_map`: [[`1`, `a`]]", ""},
        {"`dts_map`: [[`1`, `a`]]", "`dts_map`: [[`1`, `b`]]", "dts_map"},
        {"`dts_map`: [[`1`, `a`]]", "`dts_source`: `x`", "dts_map"},
        {"`dts_presence`: `x`", "`dts_source`: `x`", "dts_presence"},
        {"`dts_zero_suppression`: `true`", "`dts_fid`: 7", "dts_zero_suppression"},
        {"`dts_is_mandatory`: `true`", "`dts_fid`: 7", "dts_is_mandatory"},
    };
    const auto entry = [](const char* members) {
        return "{`dc_name`:`get`,`dc_app_name`:`x`,`dc_tag`:{`dts_name`:`a`,\n`dts_kids`:["
               "{`dts_name`:`k`},\n{`dts_name`:`b`," +
               std::string(members) + "}]}}";
    };
    for (const case_s& c : cases) {
        std::string text = "[" + entry(c.first) + ",\n" + entry(c.later) + "]";
        std::replace(text.begin(), text.end(), '`', '"');
        dr_daemon_context_c set;
        dr_findings_c ignored;
        dr_findings_c findings;
        dri_read_definitions("f", text, set, ignored);
        dri_check_commands(set, findings);
        const std::string line =
            "f:6:1: warning: command 'get', tag a/b: " + std::string(c.member) +
            " is another one in f:3; the definition that is loaded first "
            "counts [filled-twice]";
        ASSERT_EQ(findings.all().size(), *c.member == '\0' ? 0U : 1U) << c.first;
        EXPECT_TRUE(findings.all().empty() || dri_finding_line(findings.all()[0]) == line)
            << dri_finding_line(findings.all()[0]);
    }
}

TEST(Findings, AsJson) {
    dr_finding_s finding{dr_rule_e::UNKNOWN_WORD, dr_severity_e::ERROR};
    finding.file = "a\"b";
    finding.place = {3, 7};
    finding.command = "c";
    finding.sentence = "s\n";
    EXPECT_EQ(
        dri_findings_json({finding}),
        "[\n {\"file\": \"a\\\"b\", \"line\": 3, \"column\": 7, \"severity\": \"error\", "
        "\"id\": \"unknown-word\", \"command\": \"c\", \"tag\": \"\", \"sentence\": "
        "\"s\\n\", \"nearest\": \"\"}\n]\n");
    EXPECT_EQ(dri_findings_json({}), "[\n]\n");
}

TEST(Places, OfEveryValue) {
    const std::string text =
        "[ {\"a\" : 1,\n\t\"\u00e9\": [true, \"\\\"]\"], \"a\":{}}\n,null ]";
    const dr_json_places_c places(text);
    const auto at = [&](uint32_t node) {
        return std::to_string(places.place(node).line) + ":" +
               std::to_string(places.place(node).column);
    };
    const uint32_t object = places.first(dr_json_places_c::ROOT);
    EXPECT_EQ(at(dr_json_places_c::ROOT), "1:1");
    EXPECT_EQ(at(object), "1:3");
    EXPECT_EQ(at(places.first(object)), "1:10");
    EXPECT_EQ(at(places.member(object, "a")), "2:26"); // the last one counts
    const uint32_t array = places.member(object, "\u00e9");
    EXPECT_EQ(places.name_place(array).column, 2U);
    EXPECT_EQ(at(array), "2:7");
    EXPECT_EQ(at(places.next(places.first(array))), "2:14");
    EXPECT_EQ(at(places.next(object)), "3:2");
    EXPECT_EQ(places.next(places.next(object)), dr_json_places_c::NONE);
    EXPECT_EQ(places.member(object, "b"), dr_json_places_c::NONE);
    EXPECT_EQ(at(dr_json_places_c::NONE), "0:0");
    const std::string long_line = "\n[" + std::string(3000, ' ') + "\"\u00e9\", 1]";
    const dr_json_places_c far(long_line);
    EXPECT_EQ(far.place(far.next(far.first(0))).column, 3007U);
}

TEST(Nearest, ByTheLettersThatDiffer) {
    struct case_s {
        const char* word;
        const char* nearest;
    };
    const case_s cases[] = {{"lst", "list"},           {"lsit", "list"}, {"liist", "list"},
                            {"laef", "leaf"},          {"", ""},         {"table", ""},
                            {"leaf_list", "leaf-list"}};
    for (const case_s& c : cases) {
        dr_nearest_c nearest(c.word);
        for (const char* known : {"leaf", "list", "leaf-list"}) {
            nearest.offer(known);
        }
        EXPECT_EQ(nearest.found(), c.nearest) << c.word;
    }
}

} // namespace
