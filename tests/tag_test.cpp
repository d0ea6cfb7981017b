// SPDX-License-Identifier: BSD-2-Clause

// Tags: value maps, searches by path, texts, and the contexts that requests run in.
#include "definitions/drend_tag.h"

#include "definition_files.h"
#include "definitions/dr_current_set.h"
#include "definitions/drend_tag_object.h"
#include "traced.h"

namespace {

class ValueMap : public testing::Test {
  protected:
    void map(const std::vector<std::pair<std::string, std::string>>& pairs) {
        tag.dt_map = std::make_shared<const dr_value_map_c>(pairs);
    }
    // status:text, "=" in front when it is an expression
    std::string translate_text(const char* text) {
        dr_str_buf_c buffer(text);
        bool is_expression = true;
        const int status = tag.translate_value(buffer.buf(), is_expression);
        return std::to_string(status) + (is_expression ? "=" : ":") + buffer.c_str();
    }
    std::string translate_typed(const char* text) {
        dr_value_c value;
        value.set_string(text);
        const dr_map_parts_t* expression = nullptr;
        const int status = tag.translate_value(value, expression);
        dr_str_buf_c buffer;
        return std::to_string(status) + (expression != nullptr ? "=" : ":") +
               value.c_str(buffer.buf());
    }

    traced_c traced{DREND_TRACE_WALK};
    drend_tag_c tag{"state", "state"};
};

TEST_F(ValueMap, FirstMatchInFileOrderWins) {
    EXPECT_EQ(translate_text("any"), "0:any");
    struct case_s {
        std::vector<std::pair<std::string, std::string>> pairs;
        const char* value;
        const char* expected;
    };
    const case_s cases[] = {
        {{{"1", "up"}, {"1", "never"}}, "1", "0:up"},
        {{{"1", "up"}}, "2", "-1:2"},
        {{{"1", "up"}}, "", "-1:"},
        {{{"*", "*"}}, "x", "0:x"},
        {{{"1", "up"}, {"*", "other"}, {"2", "never"}}, "2", "0:other"},
        {{{"1", "='a'+val('b')"}}, "1", "0=='a'+val('b')"},
        {{{"*", "*"}}, "=data", "0:=data"}, // what a daemon wrote is never an expression
        {{{"=", "plain"}}, "=", "0:plain"},
    };
    for (const case_s& c : cases) {
        map(c.pairs);
        EXPECT_EQ(translate_text(c.value), c.expected) << c.value;
        EXPECT_EQ(translate_typed(c.value), c.expected) << c.value;
    }
    map({{"1", "up"}});
    EXPECT_FALSE(tag.dt_map->has_wildcard());
    map({{"1", "up"}, {"*", "x"}});
    EXPECT_TRUE(tag.dt_map->has_wildcard());
}

TEST_F(ValueMap, TracesWhatItDid) {
    map({{"1", "up"}, {"2", "*"}});
    translate_text("1");
    translate_text("2");
    translate_text("3");
    translate_typed("1");
    translate_typed("2");
    translate_typed("3");
    EXPECT_EQ(traced_c::text, "DR_TAGS_ACCESS: mapped: 1 to up\n"
                              "DR_TAGS_ACCESS: mapped: 2 to *\n"
                              "DR_TAGS_ACCESS: mapped: not-translated 3\n"
                              "DR_TAGS_ACCESS: mapped: 1 to up\n"
                              "DR_TAGS_ACCESS: mapped: 2 to 2\n"
                              "DR_TAGS_ACCESS: mapped: not-translated 3\n");
}

TEST_F(ValueMap, AMalformedExpressionHasNoTerms) {
    map({{"1", "='a'+val('b')"}, {"2", "=val("}});
    EXPECT_EQ(tag.dt_map->find("1")->parts.size(), 2U);
    EXPECT_TRUE(tag.dt_map->find("2")->parts.empty());
}

// --- searches ---

class Search : public testing::Test {
  protected:
    // Two daemons share /a/b; `zebra` is the first in load order.
    Search() {
        files.read("[{`dc_name`:`get`,`dc_app_name`:`zebra`,`dc_message_id`:7,`dc_tag`:"
                   "{`dts_name`:`a`,`dts_kids`:[{`dts_name`:`b`,`dts_source`:`mb`,"
                   "`dts_kids`:[{`dts_name`:`c`},{`dts_name`:`e`}]}]}},"
                   "{`dc_name`:`get`,`dc_app_name`:`aaa`,`dc_tag`:{`dts_name`:`a`,"
                   "`dts_kids`:[{`dts_name`:`b`,`dts_kids`:[{`dts_name`:`d`}]}]}}]",
                   set);
        plain = set.commands[0]->dc_tag;
    }

    definition_files_c files;
    dr_daemon_context_c set;
    const drend_tag_c* plain;
};

TEST_F(Search, FindsATagByPath) {
    const std::pair<const char*, const char*> cases[] = {
        {"/", "a"},
        {"/b", "b"},
        {"/b/e", "e"},
        {"b/c", "c"},
        {"b//c/", "c"},
        {"b[x/y]/c", "c"},
        {"b[e='1' or z]/e", "e"},
        {"/b/no/c", ""},
        {"no", ""},
        {"", ""},
        {"b]/c", ""},
        {"b/c]", ""},
        {"b='1'", ""},
        {"b/'c", ""},
        {"[x]b", ""},
        {"b and c", ""},
        {"b c", "c"},
        {"b[x", "b"},
    };
    for (const auto& [path, expected] : cases) {
        const drend_tag_c* found = drend_tag_c::find_path(plain, path);
        EXPECT_EQ(found == nullptr ? "" : found->name(), expected) << path;
    }
    EXPECT_EQ(plain->find_child_from_mt_source("mb"), plain->find_child("b"));
    EXPECT_EQ(plain->find_child_from_mt_source("b"), nullptr);
}

TEST_F(Search, FindsOwnersByPath) {
    dri_merge_set(set);
    const drend_tag_c* merged = set.find_command("get")->dc_tag;
    struct case_s {
        const drend_tag_c* root;
        const char* path;
        int commands;
        int message_id;
        std::set<std::string> daemons;
    };
    const case_s cases[] = {
        {merged, "/a/b", 2, 7, {"aaa", "zebra"}},
        {merged, "a[x='1']/b", 2, 7, {"aaa", "zebra"}},
        {merged, "/a/b/c", 1, 7, {"zebra"}},
        {merged, "/a/b/d", 1, -1, {"aaa"}},
        {merged, "/", 2, 7, {"aaa", "zebra"}},
        {merged, "/a/no/c", -1, -1, {}},
        {merged, "/a]", -1, -1, {}},
        {plain, "/a/b/c", 1, 7, {"zebra"}}, // the first name is the root's own
        {plain, "/b/c", -1, -1, {}},
    };
    for (const case_s& c : cases) {
        std::set<drend_command_s*> commands;
        std::set<std::string> daemons;
        EXPECT_EQ(c.root->find_command_from_path(c.path, commands), c.commands) << c.path;
        EXPECT_EQ(c.root->find_message_id_from_path(c.path), c.message_id) << c.path;
        EXPECT_EQ(c.root->find_daemons_from_path(c.path, daemons), c.commands) << c.path;
        EXPECT_EQ(daemons, c.daemons) << c.path;
    }
    std::set<drend_command_s*> none;
    const drend_tag_c unowned("u", "");
    EXPECT_EQ(unowned.find_command_from_path("u", none), 0);
    EXPECT_EQ(unowned.find_message_id_from_path("u"), -1);
}

// --- texts ---

TEST(TagText, ResolvedWhenTheTagIsMade) {
    drend_tag_c tag("mtu", "../mtu");
    EXPECT_EQ(tag.open_text(), "<mtu>");
    EXPECT_EQ(tag.close_text(), "</mtu>\n");
    tag.set_namespace("xmlns='urn:x'");
    EXPECT_EQ(tag.xmlns(), " xmlns=\"urn:x\"");
    EXPECT_EQ(tag.open_text(), "<mtu xmlns=\"urn:x\">");
    EXPECT_EQ(tag.source_path().steps().size(), 2U);
    EXPECT_TRUE(drend_tag_c("x", "").source_path().steps().empty());
}

TEST_F(Search, DumpsTheTree) {
    EXPECT_EQ(dump_of(plain), "a {\n"
                              "  dt_type: 2, dt_data_type: 1, dt_flags: 1, apps: zebra\n"
                              "  b {\n"
                              "    dt_type: 2, dt_data_type: 1, dt_flags: 1, apps: \n"
                              "    source: mb\n"
                              "    c {\n"
                              "      dt_type: 2, dt_data_type: 1, dt_flags: 0, apps: \n"
                              "    }\n"
                              "    e {\n"
                              "      dt_type: 2, dt_data_type: 1, dt_flags: 0, apps: \n"
                              "    }\n"
                              "  }\n"
                              "}\n");
    dri_merge_set(set);
    EXPECT_TRUE(dump_of(set.find_command("get")->dc_tag)
                    .starts_with("__root__ {\n"
                                 "  dt_type: 2, dt_data_type: 1, dt_flags: 13, "
                                 "apps: aaa zebra\n"
                                 "  a {\n"));
}

TEST(ValueAsText, ADecimal64TagFormatsNumbers) {
    drend_tag_c decimal("d", "");
    decimal.dt_data_type = DT_DATA_DECIMAL64;
    decimal.dt_decimal64_fraction = 2;
    const drend_tag_c plain("p", "");
    const drend_tag_object_c decimal_object(&decimal);
    const drend_tag_object_c plain_object(&plain);
    EXPECT_EQ(dri_get_dto_count(), 2);
    const double half = 1.5;
    dr_value_c number;
    number.set_raw_value(DRV_DOUBLE, &half, sizeof half);
    dr_value_c word;
    word.set_string("word");
    dr_str_buf_c out;
    EXPECT_STREQ(number.get_value_as_string(&decimal_object, out.buf()), "1.50");
    EXPECT_STREQ(number.get_value_as_string(&plain_object, out.buf()), "1.500000e+00");
    EXPECT_STREQ(word.get_value_as_string(nullptr, out.buf()), "word");
    EXPECT_STREQ(dr_value_c().get_value_as_string(&decimal_object, out.buf()),
                 "Conversion Error");
}

} // namespace
