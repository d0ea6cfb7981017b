// SPDX-License-Identifier: BSD-2-Clause

// The schema merge: definitions of one name become one tree.
#include <cstring>
#include <thread>

#include "definition_files.h"
#include "definitions/dr_current_set.h"
#include "definitions/drend_lookup.h"

namespace {

// A command with a tree written as "name" or "name=source" with kids in brackets: a(b=x,c(d)).
std::string tag_json(const char*& text) {
    const size_t length = strcspn(text, "(),");
    const std::string word(text, length);
    const size_t equals = word.find('=');
    std::string json = "{`dts_name`:`" + word.substr(0, equals) + "`";
    if (equals != std::string::npos) {
        json += ",`dts_source`:`" + word.substr(equals + 1) + "`";
    }
    text += length;
    if (*text == '(') {
        json += ",`dts_kids`:[";
        do {
            json += *text++ == ',' ? "," : "";
            json += tag_json(text);
        } while (*text == ',');
        ++text;
        json += "]";
    }
    return json + "}";
}

std::string command_json(const std::string& name, const char* tree,
                         const std::string& full = "") {
    return "{`dc_name`:`" + name + "`,`dc_full_command`:`" + full +
           "`,`dc_app_name`:`app`" +
           (tree == nullptr ? "" : ",`dc_tag`:" + tag_json(tree)) + "}";
}

class Merge : public testing::Test {
  protected:
    ~Merge() override { EXPECT_EQ(dri_inuse_count(), 0U); }

    void add(const std::string& name, const char* tree, const std::string& full = "") {
        ASSERT_EQ(files.read("[" + command_json(name, tree, full) + "]", set), 0);
    }
    // The names of all commands in load order.
    std::string commands() const {
        std::string names;
        for (const drend_command_c* command : set.commands) {
            names += std::string(names.empty() ? "" : " ") + command->dc_name;
        }
        return names;
    }
    const drend_tag_c* tree(const char* name) const {
        return set.find_command(name)->dc_tag;
    }

    definition_files_c files;
    dr_daemon_context_c set;
};

TEST_F(Merge, TwoFilesOfOneNameGiveThreeCommands) {
    add("get", "r(x=1(y))", "show r");
    add("other", "o");
    add("get", "r(x(z=2),w)", "show r too");
    dri_merge_set(set);
    EXPECT_EQ(commands(), "get-0 other get-1 get");
    const drend_command_c* combined = set.find_command("get");
    EXPECT_STREQ(combined->dc_full_command, "show r");
    EXPECT_STREQ(combined->dc_cli_command, "aggregator");
    EXPECT_STREQ(combined->dc_app_name, "");
    EXPECT_EQ(combined->dc_message_id, -1);
    EXPECT_EQ(names_of(combined->dc_tag), "__root__*(r*(x*(y, z), w))");
    EXPECT_TRUE(combined->dc_tag->is_hidden());
    EXPECT_TRUE(combined->dc_tag->has_source_child());
    EXPECT_EQ(
        combined->dc_tag->dt_merged_sources,
        (std::vector<drend_tag_c*>{set.commands[0]->dc_tag, set.commands[2]->dc_tag}));
    EXPECT_EQ(names_of(tree("get-1")), "r(x(z), w)");
}

TEST_F(Merge, ThreeFilesOfOneNameGiveFourCommands) {
    add("get", "a");
    add("get", "b");
    add("get", "c");
    dri_merge_set(set);
    EXPECT_EQ(commands(), "get-0 get-1 get-2 get");
    EXPECT_STREQ(set.find_command("get")->dc_full_command, "get");
    EXPECT_EQ(names_of(tree("get")), "__root__*(a, b, c)");
    const size_t tags = set.tags->size();
    dri_merge_set(set);
    EXPECT_EQ(commands(), "get-0 get-1 get-2 get");
    EXPECT_EQ(set.tags->size(), tags);
}

TEST_F(Merge, MergesTreesTagByTag) {
    struct case_s {
        std::vector<const char*> trees;
        const char* expected;
    };
    const case_s cases[] = {
        // A merged kid moves to the end of the list.
        {{"r(a,b,c)", "r(a)"}, "__root__*(r*(b, c, a*))"},
        {{"r(a,b)", "r(b,a)"}, "__root__*(r*(b*, a*))"},
        {{"r(a,b)", "r(a)", "r(b)", "r(a)"}, "__root__*(r*(a*, b*))"},
        // Kids of one name take turns: the first one found moves behind the other.
        {{"r(x,x,b)", "r(x)"}, "__root__*(r*(x, b, x*))"},
        {{"r(x,x,b)", "r(x)", "r(x)"}, "__root__*(r*(b, x*, x*))"},
        {{"r(x,x,b)", "r(x)", "r(x)", "r(x(n))"}, "__root__*(r*(b, x*(n), x*))"},
        {{"r(a)", "r(b,b(c))"}, "__root__*(r*(a, b*(c)))"},
        {{"r(k(l(m)))", "r(k(l(n)))", "s"}, "__root__*(r*(k*(l*(m, n))), s)"},
    };
    for (const case_s& c : cases) {
        dr_daemon_context_c own;
        for (const char* text : c.trees) {
            ASSERT_EQ(files.read("[" + command_json("n", text) + "]", own), 0);
        }
        dri_merge_set(own);
        EXPECT_EQ(names_of(own.find_command("n")->dc_tag), c.expected);
    }
}

TEST_F(Merge, SourcesAndFlagsComeTogether) {
    add("get", "r(a,b=1,c)");
    add("get", "r(a=2,b=3,d=4)");
    dri_merge_set(set);
    const drend_tag_c* r = tree("get")->find_child("r");
    EXPECT_EQ(r->find_child("a")->source(), "2");
    EXPECT_TRUE(r->find_child("a")->has_source_child());
    EXPECT_EQ(r->find_child("b")->source(), "1"); // its own stays
    EXPECT_FALSE(r->find_child("c")->has_source_child());
    EXPECT_TRUE(r->has_source_child());
    EXPECT_FALSE(tree("get-0")->find_child("a")->has_source_child());
}

TEST_F(Merge, CommandsWithoutATagTakeNoPart) {
    add("get", nullptr);
    add("get", "r(a)");
    dri_merge_set(set);
    EXPECT_EQ(commands(), "get get");
    EXPECT_EQ(names_of(tree("get")), "r(a)");
    add("get", "r(b)");
    dri_merge_set(set);
    EXPECT_EQ(commands(), "get get-0 get-1 get");
}

TEST_F(Merge, ALateDefinitionMakesANewTree) {
    add("get", "r(a(k),b)");
    add("get", "r(a(l))");
    dri_merge_set(set);
    const drend_tag_c* const in_force = tree("get");
    const std::string before = dump_of(in_force);
    dri_tags_add_inuse(in_force);
    add("get", "r(a(m),c)");
    dri_merge_set(set);
    EXPECT_EQ(names_of(tree("get")), "__root__*(r*(b, a*(k, l, m), c))");
    EXPECT_EQ(tree("get")->dt_merged_sources.size(), 3U);
    EXPECT_EQ(dump_of(in_force), before);
    EXPECT_TRUE(set.is_walked());
    dri_tags_delete_inuse(in_force);
    EXPECT_FALSE(set.is_walked());
    // The combined command stands before the new one and counts.
    EXPECT_EQ(commands(), "get-0 get-1 get get-1");
    add("more", "m");
    dri_merge_set(set);
    EXPECT_EQ(commands(), "get-0 get-1 get get-1 more");
}

TEST(MergeOwnership, NothingIsLeft) {
    const definition_files_c files;
    const int tags = dri_get_tag_count();
    {
        dr_daemon_context_c set;
        for (int i = 0; i < 5; ++i) {
            files.read("[" + command_json("n", "r(a(b(c)),d)") + "," +
                           command_json("n", ("r(a(b" + std::to_string(i) + "))").c_str()) +
                           "]",
                       set);
            dri_merge_set(set); // each time anew
        }
        EXPECT_GT(dri_get_tag_count(), tags);
    }
    EXPECT_EQ(dri_get_tag_count(), tags);
}

// --- the current set ---

class CurrentSet : public testing::Test {
  protected:
    CurrentSet() {
        dri_set_dir_path(files.directory().c_str());
        files.write("a.json", "[" + command_json("get", "r(a)") + "]");
        files.write("b.json", "[" + command_json("get", "r(b)") + "]");
        dri_load_dir(nullptr);
        dri_schema_merge();
    }
    ~CurrentSet() override {
        dri_release_daemon_context();
        dri_set_dir_path("");
        EXPECT_EQ(dri_get_set_count(), 0);
        EXPECT_EQ(dri_inuse_count(), 0U);
        EXPECT_EQ(dri_get_tag_count(), 0);
    }

    definition_files_c files;
};

TEST_F(CurrentSet, AReloadKeepsASetThatIsInUse) {
    const drend_tag_c* const walked = dri_acquire_command_tag("get");
    ASSERT_NE(walked, nullptr);
    EXPECT_EQ(dri_inuse_count(), 3U); // itself and two sources
    const std::string before = dump_of(walked);
    files.write("b.json", "[" + command_json("get", "r(b,c)") + "]");
    EXPECT_EQ(dri_reload_json(), 0);
    EXPECT_EQ(dri_get_set_count(), 2);
    EXPECT_TRUE(dri_retirement_waits());
    EXPECT_EQ(dri_reload_json(), 0);
    EXPECT_EQ(dri_get_set_count(), 2); // the one in between was not in use
    EXPECT_EQ(dump_of(walked), before);
    EXPECT_NE(names_of(dri_get_command_tag_by_name("get")).find("c"), std::string::npos);

    dri_tags_add_inuse(walked); // a second walk
    dri_release_command_tag(walked);
    EXPECT_EQ(dri_get_set_count(), 2);
    dri_release_command_tag(walked);
    EXPECT_EQ(dri_get_set_count(), 1);
    EXPECT_FALSE(dri_retirement_waits());
}

TEST_F(CurrentSet, AnEventsTagKeepsItsSetToo) {
    files.write("e.json", "[{`dc_external_notify_name`:`up`,`dc_internal_notify_name`:`i`,"
                          "`dc_tag`:{`dts_name`:`link`}}]");
    dri_reload_json();
    const drend_tag_c* const tag = dri_get_external_events("i")->at(0)->dc_tag;
    dri_tags_add_inuse(tag);
    dri_reload_json();
    EXPECT_EQ(dri_get_set_count(), 2);
    dri_release_command_tag(tag);
    EXPECT_EQ(dri_get_set_count(), 1);
}

TEST_F(CurrentSet, OtherThreadsReloadWhileTagsAreUsed) {
    std::thread reloader([] {
        for (int i = 0; i < 40; ++i) {
            dri_reload_json();
        }
    });
    for (int i = 0; i < 400; ++i) {
        const drend_tag_c* tag = dri_acquire_command_tag("get");
        ASSERT_EQ(names_of(tag).size(), strlen("__root__*(r*(a, b))"));
        dri_release_command_tag(tag);
    }
    reloader.join();
    EXPECT_EQ(dri_get_set_count(), 1);
}

} // namespace
