// SPDX-License-Identifier: BSD-2-Clause

// Rules of docs/behaviour.md that no subsystem's own test proves.

#include <cstring>
#include <limits>
#include <tuple>
#include <utility>

#include "definitions/drend_load.h"
#include "failing_memory.h"
#include "frame/str_util.h"
#include "render/dr_tags_access_context.h"
#include "render/dr_xml_cwalker.h"
#include "render_fixture.h"

namespace {

std::string asked; // what the daemon's procedures were asked, in order

class behaviour_test : public render_test {
  protected:
    behaviour_test() { asked.clear(); }

    // A command "c" with these kids below a container "t" with the source "/".
    void define_kids(const std::string& kids) { define_tree("c", "t=/(" + kids + ")"); }
    std::string render_filtered(const std::string& filter) {
        asked.clear();
        return render("c", ("filter=\"" + filter + "\"").c_str());
    }
};

// A leaf that notes its name; its data is "name=value".
int read_noted(dr_meta_context_s* ctx, const void* data) {
    const std::string text = static_cast<const char*>(data);
    const size_t equals = text.find('=');
    asked += text.substr(0, equals) + " ";
    return drend_set_string_value(ctx, text.c_str() + equals + 1);
}

// A list of one row that notes its steps and what it may seek by.
int step_noted(dr_meta_context_s* ctx, const void*) {
    static int row;
    for (const char* name : {"a", "b"}) {
        if (const char* text = drend_get_filter_name(ctx, name)) {
            asked += std::string(name) + "?" + text + " ";
        }
    }
    asked += "list ";
    const bool given = drend_get_element_ref(ctx) != nullptr;
    drend_set_element_ref(ctx, given ? nullptr : &row);
    return given ? DREND_NO_EL : DREND_OK;
}

int note(dr_meta_context_s*, const void* data) {
    asked += static_cast<const char*>(data);
    return DREND_ERR; // the results of enter and exit procedures are not looked at
}

int empty_texts;

int count_empty(void*, const char* format, ...) {
    va_list args;
    va_start(args, format);
    empty_texts += *va_arg(args, const char*) == '\0' ? 1 : 0;
    va_end(args);
    return 0;
}

} // namespace

// --- frame --------------------------------------------------------------------------------

TEST_F(behaviour_test, a_failing_formatter_adds_only_what_it_wrote) {
    drend_set_vsnprintf([](char*, unsigned, const char*, va_list) { return -1; });
    std::string text = "kept";
    str_append(text, "%s", "lost");
    drend_set_vsnprintf(nullptr);
    EXPECT_EQ(text, "kept");
}

TEST_F(behaviour_test, no_empty_text_is_sent) {
    empty_texts = 0;
    drend_set_send_method_w_return(count_empty);
    drend_add_str_leaf("/a", read_text, "");
    define_kids("a");
    drend_chars_sent_reset();
    render("c"); // with elements at the margin, where the indentation is nothing
    render("c", "as-json");
    EXPECT_GT(drend_chars_sent_reset(), 0);
    EXPECT_EQ(empty_texts, 0);
}

// --- data model ---------------------------------------------------------------------------

TEST_F(behaviour_test, a_source_through_a_list_steps_to_no_row) {
    drend_add_list("/row", step_noted, nullptr);
    drend_add_str_leaf(
        "/row/a",
        [](dr_meta_context_s* ctx, const void*) {
            asked += drend_get_element_ref(ctx) == nullptr ? "no row" : "a row";
            return static_cast<int>(DREND_ERR);
        },
        nullptr);
    define_kids("a=row/a");
    EXPECT_EQ(render("c"), "");
    EXPECT_EQ(asked, "no row");
}

TEST_F(behaviour_test, who_entered_exits) {
    for (const auto& [path, in, out] :
         {std::tuple("/x", "+x", "-x"), std::tuple("/x/y", "+y", "-y")}) {
        drend_add_enter(path, note, in);
        drend_add_exit(path, note, out);
    }
    drend_add_str_leaf("/x/a", read_noted, " a=1");
    define_kids("n=x(n=.(a), n=(a), n=y(n=..(a)), a)");
    render("c");
    EXPECT_EQ(asked, "+x a  a +y a -y a -x");
}

// --- definitions --------------------------------------------------------------------------

TEST_F(behaviour_test, quotes_in_literals_survive_the_cutting_of_a_filter) {
    static const std::vector<row_s> rows = {{"it's", 1}, {"say \"x\"", 2}, {"a/b]", 3}};
    add_rows("/row", &rows);
    define_kids("r*=row(name, number)");
    const struct {
        const char* argument;
        const char* number;
    } cases[] = {{R"(filter="/t/r[name='it\'s']/number")", "1"},
                 {R"(filter='/t/r[name="it\'s"]/number')", "1"},
                 {R"(filter="/t/r[name='say \"x\"']/number")", "2"},
                 {R"(filter="/t/r[name='a/b]']/number")", "3"}};
    for (const auto& row : cases) {
        EXPECT_EQ(render("c", row.argument), std::string("<t>\n  <r>\n    <number>") +
                                                 row.number + "</number>\n  </r>\n</t>\n")
            << row.argument;
    }
}

TEST_F(behaviour_test, a_dump_names_one_application_for_each_owner) {
    const std::string entry = command_json("c", "t()", R"("dc_app_name": "app")");
    define("[" + entry + "," + entry + "]");
    dri_dump_render_tree(nullptr, "c");
    EXPECT_EQ(output.text.substr(0, output.text.find("  t {")),
              "__root__ {\n  dt_type: 2, dt_data_type: 1, dt_flags: 12, apps: app app\n");
}

// --- walk ---------------------------------------------------------------------------------

namespace {

// One row of four noted leaves: a, b, m behind a map that has no answer, d that defers once.
constexpr char NOTED_ROW[] =
    "r*=row{key: [`b a`]}(a, pick?(way!(d)), b, m{map: [[`2`, `two`]]})";

class noted_row_test : public behaviour_test {
  protected:
    noted_row_test() {
        drend_add_list("/row", step_noted, nullptr);
        drend_add_str_leaf("/row/a", read_noted, "a=1");
        drend_add_str_leaf("/row/b", read_noted, "b=2");
        drend_add_str_leaf("/row/m", read_noted, "m=3");
        drend_add_str_leaf(
            "/row/d",
            [](dr_meta_context_s* ctx, const void*) {
                return asked.find("d ") == std::string::npos ? (asked += "d ", DREND_DEFER)
                                                             : read_noted(ctx, "d=4");
            },
            nullptr);
        define_kids(NOTED_ROW);
    }
};

constexpr char ROW[] =
    "<t>\n  <r>\n    <b>2</b>\n    <a>1</a>\n        <d>4</d>\n  </r>\n</t>\n";

} // namespace

TEST_F(noted_row_test, keys_are_read_once_ahead_of_a_row_in_their_order) {
    EXPECT_EQ(render("c"), ROW);
    EXPECT_EQ(asked, "list b a a d d b m list ");
}

TEST_F(noted_row_test, look_ups_read_both_operands_and_never_suspend) {
    const struct {
        const char* predicate;
        const char* reads;
        bool matches;
    } cases[] = {
        {"(a='1') or (b='2')", "a b ", true},
        {"(a='0') and (b='2')", "a b ", false},
        {"d=''", "d ", true}, // it deferred: no value
        {"d='4'", "d ", false},
        {"m='3'", "m ", false}, // no match in its map: no value
        {"m=''", "m ", true},
        {"pick=''", "", true}, // no leaf
    };
    for (const auto& row : cases) {
        const std::string text =
            render_filtered("/t/r[" + std::string(row.predicate) + "]");
        EXPECT_EQ(!text.empty(), row.matches) << row.predicate;
        EXPECT_EQ(asked.substr(asked.find("list ") + 5, strlen(row.reads)), row.reads)
            << row.predicate;
    }
}

TEST_F(noted_row_test, a_list_as_a_whole_is_judged_by_its_name_only) {
    const struct {
        const char* predicates;
        const char* until_first_step; // "": the list is not even begun
    } cases[] = {
        {"[local_name()='other']", ""},
        {"[ local_name ( ) = 'other' ]", ""},
        {"[local_name()='other'][a='1']", ""}, // each on its own
        {"[(local_name()='other') and (a='1')]", "a?1 list "},
        {"[local_name()='r']", "list "},
        {"[a='9'][b='8']", "a?9 b?8 list "},
        {"[contains(a,'z')]", "list "},
        {"['']", "list "},
    };
    for (const auto& row : cases) {
        render_filtered("/t/r" + std::string(row.predicates));
        EXPECT_EQ(asked.substr(0, asked.find("list ") + 5), row.until_first_step)
            << row.predicates;
    }
}

// The same step is asked of lists that have other kids, or the same ones elsewhere, in turn; and
// what a word leads to may come into being between two rows.
TEST_F(behaviour_test, words_lead_to_the_kids_of_the_element_that_is_judged) {
    static const row_s groups[] = {{"g", 0, {{"1", 5}, {"5", 1}}},
                                   {"h", 0, {{"5", 5}, {"1", 1}}}};
    static const std::vector<row_s> table(std::begin(groups), std::end(groups));
    static bool registers_late = false;
    const auto step = [](dr_meta_context_s* ctx, const void* data) {
        if (registers_late && drend_get_element_ref(ctx) != nullptr) {
            drend_add_str_leaf("/t/g/a/late", read_text, "now");
        }
        return step_rows_below(ctx, data);
    };
    drend_add_list("/t/g", step_rows, &table);
    for (const std::string list : {"/t/g/a", "/t/g/b"}) {
        drend_add_list(list.c_str(), step, nullptr);
        drend_add_str_leaf((list + "/name").c_str(), read_name, nullptr);
        drend_add_int32_leaf((list + "/number").c_str(), read_number, nullptr);
    }
    define_tree("c", "t=/t(g*(a*(x=name, y=number, choice?(z=late)), b*(only=name, "
                     "choice?(case!(x=none), case!(x=number)))))");
    const auto found = [&](const std::string& predicate) {
        const std::string text =
            render("c", ("filter=\"/t/g/[" + predicate + "]\"").c_str());
        std::string digits;
        std::copy_if(text.begin(), text.end(), std::back_inserter(digits),
                     [](char c) { return isdigit(static_cast<unsigned char>(c)) != 0; });
        return digits;
    };
    // In "a" x is the name, in "b" the number: of the first case that has one.
    EXPECT_EQ(found("x='1'"), "15"
                              "51"
                              "11"
                              "11");
    EXPECT_EQ(found("only='5'"), "51"
                                 "55");
    EXPECT_EQ(found("y > 2"), "15"
                              "55");
    EXPECT_EQ(found("z='now'"), "");
    registers_late = true;
    EXPECT_EQ(found("z='now'"), "51"
                                "55"
                                "11");
}

TEST_F(behaviour_test, look_ups_give_what_is_shown_and_val_what_the_daemon_set) {
    static double number = 7;
    drend_add_double_leaf(
        "/d",
        [](dr_meta_context_s* ctx, const void*) {
            return drend_set_decimal64_value(ctx, number);
        },
        nullptr);
    drend_add_int32_leaf(
        "/n",
        [](dr_meta_context_s* ctx, const void*) { return drend_set_int32_value(ctx, 7); },
        nullptr);
    drend_add_str_leaf("/t", read_text, "1.5");
    const int statuses[] = {DREND_OK, DREND_DEFER, DREND_ERR};
    for (const int& status : statuses) {
        drend_add_str_leaf(("/u" + std::to_string(status)).c_str(),
                           [](dr_meta_context_s*, const void* data) {
                               return *static_cast<const int*>(data);
                           },
                           &status);
    }
    const std::string fraction = "data_type: `decimal64`, data_decimal64_fraction: 2";
    const std::string unset = "{map: [[`DREND_ERR`, `x`], [`*`, `x`]]}, ";
    define_kids("d{" + fraction + "}, t{" + fraction + "}, sum=d{" + fraction +
                ", map: [[`*`, `='1'+val('../n')+'0'`]]}, " + "u=u0" + unset + "v=u1" +
                unset + "w=u-1" + unset +
                "unset=n{map: [[`*`, `=val('../u0')`]]}, defers=n{map: [[`*`, "
                "`=val('../u1')`]]}, n");
    dr_tags_access_context_c walk(nullptr);
    walk.push_tag(dri_get_command_tag_by_name("c"));
    const std::tuple<const char*, const char*, const char*> cases[] = {
        // what a look-up gives, and what it gives raw; null: nothing
        {"d", "7.00", "7.000000e+00"},  {"t", "1.5", "1.5"},
        {"sum", "170", "7.000000e+00"}, {"n", "7", "7"},
        {"u", nullptr, nullptr},        {"v", nullptr, nullptr},
        {"w", nullptr, nullptr},        {"unset", nullptr, "7"},
        {"defers", nullptr, "7"},
    };
    for (const auto& [name, shown, raw] : cases) {
        for (const auto& [is_raw, text] : {std::pair(false, shown), std::pair(true, raw)}) {
            walk.set_raw_values(is_raw);
            dr_str_buf_c found;
            EXPECT_EQ(walk.get_leaf_value(name, found),
                      text == nullptr ? DREND_ERR : DREND_OK)
                << name;
            EXPECT_STREQ(found, text == nullptr ? "" : text) << name;
        }
    }
    EXPECT_EQ(render_filtered("/t[(sum='170') and (u='')]/sum"),
              "<t>\n  <sum>170</sum>\n</t>\n");
    EXPECT_EQ(render_filtered("/t/unset"), "");
    EXPECT_EQ(render_filtered("/t/defers"), "");
    EXPECT_EQ(slices, 1);
}

TEST_F(behaviour_test, presence_counts_for_containers_only) {
    drend_add_list("/row", step_noted, nullptr);
    drend_add_str_leaf("/no", read_text, "false");
    define_kids("r*=row{presence: `yes`}(x=nowhere), l=no{presence: `yes`}");
    EXPECT_EQ(render("c"), "<t>\n  <l>false</l>\n</t>\n");
}

TEST_F(behaviour_test, a_dynamic_container_may_mark_its_place_by_rows_of_its_own) {
    // Ends with DREND_NO_EL, or with the row's own reference: inherited, it marks no place.
    static bool says_so;
    static const std::vector<row_s> rows = {
        {"outer", 1, {{"c", 3}, {"gone", 0}, {"a", 1}}}};
    drend_add_list("/row", step_rows, &rows);
    drend_add_cont_cb(
        "/row/stats",
        [](dr_meta_context_s* ctx, const void*) {
            const auto* row = static_cast<row_s*>(drend_get_element_ref_offset(ctx, 1));
            const auto* at = static_cast<row_s*>(drend_get_element_ref(ctx));
            const row_s* next = at == row ? row->below.data() : at + 1;
            if (next == row->below.data() + row->below.size()) {
                if (says_so) {
                    return static_cast<int>(DREND_NO_EL);
                }
                next = row;
            }
            drend_set_attribute_name(ctx, next->name.c_str());
            drend_set_element_ref(ctx, const_cast<row_s*>(next));
            return static_cast<int>(DREND_OK);
        },
        nullptr);
    for (const char* leaf : {"a", "b", "c"}) {
        drend_add_int32_leaf((std::string("/row/stats/") + leaf).c_str(), read_number,
                             nullptr);
    }
    define_kids("r*=row(s=stats(a, b, c, gone))");
    for (const bool ending : {false, true}) {
        says_so = ending;
        EXPECT_EQ(render("c"), "<t>\n  <r>\n    <s>\n      <c>3</c>\n      <a>1</a>\n"
                               "      <b>1</b>\n    </s>\n  </r>\n</t>\n");
    }
}

namespace {

// Marks a place and names no child, or the one that its data names.
int mark_ten(dr_meta_context_s* ctx, const void* data) {
    static const char places[10] = {};
    void* at = nullptr;
    drend_get_attribute_ref(ctx, &at);
    const char* next = at == nullptr ? places : static_cast<const char*>(at) + 1;
    asked += "*";
    EXPECT_LT(asked.size(), 1000U);
    if (next == std::end(places) || asked.size() >= 1000) {
        return DREND_NO_EL;
    }
    drend_set_attribute_name(ctx, static_cast<const char*>(data));
    drend_set_attribute_ref(ctx, const_cast<char*>(next));
    return DREND_OK;
}

} // namespace

TEST_F(behaviour_test, a_place_without_a_name_is_no_kids) {
    drend_add_cont_cb("/unnamed", mark_ten, nullptr);
    drend_add_cont_cb("/empty", mark_ten, "");
    drend_add_str_leaf("/v", read_text, "1");
    define_kids("unnamed=unnamed(group(a=/v)), empty=empty(group(a=/v))");
    const std::string content = "    <group>\n      <a>1</a>\n    </group>\n";
    EXPECT_EQ(render("c"), "<t>\n  <unnamed>\n" + content + "  </unnamed>\n  <empty>\n" +
                               content + "  </empty>\n</t>\n");
    EXPECT_EQ(asked.size(), 4 * 11U); // by each container and by its group
}

TEST_F(behaviour_test, a_name_given_many_times_is_remembered_once) {
    SKIP_UNLESS_ALLOCATIONS_FAIL();
    static size_t places;
    drend_add_cont_cb(
        "/many",
        [](dr_meta_context_s* ctx, const void*) {
            void* at = nullptr;
            drend_get_attribute_ref(ctx, &at);
            const size_t next = reinterpret_cast<size_t>(at) + 1;
            drend_set_attribute_name(ctx, "a");
            drend_set_attribute_ref(ctx, reinterpret_cast<void*>(next));
            return static_cast<int>(next > places ? DREND_NO_EL : DREND_OK);
        },
        nullptr);
    drend_add_str_leaf(
        "/many/a",
        [](dr_meta_context_s*, const void*) { return static_cast<int>(DREND_SKIP_LEAF); },
        nullptr);
    define_kids("m=many(a)");
    const auto allocations = [&](size_t named) {
        places = named;
        failing_allocation = std::numeric_limits<long>::max();
        render("c");
        return std::numeric_limits<long>::max() - std::exchange(failing_allocation, 0);
    };
    allocations(1); // what a first request prepares is kept
    const long once = allocations(1);
    EXPECT_EQ(allocations(100000), once);
}

TEST_F(behaviour_test, a_walk_keeps_its_walker_and_val_keeps_the_raw_flag) {
    drend_add_str_leaf("/a", read_text, "1");
    define_kids("a{map: [[`1`, `x`]]}");
    const drend_tag_c* tag = dri_get_command_tag_by_name("c");
    dr_tags_access_context_c walk(nullptr);
    dr_xml_cwalker_c walker(walk, nullptr, false);
    EXPECT_EQ(walk.get_value(nullptr), DREND_ERR); // no walker
    EXPECT_EQ(walk.get_value(&walker), DREND_ERR); // no tag
    walk.push_tag(tag);
    EXPECT_EQ(walk.get_value(nullptr), DREND_OK);
    walk.set_raw_values(true);
    EXPECT_EQ(walk.get_value(nullptr), DREND_OK);
    EXPECT_EQ(output.text, "<t>\n  <a>x</a>\n</t>\n<t>\n  <a>1</a>\n</t>\n");

    ASSERT_EQ(walk.push("a"), DREND_OK);
    for (const bool raw : {false, true}) {
        walk.set_raw_values(raw);
        dr_str_buf_c text("='a is '+val('.')");
        EXPECT_EQ(walk.eval_expression(text.buf()), 0);
        EXPECT_STREQ(text, "a is 1");
        EXPECT_EQ(walk.raw_values(), raw);
        dr_str_buf_c value;
        EXPECT_EQ(walk.get_leaf_value("", value), DREND_OK);
        EXPECT_STREQ(value, raw ? "1" : "x");
    }
}

TEST_F(behaviour_test, a_look_up_by_tag_path_takes_back_exactly_what_it_pushed) {
    drend_add_str_leaf("/n/a", read_text, "1");
    define_kids("pick?(empty!=nowhere(), way!(n=n(a)))");
    dr_tags_access_context_c walk(nullptr);
    walk.push_tag(dri_get_command_tag_by_name("c"));
    const std::tuple<const char*, int, size_t, size_t> cases[] = {
        {"n", DREND_OK, 4, 2},  {"n/a", DREND_OK, 5, 3},  {"way/n", DREND_OK, 4, 2},
        {"x", DREND_ERR, 1, 1}, {"n/x", DREND_ERR, 1, 1}, {"", DREND_ERR, 1, 1},
    };
    for (const auto& [path, status, tags, contexts] : cases) {
        EXPECT_EQ(walk.push(path), status) << path;
        EXPECT_EQ(walk.tag_depth(), tags) << path;
        EXPECT_EQ(walk.meta_depth(), contexts) << path;
        walk.pop();
        EXPECT_EQ(walk.tag_depth(), 1u) << path;
        EXPECT_EQ(walk.meta_depth(), 1u) << path;
    }
}

// --- output -------------------------------------------------------------------------------

TEST_F(behaviour_test, values_come_out_as_valid_xml) {
    static const char* text;
    drend_add_str_leaf("/a", drend_get_str_cb, &text);
    define_kids("a");
    const std::pair<const char*, const char*> cases[] = {
        {"a & b < c > d \" '", "a &amp; b &lt; c &gt; d \" '"},
        {"\t\n\r\x7f", "\t\n\r\x7f"},
        {"\x01\x0b\x1f", "\uFFFD\uFFFD\uFFFD"},
        {"\u00e9\u20ac\U0001F600", "\u00e9\u20ac\U0001F600"},
        {"\xEF\xBF\xBD\xEF\xBF\xBE\xEF\xBF\xBF", "\uFFFD\uFFFD\uFFFD"}, // no characters
        {"\x80x\xc3", "\uFFFDx\uFFFD"},                   // alone, and cut off
        {"\xc0\xaf", "\uFFFD\uFFFD"},                     // longer than needed
        {"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"},           // a surrogate
        {"\xf4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}, // beyond Unicode
        {"\xe2\x82"
         "A",
         "\uFFFD\uFFFD"
         "A"},
    };
    for (const auto& [given, shown] : cases) {
        text = given;
        EXPECT_EQ(render("c"), "<t>\n  <a>" + std::string(shown) + "</a>\n</t>\n");
    }
}
