// SPDX-License-Identifier: BSD-2-Clause

// Finding and reading definition files: what is read, what is reported, what is left out.
#include <cstring>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "definition_files.h"
#include "definitions/dr_current_set.h"
#include "failing_memory.h"
#include "frame/str_util.h"
#include "repeated.h"
#include "traced.h"

namespace {

class Load : public testing::Test {
  protected:
    ~Load() override {
        drend_set_prefix("");
        dri_set_dir_path("");
    }

    // What reading one file prints on standard error.
    std::string report(const std::string& text, int status) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(files.read(text, set), status);
        return testing::internal::GetCapturedStderr();
    }
    // The tag of a command whose tag object has these members besides a name.
    const drend_tag_c* tag(const std::string& members) {
        const std::string comma = members.empty() ? "" : ",";
        EXPECT_EQ(
            files.read("[{`dc_name`:`c`,`dc_tag`:{`dts_name`:`t`" + comma + members + "}}]",
                       set),
            0);
        return set.commands.back()->dc_tag;
    }

    definition_files_c files;
    dr_daemon_context_c set;
};

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    return str_join(words, text, " ");
}

TEST_F(Load, WordsOfTypes) {
    const std::tuple<const char*, int, unsigned> types[] = {
        {"leaf", 1, 0},  {"container", 2, 0}, {"list", 3, 0}, {"leaf-list", 5, 0},
        {"empty", 6, 0}, {"choice", 2, 8},    {"case", 2, 8}, {"Leaf", 2, 0}};
    for (const auto& [word, type, flags] : types) {
        const drend_tag_c* t = tag("`dts_type`:`" + std::string(word) + "`");
        EXPECT_EQ(t->dt_type, type) << word;
        EXPECT_EQ(t->dt_flags, flags) << word;
    }
    const std::pair<const char*, int> data_types[] = {
        {"string", 1},     {"boolean", 2}, {"uint8", 3},  {"uint16", 4},
        {"uint32", 5},     {"uint64", 6},  {"int8", 7},   {"int16", 8},
        {"int32", 9},      {"int64", 10},  {"bits", 12},  {"binary", 13},
        {"decimal64", 11}, {"union", 16},  {"empty", 17}, {"other", 1}};
    for (const auto& [word, code] : data_types) {
        const drend_tag_c* t = tag("`dts_data_type`:`" + std::string(word) + "`");
        EXPECT_EQ(t->dt_data_type, code) << word;
        EXPECT_EQ(t->dt_decimal64_fraction, code == 11 ? 255 : 0) << word;
    }
}

TEST_F(Load, FlagsOfATag) {
    const std::pair<const char*, unsigned> cases[] = {
        {"`dts_source`:`s`", DT_FLAG_SOURCE_CHILD},
        {"`dts_presence`:`false`", DT_FLAG_PRESENCE},
        {"`dts_presence`:``", 0},
        {"`dts_presence`:true", 0},
        {"`dts_zero_suppression`:`true`,`dts_is_mandatory`:`true`",
         DT_FLAG_ZERO_SUPPRESSION | DT_FLAG_MANDATORY},
        {"`dts_zero_suppression`:`True`,`dts_is_mandatory`:`yes`", 0},
        {"`dts_name`:`__zor_internal_x`", DT_FLAG_INTERNAL},
        {"`dts_name`:`orvex-notification-root`", DT_FLAG_HIDDEN},
        {"`dts_kids`:[{`dts_name`:`k`,`dts_kids`:[{`dts_name`:`l`,`dts_source`:`s`}]}]",
         DT_FLAG_SOURCE_CHILD},
        {"`dts_kids`:[{`dts_name`:`__zor_leaf_list_value__`,`dts_source`:`.`}]", 0},
        {"`dts_input_kids`:[{`dts_source`:`s`}]", 0},
    };
    for (const auto& [members, flags] : cases) {
        EXPECT_EQ(tag(members)->dt_flags, flags) << members;
    }
}

TEST_F(Load, ListsTextsAndMaps) {
    const drend_tag_c* t = tag(
        "`dts_key`:[`a b`,5,` c `],`dts_style`:[`brief\\tdetail`],`dts_fid`:42,"
        "`dts_namespace`:`xmlns='u'`,`dts_module`:`ietf-u`,`dts_prefix`:`p`,"
        "`dts_map`:[[`1`,`up`],[`2`],[`3`,4],`5`,[`6`,`x`,`y`],[`*`,`*`]],"
        "`dts_kids`:[{`dts_name`:`a`},{`dts_name`:`c`},{`dts_name`:`d`},"
        "{`dts_name`:`__zor_leaf_list_value__`,`dts_prefix`:`q`,`dts_map`:[[`x`,`y`]]},7],"
        "`dts_input_kids`:[{`dts_name`:`i`,`dts_style`:[`wide`]},null]");
    EXPECT_EQ(joined(t->dt_keys), "a b c");
    EXPECT_EQ(joined(t->dt_styles), "brief detail");
    EXPECT_EQ(t->dt_fid, 42);
    EXPECT_EQ(t->xmlns(), " xmlns=\"u\"");
    EXPECT_EQ(t->dt_module, "ietf-u");
    ASSERT_EQ(t->dt_map->pairs().size(), 2U);
    EXPECT_EQ(t->dt_map->pairs()[0].to, "up");
    ASSERT_EQ(t->dt_kids.size(), 4U);
    EXPECT_TRUE(t->find_child("a")->isset_flag(DT_FLAG_KEY));
    EXPECT_TRUE(t->find_child("c")->isset_flag(DT_FLAG_KEY));
    EXPECT_FALSE(t->find_child("d")->isset_flag(DT_FLAG_KEY));
    EXPECT_EQ(t->dt_kids.back()->dt_map, t->dt_map);
    EXPECT_EQ(t->dt_kids.back()->dt_prefix, "p");
    ASSERT_EQ(t->dt_input_kids.size(), 1U);
    EXPECT_EQ(joined(t->dt_input_kids[0]->dt_styles), "wide");
}

TEST_F(Load, MembersOfAWrongTypeAreAbsent) {
    const drend_tag_c* t =
        tag("`dts_source`:[],`dts_namespace`:{},`dts_type`:2,`dts_fid`:`7`,"
            "`dts_key`:`k`,`dts_map`:{},`dts_kids`:{`dts_name`:`x`},`dts_unknown`:null");
    EXPECT_EQ(dump_of(t), dump_of(tag("")));
    EXPECT_EQ(t->dt_fid, -1);
    files.read("[{`dc_name`:`w`,`dc_message_id`:`5`,`dc_help`:[],`dc_tag`:[]}]", set);
    EXPECT_EQ(set.commands.back()->dc_message_id, -1);
    EXPECT_STREQ(set.commands.back()->dc_help, "");
    EXPECT_EQ(set.commands.back()->dc_tag, nullptr);
    EXPECT_EQ(set.find_command("w"), nullptr);
}

TEST_F(Load, CommandsAndNotifications) {
    EXPECT_EQ(
        report("[{`dc_name`:`n`,`dc_full_command`:`f`,`dc_cli_command`:`c`,"
               "`dc_cli_merge_tag`:`m`,`dc_top_of_output`:`t`,`dc_help`:`h`,"
               "`dc_app_name`:`a`,`dc_message_id`:9,`dc_external_notify_name`:`no`},"
               "{`dc_external_notify_name`:`e1`,`dc_internal_notify_name`:`i`,"
               "`dc_app_name`:`a`,`dc_namespace`:`x='1'`,`dc_tag`:{`dts_name`:`t`,"
               "`dts_input_kids`:[{}]}},"
               "{`dc_external_notify_name`:`e2`,`dc_internal_notify_name`:`i`,"
               "`dc_notify_leaf`:`no`},"
               "{`dc_notify_leaf`:`l`,`dc_internal_notify_name`:[`a`,`b`]},"
               "{`dc_notify_leaf`:`l`,`dc_internal_notify_name`:[`c`]},"
               "{`dc_notify_leaf`:`l`,`dc_internal_notify_name`:[`d`,1]},"
               "{`dc_notify_leaf`:`none`}]",
               0),
        files.directory() +
            "/one.json:1:156: warning: command 'n': 'dc_external_notify_name' is no "
            "member [unknown-member]\n" +
            files.directory() +
            "/one.json:1:402: warning: notification 'e2': 'dc_notify_leaf' is no member "
            "[unknown-member]\n" +
            files.directory() +
            "/one.json:1:592: error: notification 'l': dc_internal_notify_name has an "
            "element that is not a text [wrong-type]\n");
    ASSERT_EQ(set.commands.size(), 1U);
    const drend_command_c& c = *set.commands[0];
    EXPECT_EQ(joined({c.dc_name, c.dc_full_command, c.dc_cli_command, c.dc_cli_merge_tag,
                      c.dc_top_of_output, c.dc_help, c.dc_app_name}),
              "n f c m t h a");
    EXPECT_EQ(c.dc_message_id, 9);
    ASSERT_EQ(set.external_events["i"].size(), 2U);
    EXPECT_EQ(set.external_events["i"][0]->dc_namespace, " x=\"1\"");
    EXPECT_EQ(set.external_events["i"][0]->dc_tag->name(), "t");
    EXPECT_EQ(set.external_events["i"][1]->dc_external_notify_name, "e2");
    EXPECT_EQ(set.notification_leaves.size(), 1U);
    EXPECT_EQ(joined(set.notification_leaves["l"]), "a b c");
}

TEST_F(Load, WhatIsWrongIsReported) {
    const std::string path = files.write("one.json", "");
    struct case_s {
        const char* text;
        int status;
        std::string expected;
    };
    const std::string skipped = "json parse error in " + path + " at entry ";
    const std::string reason =
        ": Neither a command nor a notification, moving on to next entry";
    const case_s cases[] = {
        {"[{`dc_name`:`x`}", -1,
         "json load error: " + path + " : 1:16 - ']' expected near end of file\n"},
        {"", -1,
         "json load error: " + path + " : 1:0 - '[' or '{' expected near end of file\n"},
        {"{`dc_name`:`x`}", -1,
         path + ":1:1: error: the root is not an array [not-a-list]\n"},
        {"[{`dc_name`:5},7,{`dc_name`:`ok`}]", 0,
         skipped + "1" + reason + skipped + "2" + reason},
        {"[]", 0, ""},
    };
    for (const case_s& c : cases) {
        EXPECT_EQ(report(c.text, c.status), c.expected) << c.text;
    }
    ASSERT_EQ(set.commands.size(), 1U);
    EXPECT_STREQ(set.commands[0]->dc_name, "ok");
    testing::internal::CaptureStderr();
    EXPECT_EQ(dri_load_file("/no/such/file", set), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// --- what is no element ---

TEST_F(Load, WhatIsNoElementIsLeftOutWithItsKids) {
    struct case_s {
        const char* members;
        const char* tag; // as the line shows it
        const char* sentence;
    };
    const char no_attributes[] = "dts_namespace is no list of attributes [bad-namespace]";
    const char no_prefix[] = "dts_prefix is no text of an element [bad-text]";
    const case_s cases[] = {
        {"`dts_source`:`s`", "[2]", "an element needs a name [bad-name]"},
        {"`dts_name`:7", "[2]", "an element needs a name [bad-name]"},
        {"`dts_name`:`a b`", "a b", "'a b' is no name of an element [bad-name]"},
        {"`dts_name`:`1a`", "1a", "'1a' is no name of an element [bad-name]"},
        {"`dts_name`:`a\\``", "a\"", "'a\"' is no name of an element [bad-name]"},
        {"`dts_name`:`a\\\\`", "a\\", "'a\\' is no name of an element [bad-name]"},
        {"`dts_name`:`a:`", "a:", "'a:' is no name of an element [bad-name]"},
        {"`dts_name`:`a:b:c`", "a:b:c", "'a:b:c' is no name of an element [bad-name]"},
        {"`dts_name`:`\u00d7`", "\u00d7", "'\u00d7' is no name of an element [bad-name]"},
        {"`dts_name`:`a\\nfinish`", "a?finish",
         "'a?finish' is no name of an element [bad-name]"},
        {"`dts_name`:`a`,`dts_module`:`u:v`", "a",
         "dts_module: 'u:v' is no name of a module [bad-name]"},
        {"`dts_name`:`a`,`dts_module`:`u v`", "a",
         "dts_module: 'u v' is no name of a module [bad-name]"},
        {"`dts_name`:`a`,`dts_namespace`:`xmlns='u`", "a", no_attributes},
        {"`dts_name`:`a`,`dts_namespace`:`u`", "a", no_attributes},
        {"`dts_name`:`orvex-notification-root`,`dts_type`:`leaf`,`dts_namespace`:`u`",
         "orvex-notification-root", no_attributes}, // a leaf is always printed
        {"`dts_name`:`a`,`dts_namespace`:`x='1'y='2'`", "a", no_attributes},
        {"`dts_name`:`a`,`dts_namespace`:`x='1' x='2'`", "a", no_attributes},
        {"`dts_name`:`a`,`dts_namespace`:`x='<'`", "a", no_attributes},
        {"`dts_name`:`a`,`dts_namespace`:`x='&y'`", "a", no_attributes},
        {"`dts_name`:`a`,`dts_namespace`:`x='a\\`b'`", "a", no_attributes},
        {"`dts_name`:`a`,`dts_namespace`:`x='1'/><b`", "a", no_attributes},
        {"`dts_name`:`a`,`dts_prefix`:`<`", "a", no_prefix},
        {"`dts_name`:`a`,`dts_prefix`:`&`", "a", no_prefix},
        {"`dts_name`:`a`,`dts_prefix`:`&nbsp;`", "a", no_prefix},
        {"`dts_name`:`a`,`dts_prefix`:`&#xFFFE;`", "a", no_prefix},
        {"`dts_name`:`a`,`dts_prefix`:`]]>`", "a", no_prefix},
        {"`dts_name`:`a`,`dts_prefix`:`\\u0001`", "a", no_prefix},
        {"`dts_name`:`a`,`dts_style`:[`ok`,`\\``]", "a",
         "dts_style: '\"' is no text of an attribute [bad-text]"},
    };
    const std::string path = files.write("one.json", "");
    for (const case_s& c : cases) {
        const std::string printed = report(
            "[{`dc_name`:`c`,`dc_tag`:{`dts_name`:`t`,`dts_kids`:[{`dts_name`:`k`},{" +
                std::string(c.members) +
                ",`dts_kids`:[{`dts_name`:`below`}]},{`dts_name`:`rest`}]}}]",
            0);
        EXPECT_THAT(printed,
                    testing::EndsWith("error: command 'c', tag t/" + std::string(c.tag) +
                                      ": " + c.sentence + "\n"));
        EXPECT_THAT(printed, testing::StartsWith(path + ":1:"));
        EXPECT_EQ(names_of(set.commands.back()->dc_tag), "t(k, rest)") << c.members;
    }
}

TEST_F(Load, WhatIsAnElementStays) {
    const char* const cases[] = {
        "`dts_name`:`__root__`",
        "`dts_name`:`__zor_internal_x`",
        "`dts_name`:`__zor_leaf_list_value__`",
        "`dts_name`:`ex:\u00e9t\u00e9-1.0`",
        "`dts_name`:`twice`,`dts_style`:[`a`]},{`dts_name`:`twice`,`dts_style`:[`b`]",
        "`dts_type`:`choice`,`dts_kids`:[{`dts_type`:`case`}]", // not printed itself
        "`dts_name`:`a`,`dts_namespace`:` xmlns='u'  ex:b = '&lt;&#10;&#xe9;>' `",
        "`dts_name`:`a`,`dts_namespace`:`orvex:style='x'`", // the top has one of its own
        "`dts_name`:`a`,`dts_prefix`:`ex:&amp; >]] \\t'\\``",
        "`dts_name`:`a`,`dts_style`:[`brief`,`b&amp;c`]",
    };
    for (const char* members : cases) {
        const std::string kids = "{" + std::string(members) + "}";
        EXPECT_EQ(report("[{`dc_name`:`c`,`dc_tag`:{`dts_name`:`t`,`dts_kids`:[" + kids +
                             "],`dts_input_kids`:[{}]}}]",
                         0),
                  "");
        EXPECT_FALSE(set.commands.back()->dc_tag->dt_kids.empty()) << members;
        EXPECT_EQ(set.commands.back()->dc_tag->dt_input_kids.size(), 1U) << members;
    }
}

TEST_F(Load, AnEntryIsLeftOutWhenItsTopIs) {
    dri_set_taken_names([](const char* name) { return strcmp(name, "reload") == 0; });
    const std::string top = "`dts_name`:`t`,";
    const std::string deep = "{`dts_name`:`l`,`dts_kids`:[" +
                             repeated(9, "{`dts_name`:`m`,`dts_kids`:[") + "{}" +
                             repeated(9, "]}") + "]}";
    const std::string name = repeated(40, "\u00e9");
    const std::string printed = report(
        "[{`dc_name`:`reload`,`dc_tag`:{`dts_name`:`t`}},"
        "{`dc_name`:`c`,`dc_tag`:{" +
            top +
            "`dts_namespace`:`orvex:style='x'`}},"
            "{`dc_external_notify_name`:`n`,`dc_tag`:{}},"
            "{`dc_external_notify_name`:`m`,`dc_namespace`:`x`,`dc_tag`:{`dts_name`:`t`}},"
            "{`dc_name`:`p`,`dc_tag`:{" +
            top +
            "`dts_input_kids`:[{},{`dts_style`:[`<`]}],"
            "`dts_kids`:[{`dts_name`:`" +
            name + " `}," + deep + "]}}]",
        0);
    dri_set_taken_names(nullptr);
    const std::string place = files.directory() + "/one.json:1:";
    EXPECT_EQ(printed,
              place +
                  "13: error: command 'reload': a fixed command has this name "
                  "[taken-name]\n" +
                  place +
                  "105: error: command 'c', tag t: dts_namespace is no list of "
                  "attributes [bad-namespace]\n" +
                  place +
                  "165: error: notification 'n', tag [1]: an element needs a name "
                  "[bad-name]\n" +
                  place +
                  "215: error: notification 'm': dc_namespace is no list of "
                  "attributes [bad-namespace]\n" +
                  place +
                  "320: error: command 'p', tag t/[2]: dts_style: '<' is no text of "
                  "an attribute [bad-text]\n" +
                  place + "352: error: command 'p', tag t/" + repeated(32, "\u00e9") +
                  "...: '" + repeated(32, "\u00e9") +
                  "...' is no name of an element "
                  "[bad-name]\n" +
                  place + "677: error: command 'p', tag ..." + repeated(8, "/m") +
                  "/[1]: an element needs a name [bad-name]\n");
    ASSERT_EQ(set.commands.size(), 1U);
    EXPECT_EQ(names_of(set.commands[0]->dc_tag),
              "t(l(" + repeated(8, "m(") + "m" + repeated(8, ")") + "))");
    EXPECT_TRUE(set.external_events.empty());
}

TEST_F(Load, FindingsWithoutEndAreCounted) {
    const std::string printed =
        report("[{`dc_name`:`c`,`dc_tag`:{`dts_name`:`t`,`dts_kids`:[{}" +
                   repeated(200, ",{}") + "]}}]",
               0);
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 201);
    EXPECT_THAT(printed, testing::EndsWith("\n1 more findings\n"));
}

TEST_F(Load, TracesKidsAsTheyAreCompleted) {
    const traced_c traced(DREND_TRACE_LOAD);
    tag("`dts_kids`:[{`dts_name`:`k`,`dts_kids`:[{`dts_name`:`l`}]}],"
        "`dts_input_kids`:[{`dts_name`:`i`}]");
    EXPECT_EQ(traced_c::text, "DR_JSON: dri_load_tag: kid i\n"
                              "DR_JSON: dri_load_tag: kid l\n"
                              "DR_JSON: dri_load_tag: kid k\n");
}

TEST_F(Load, NestsAsDeepAsTheParserAllows) {
    constexpr int depth = 1000;
    std::string tree = repeated(depth, "`dts_name`:`k`,`dts_kids`:[{") +
                       "`dts_name`:`k`,`dts_source`:`s`" + repeated(depth, "}]");
    EXPECT_TRUE(tag(tree)->has_source_child());
    tag(tree);
    dri_merge_set(set);
    const std::string dump = dump_of(set.find_command("c")->dc_tag);
    EXPECT_NE(dump.find("\n" + std::string(2 * depth + 4, ' ') + "source: s\n"),
              std::string::npos);
    tree = repeated(2 * depth, "`dts_kids`:[{") + tree + repeated(2 * depth, "}]");
    EXPECT_NE(report("[{`dc_name`:`deep`,`dc_tag`:{" + tree + "}}]", -1)
                  .find("maximum parsing depth reached"),
              std::string::npos);
}

// --- files ---

TEST_F(Load, FindsFiles) {
    for (const char* name : {"app-1.json", "app_2.json", "app.3.json", "app.json",
                             "apple.json", "app-x.txt", "other.json"}) {
        files.write("opt/lib/render/" + std::string(name), "[]");
    }
    files.write("usr/lib/render/app-0.json", "[]");
    drend_set_prefix(files.directory().c_str());
    EXPECT_EQ(dri_prefix(), files.directory());
    const auto found = [&](auto&& find) {
        std::vector<std::string> paths;
        EXPECT_EQ(find(paths), 0);
        std::sort(paths.begin(), paths.end());
        for (std::string& path : paths) {
            path.erase(0, files.directory().size() + 1);
        }
        return joined(paths);
    };
    EXPECT_EQ(found([](auto& out) { return dri_get_all_files_by_pattern("app", out); }),
              "opt/lib/render/app-1.json opt/lib/render/app.3.json "
              "opt/lib/render/app_2.json usr/lib/render/app-0.json");
    EXPECT_EQ(found([](auto& out) { return drend_get_filenames(nullptr, "o*", out); }),
              "opt/lib/render/other.json");
    EXPECT_EQ(dri_resolve_filename("app.json"),
              files.directory() + "//opt/lib/render/app.json");
    EXPECT_EQ(dri_resolve_filename("none.json"), "none.json");
    const std::string usr = files.directory() + "/usr/lib/render";
    dri_set_dir_path(usr.c_str());
    EXPECT_EQ(found([](auto& out) { return drend_get_filenames(nullptr, "a*", out); }),
              "usr/lib/render/app-0.json");
    EXPECT_EQ(dri_resolve_filename("none.json"), usr + "/none.json");
    dr_daemon_context_c other;
    EXPECT_EQ(dri_load_file_ex("none.json", other), 0);
    const std::string opt = files.directory() + "/opt/lib/render";
    EXPECT_EQ(found([&](auto& out) { return drend_get_filenames(opt.c_str(), "o*", out); }),
              "opt/lib/render/other.json");
}

TEST_F(Load, ANameSelectsAnApplicationsFiles) {
    const std::string path = files.directory() + "/app";
    files.write("app.json", "[{`dc_name`:`own`}]");
    files.write("render/app-1.json", "[{`dc_name`:`one`}]");
    files.write("render/application.json", "[{`dc_name`:`no`}]");
    dri_set_dir_path((files.directory() + "/render").c_str());
    EXPECT_EQ(dri_get_command_tag_by_name("own"), nullptr); // nothing loaded yet
    EXPECT_EQ(dri_load_dir(path.c_str()), 0);
    EXPECT_EQ(dri_get_count(), 1U); // the pattern holds the name's directory too
    EXPECT_EQ(dri_reload_json(), 0);
    EXPECT_EQ(dri_get_count(), 1U); // the same application's
    EXPECT_EQ(dri_load_dir(nullptr), 0);
    EXPECT_EQ(dri_get_count(), 2U);
    dri_set_dir_path("/no/such/directory");
    EXPECT_EQ(dri_reload_json(), 0);
    EXPECT_EQ(dri_get_count(), 0U);
    EXPECT_EQ(dri_load_filename(
                  files.write("late.json", "[{`dc_name`:`l`,`dc_tag`:{`dts_name`:`t`}}]")
                      .c_str()),
              0);
    EXPECT_EQ(dri_load_filename("/no/such/file"), -1);
    EXPECT_NE(dri_get_command_tag_by_name("l"), nullptr);
    dri_release_daemon_context();
    EXPECT_EQ(dri_get_command_tag_by_name("l"), nullptr);
    EXPECT_EQ(dri_load_filename(path.c_str()), -1); // makes an empty set
    EXPECT_EQ(dri_get_count(), 0U);
    dri_release_daemon_context();
    EXPECT_EQ(dri_get_set_count(), 1); // this fixture's own
}

// --- what cannot be read ---

TEST_F(Load, OnlyRegularFilesAreRead) {
    const auto in_render = [this](const char* name) {
        return files.directory() + "/render/" + name;
    };
    files.write("render/a.json", "[{`dc_name`:`a`}]");
    files.write("elsewhere", "[{`dc_name`:`linked`}]");
    files.write("render/directory.json/b.json", "[{`dc_name`:`b`}]");
    mkfifo(in_render("pipe.json").c_str(), 0600);
    std::filesystem::create_symlink("../elsewhere", in_render("link.json").c_str());
    std::filesystem::create_symlink("nowhere", in_render("dangling.json").c_str());
    std::filesystem::create_symlink("loop.json", in_render("loop.json").c_str());
    dri_set_dir_path((files.directory() + "/render").c_str());
    for (int loaded = 0; loaded < 2; ++loaded) { // at the start, and when a set is current
        testing::internal::CaptureStderr();
        EXPECT_EQ(dri_load_merged(nullptr), 0);
        const std::string printed = testing::internal::GetCapturedStderr();
        for (const char* line :
             {"directory.json: error: is no regular file [no-regular-file]\n",
              "pipe.json: error: is no regular file [no-regular-file]\n",
              "dangling.json: error: a symbolic link that leads nowhere [dead-link]\n",
              "loop.json: error: a symbolic link that leads nowhere [dead-link]\n"}) {
            EXPECT_THAT(printed, testing::HasSubstr(in_render(line)));
        }
        EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 4);
        EXPECT_EQ(dri_get_count(), 2U);
    }
    dri_release_daemon_context();
}

TEST_F(Load, WhatCannotBeReadKeepsTheCurrentSet) {
    const std::filesystem::path outer = std::filesystem::current_path();
    std::filesystem::current_path(files.directory());
    files.write("app.json", "[{`dc_name`:`own`}]");
    files.write("render/app-1.json", "[{`dc_name`:`one`}]");
    dri_set_dir_path("render");
    std::filesystem::create_symlink("/proc/self/mem",
                                    "render/app-2.json"); // opens, and cannot be read
    const char error[] =
        "render/app-2.json: error: cannot be read: Input/output error [unreadable]\n";
    const auto load = [](auto&& function, int status, unsigned count) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(function(), status);
        EXPECT_EQ(dri_get_count(), count);
        return testing::internal::GetCapturedStderr();
    };
    const auto reload = [] { return dri_reload_json(); };
    // A start takes what there is.
    EXPECT_EQ(load([] { return dri_load_merged("app"); }, 0, 2), error);
    files.write("render/app-1.json", "[{`dc_name`:`one`},{`dc_name`:`two`}]");
    EXPECT_EQ(load(reload, -1, 2), error);
    std::filesystem::remove("render/app-2.json");

    const auto without_descriptors = [&] {
        rlimit before{};
        getrlimit(RLIMIT_NOFILE, &before);
        const rlimit none{0, before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &none);
        const int status = dri_reload_json();
        setrlimit(RLIMIT_NOFILE, &before);
        return status;
    };
    EXPECT_EQ(load(without_descriptors, -1, 2),
              "render: error: cannot be read: Too many open files [unreadable]\n"
              "app.json: error: cannot be read: Too many open files [unreadable]\n");
    EXPECT_EQ(load(reload, 0, 3), "");

    // What is not there is no error.
    std::filesystem::remove_all("render");
    EXPECT_EQ(load(reload, 0, 1), "");
    std::filesystem::remove("app.json");
    EXPECT_EQ(load(reload, 0, 0),
              "render: error: no file is called 'app[-_\\.]*.json' [no-file]\n");
    dri_release_daemon_context();
    std::filesystem::current_path(outer);
}

// --- memory that runs out ---

TEST_F(Load, MemoryThatRunsOutAnywhereKeepsTheCurrentSet) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    const char entry[] =
        "{`dc_name`:`a command with a long "
        "name`,`dc_tag`:{`dts_name`:`interfaces-of-this-host`,"
        "`dts_source`:`a/b`,`dts_map`:[[`1`,`='up'`]],`dts_key`:[`name`],"
        "`dts_kids`:[{`dts_name`:`k`}],`dts_input_kids`:[{`dts_name`:`i`}]}}";
    const std::string event = "{`dc_external_notify_name`:`e`,`dc_tag`:{`dts_name`:`t`}},"
                              "{`dc_notify_leaf`:`l`,`dc_internal_notify_name`:[`n`]}";
    const std::string taken =
        "{`dc_name`:`taken`,`dc_tag_of`:`a command with a long name`},";
    const std::string definitions = taken + entry + "," + entry + "," + event;
    files.write("all.json", "[" + definitions + "]");
    dri_set_dir_path(files.directory().c_str());
    EXPECT_EQ(dri_load_merged(nullptr), 0);
    const drend_tag_c* current = dri_get_command_tag_by_name("a command with a long name");
    const int tags = dri_get_tag_count();
    // The first text is as long as makes the parser need memory for its closing quote.
    files.write("all.json",
                "[{`fourteen_chars`:1},{`dc_name`:`new`},{`dc_name`:``,`dc_tag`:{}}," +
                    definitions + ",{},{`dc_name`:`last`}]");
    long failures = 0;
    for (bool has_failed = true; has_failed && !HasFailure(); failures += has_failed) {
        testing::internal::CaptureStderr();
        failing_allocation = failures + 1;
        const int status = dri_reload_json();
        has_failed = failing_allocation <= 0;
        failing_allocation = 0;
        const std::string printed = testing::internal::GetCapturedStderr();
        EXPECT_EQ(status, has_failed ? -1 : 0) << failures;
        if (has_failed) {
            EXPECT_THAT(printed, testing::EndsWith("render definitions: out of memory\n"));
            EXPECT_EQ(dri_get_command_tag_by_name("a command with a long name"), current);
            EXPECT_EQ(dri_get_count(), 4U) << failures;
            EXPECT_EQ(dri_get_tag_count(), tags) << failures;
            EXPECT_EQ(dri_get_set_count(), 2) << failures;
        }
    }
    EXPECT_GT(failures, 300);
    EXPECT_EQ(dri_get_count(), 6U);
    dri_release_daemon_context();
    EXPECT_EQ(dri_get_tag_count(), 0);
    EXPECT_EQ(dri_get_set_count(), 1); // this fixture's own
}

} // namespace
