// SPDX-License-Identifier: BSD-2-Clause

// Commands that take the tags of another one.
#include "definitions/dr_taken_trees.h"

#include <gmock/gmock.h>

#include "definition_files.h"
#include "definitions/dr_current_set.h"

namespace {

using testing::ElementsAre;

class TakenTrees : public testing::Test {
  protected:
    // What is found when a file is read and its commands have taken what they ask for.
    std::vector<std::string> take(const std::string& text) {
        EXPECT_EQ(files.read(text, set), 0);
        dr_findings_c findings;
        dri_take_trees(set, findings);
        set.index_names();
        std::vector<std::string> lines;
        for (const dr_finding_s& finding : findings.all()) {
            const std::string line = dri_finding_line(finding);
            lines.push_back(line.substr(line.find(".json:") + 6));
        }
        return lines;
    }
    std::string tree(const char* name) const {
        const drend_command_c* command = set.find_command(name);
        return command == nullptr ? "none" : names_of(command->dc_tag);
    }

    definition_files_c files;
    dr_daemon_context_c set;
};

TEST_F(TakenTrees, AreCopiesThatMergeByThemselves) {
    EXPECT_THAT(take("[{`dc_name`:`get`,`dc_app_name`:`a`,`dc_tag_of`:`far`},"
                     "{`dc_name`:`far`,`dc_app_name`:`a`,`dc_tag_of`:`one`},"
                     "{`dc_name`:`one`,`dc_app_name`:`a`,`dc_tag`:{`dts_name`:`t`,"
                     "`dts_style`:[`s`],`dts_input_kids`:[{`dts_name`:`i`}],"
                     "`dts_kids`:[{`dts_name`:`x`,`dts_source`:`x`,`dts_kids`:["
                     "{`dts_name`:`y`,`dts_source`:`y`}]}]}},"
                     "{`dc_name`:`two`,`dc_app_name`:`a`,`dc_tag`:{`dts_name`:`t`,"
                     "`dts_kids`:[{`dts_name`:`z`,`dts_source`:`z`}]}},"
                     "{`dc_name`:`get`,`dc_app_name`:`a`,`dc_tag_of`:`two`}]"),
                ElementsAre());
    EXPECT_EQ(tree("far"), "t(x(y))");
    const drend_tag_c* far = set.find_command("far")->dc_tag;
    EXPECT_NE(far->dt_kids[0]->dt_kids[0],
              set.find_command("one")->dc_tag->dt_kids[0]->dt_kids[0]);
    EXPECT_EQ(far->dt_styles, std::vector<std::string>{"s"});
    EXPECT_EQ(far->dt_input_kids.size(), 1U);
    EXPECT_TRUE(far->has_source_child());
    dri_merge_set(set);
    EXPECT_EQ(tree("get"), "__root__*(t*(x(y), z))");
    EXPECT_EQ(tree("one"), "t(x(y))");
    std::set<drend_command_s*> owners;
    EXPECT_EQ(set.find_command("get")->dc_tag->find_command_from_path("/t/x/y", owners), 1);
    EXPECT_STREQ((*owners.begin())->dc_name, "get-0");
}

TEST_F(TakenTrees, WhatCannotBeTakenIsFound) {
    EXPECT_THAT(
        take("[{`dc_name`:`show`,`dc_app_name`:`a`,`dc_tag`:{`dts_name`:`t`}},\n"
             "{`dc_name`:`b`,`dc_app_name`:`a`,`dc_tag_of`:`shaw`},\n"
             "{`dc_name`:`c`,`dc_app_name`:`other`,`dc_tag_of`:`show`},\n"
             "{`dc_name`:`d`,`dc_app_name`:`a`,`dc_tag_of`:`e`},\n"
             "{`dc_name`:`e`,`dc_app_name`:`a`,`dc_tag_of`:`f`},\n"
             "{`dc_name`:`f`,`dc_app_name`:`a`,`dc_tag_of`:`e`},\n"
             "{`dc_name`:`g`,`dc_app_name`:`a`,`dc_tag_of`:`b`},\n"
             "{`dc_name`:`h`,`dc_app_name`:`a`,`dc_tag_of`:`show`}]"),
        ElementsAre("2:46: error: command 'b': its application has no command 'shaw' with "
                    "tags; did you mean 'show'? [no-such-command]",
                    "3:50: error: command 'c': its application has no command 'show' with "
                    "tags [no-such-command]",
                    "4:46: error: command 'd': its tags would be its own [tree-of-itself]",
                    "5:46: error: command 'e': its tags would be its own [tree-of-itself]",
                    "6:46: error: command 'f': its tags would be its own [tree-of-itself]",
                    "7:46: error: command 'g': its application has no command 'shaw' with "
                    "tags; did you mean 'show'? [no-such-command]"));
    EXPECT_EQ(tree("h"), "t");
    EXPECT_EQ(tree("b") + tree("e"), "nonenone");
}

} // namespace
