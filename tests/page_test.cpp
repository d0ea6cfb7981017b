// SPDX-License-Identifier: BSD-2-Clause

// Answers that are less than everything: so many rows, from a row on, so many levels, counts.

#include <tuple>

#include <gmock/gmock.h>

#include "drend.h"
#include "render_fixture.h"

using testing::HasSubstr;
using testing::MatchesRegex;

namespace {

const std::vector<row_s> SHOPS = {
    {"a b", 1, {{"x", 11}, {"y=/", 12}}},
    {"b", 2, {}},
    {"c", 3, {{"z", 13}}},
    {"d", 4, {}},
    {"e", 5, {}},
};
const std::vector<row_s> ONE_SHOP = {{"only", 1, {{"x", 11}, {"y", 12}, {"z", 13}}}};
const std::vector<row_s> NOTES = {{"n1", 1}, {"n2", 2}, {"n3", 3}};
const std::vector<row_s>* shops = &SHOPS;

int steps = 0;  // of the list of shops
int leaves = 0; // read there
bool suspends = false;
bool seeks = true;
std::string told; // how the answer ended
std::string cursor;
int rows; // that it says it has shown; -1: none

// Goes straight to the shop of a name that the request demands.
int step_shops(dr_meta_context_s* ctx, const void*) {
    ++steps;
    const char* name = seeks ? drend_get_filter_name(ctx, "name") : nullptr;
    if (name == nullptr) {
        return step_rows(ctx, shops);
    }
    if (drend_get_element_ref(ctx) == nullptr) {
        for (const row_s& shop : *shops) {
            if (shop.name == name) {
                return drend_set_element_ref(ctx, &shop);
            }
        }
    }
    return DREND_NO_EL;
}

int read_shop(dr_meta_context_s* ctx, const void* data) {
    ++leaves;
    return read_name(ctx, data);
}

// Stands on a row, as those do whose leaves take the row from it.
class below_iterator_c : public drend_iterator_c {
  public:
    explicit below_iterator_c(const std::vector<row_s>& below) : rows_(below) {}
    void first(dr_meta_context_s*) override { at_ = 0; }
    void next(dr_meta_context_s*) override { ++at_; }
    bool at_end(dr_meta_context_s*) override { return at_ >= rows_.size(); }
    const row_s& row() const { return rows_.at(at_); }

  private:
    const std::vector<row_s>& rows_;
    size_t at_ = 0;
};

drend_iterator_c* make_below_iterator(void* shop) {
    return new below_iterator_c(static_cast<const row_s*>(shop)->below);
}

int read_iterated_name(dr_meta_context_s* ctx, const void*) {
    auto* iterator = static_cast<drend_iterator_c*>(drend_get_iterator_c(ctx, 0));
    return drend_set_string_value(
        ctx, static_cast<below_iterator_c*>(iterator)->row().name.c_str());
}

class page_test : public render_test {
  protected:
    page_test() {
        shops = &SHOPS;
        steps = leaves = 0;
        suspends = false;
        seeks = true;
        drend_add_list("/t/shop", step_shops, nullptr);
        drend_add_str_leaf("/t/shop/name", read_shop, nullptr);
        drend_add_int32_leaf("/t/shop/number", read_number, nullptr);
        drend_add_list("/t/shop/item", step_rows_below, nullptr);
        drend_add_str_leaf("/t/shop/item/id", read_name, nullptr);
        drend_add_list("/t/note", step_rows, &NOTES);
        drend_add_str_leaf("/t/note/text", read_name, nullptr);
        drend_add_str_leaf("/t/before", read_text, "B");
        drend_add_str_leaf("/t/after", read_text, "A");
        drend_add_walk_handlers(
            nullptr, [](dr_meta_context_s*, void*) { return suspends ? 1 : 0; }, nullptr);
        drend_set_suspend_on_hidden_rows(1);
        drend_set_answer_methods(nullptr, [](void*, const drend_answer_end_s* end) {
            told = std::to_string(end->end) + (end->code == nullptr ? "" : end->code);
            cursor = end->cursor == nullptr ? "" : end->cursor;
            rows = end->has_rows == 0 ? -1 : static_cast<int>(end->rows);
            return 0;
        });
        define_tree("c", R"(t=/t(
            before,
            either?(shop*{key: [`name`]}(
                name, number{style: [`full`]}, item*{key: [`id`]}(id))),
            note*(text), after))");
    }
    ~page_test() override {
        drend_set_answer_methods(nullptr, nullptr);
        drend_set_suspend_on_hidden_rows(0);
    }

    // The values of an answer, one word for each.
    std::string values(const std::string& argument, const char* command = "c") {
        told.clear();
        cursor.clear();
        const std::string text = render(command, argument.c_str());
        std::string values;
        for (size_t at = text.find('>'); at != std::string::npos;
             at = text.find('>', at + 1)) {
            const std::string value = text.substr(at + 1, text.find('<', at) - at - 1);
            if (value.find('\n') == std::string::npos) {
                values += (values.empty() ? "" : " ") + value;
            }
        }
        return text.starts_with("error") ? text : values;
    }
};

} // namespace

TEST_F(page_test, the_rows_of_the_outermost_lists_count) {
    const char* const whole = "B a b 1 x y=/ b 2 c 3 z d 4 e 5 n1 n2 n3 A";
    for (const bool suspending : {false, true}) {
        suspends = suspending;
        for (const auto& [argument, shown, next] :
             {std::tuple("limit=1", "B a b 1 x y=/", "/t/shop=a%20b"),
              std::tuple("limit=5", "B a b 1 x y=/ b 2 c 3 z d 4 e 5", "/t/shop=e"),
              std::tuple("limit=6", "B a b 1 x y=/ b 2 c 3 z d 4 e 5 n1", "/t/note#1"),
              std::tuple("limit=8", whole, ""),
              std::tuple("cursor=/t/shop=c", "d 4 e 5 n1 n2 n3 A", ""),
              std::tuple("cursor=/t/shop=c limit=2", "d 4 e 5", "/t/shop=e"),
              std::tuple("cursor=/t/note#2 limit=2", "n3 A", ""),
              std::tuple("cursor=/t/note#3", "A", ""),
              // What the filter hides does not count, and is gone through.
              std::tuple("limit=1 filter=\"/t/shop[number > '2']\"", "c 3 z", "/t/shop=c"),
              std::tuple("limit=3 filter=\"/t/shop[number > '2']\"", "c 3 z d 4 e 5", ""),
              std::tuple("limit=1 cursor=/t/shop=c filter=\"/t/shop[number > '2']\"", "d 4",
                         "/t/shop=d"),
              // Lists of one row are not worth a page: those below them are.
              std::tuple("limit=1 filter=\"/t/shop[name = 'a b']\"", "a b 1 x",
                         "/t/shop/item=x"),
              std::tuple("cursor=/t/shop/item=x filter=\"/t/shop[name = 'a b']\"",
                         "a b y=/", "")}) {
            EXPECT_EQ(values(argument), shown) << argument;
            EXPECT_EQ(told, "0") << argument;
            EXPECT_EQ(cursor, next) << argument;
        }
    }
    EXPECT_GT(slices, 1);
}

TEST_F(page_test, an_answer_says_how_many_rows_it_shows) {
    const std::pair<const char*, int> cases[] = {
        {"", 8},
        {"count", 8},
        {"limit=3", 3},
        {"limit=1 filter=\"/t/shop[name = 'a b']\"", 1}, // a row below it is cut off
        {"filter=\"/t/shop[number > '2']\"", 3},
        {"filter=\"/t/shop[number > '9']\"", 0},
        {"filter=/t/before", -1},
        {"depth=1", -1},
    };
    for (const bool suspending : {false, true}) {
        suspends = suspending;
        for (const auto& [argument, expected] : cases) {
            values(argument);
            EXPECT_EQ(rows, expected) << argument;
        }
    }
    // The row that its list's source selects counts, unless it is hidden.
    define_tree("one", "t=/t(shop*=shop[name=c](number))");
    for (const auto& [argument, expected] :
         {std::pair("", 1), {"filter=\"/t/shop[number = '4']\"", 0}}) {
        render("one", argument);
        EXPECT_EQ(rows, expected) << argument;
    }
}

TEST_F(page_test, a_list_of_one_row_is_found_by_asking) {
    shops = &ONE_SHOP;
    EXPECT_EQ(values("limit=2"), "B only 1 x y");
    EXPECT_EQ(cursor, "/t/shop/item=y");
    EXPECT_EQ(values("limit=2 cursor=" + cursor), "only z n1");
    EXPECT_EQ(cursor, "/t/note#1");
}

// What is asked beside the walk leaves the iterator alone that the walk's row comes from.
TEST_F(page_test, a_list_with_an_iterator_has_all_of_its_rows) {
    drend_add_iterator_list("/t/shop/part", make_below_iterator);
    drend_add_str_leaf("/t/shop/part/id", read_iterated_name, nullptr);
    define_tree("parts", "t=/t(shop*{key: [`name`]}(name, part*{key: [`id`]}(id)))");
    const std::vector<row_s> one_part = {{"only", 1, {{"x", 11}}}};
    for (const auto& [all, argument, expected] :
         {std::tuple(&ONE_SHOP, "limit=2", "only x y"),
          std::tuple(&ONE_SHOP, "limit=3", "only x y z"),
          std::tuple(&ONE_SHOP, "limit=2 cursor=/t/shop/part=x", "only y z"),
          std::tuple(&one_part, "limit=2", "only x"),
          std::tuple(&SHOPS, "limit=2 filter=\"/t/shop[name = 'c']\"", "c z")}) {
        shops = all;
        EXPECT_EQ(values(argument, "parts"), expected) << argument;
    }
}

// Twenty rows of a million cost what twenty rows cost.
TEST_F(page_test, no_row_is_asked_for_that_is_not_needed) {
    std::vector<row_s> many(1000);
    for (size_t i = 0; i < many.size(); ++i) {
        many[i].name = std::to_string(i);
    }
    shops = &many;
    values("limit=20");
    EXPECT_EQ(steps, 22); // one too many, and one beside to see whether there is a second
    steps = 0;
    EXPECT_THAT(values("limit=2 cursor=/t/shop=990"), HasSubstr("991 0 992 0"));
    EXPECT_EQ(steps, 4);
    steps = 0;
    many[0].below = {{"x"}, {"y"}};
    seeks = false;
    EXPECT_EQ(values("limit=1 filter=\"/t/shop[name = '0']\""), "0 0 x");
    EXPECT_EQ(cursor, "/t/shop/item=x");
    EXPECT_EQ(steps, 1);
    steps = leaves = 0;
    EXPECT_EQ(render("c", "count limit=3"), "/t/shop 3\n/t/shop/item 2\n");
    EXPECT_LE(steps, 5);
    EXPECT_EQ(leaves, 1); // the key of the last row
}

TEST_F(page_test, a_cursor_that_leads_nowhere_is_told) {
    const char gone[] = "error: cursor: the row is not there any more\n";
    EXPECT_EQ(values("cursor=/t/shop=zz"), gone);
    EXPECT_EQ(told, "2cursor-lost");
    EXPECT_EQ(values("cursor=/t/note#4 limit=1"), gone);
    EXPECT_THAT(render("c", "as-json cursor=/t/shop=zz"), HasSubstr(gone));
    for (const char* wrong : {"/t/nope=a",
                              "/t/before=a",
                              "/t",
                              "/t/shop=a=b",
                              "/t/shop",
                              "/t/shop#0",
                              "/t/shop#x",
                              "/t/shop=%2",
                              "/t/shop=%zz",
                              "t/shop=a",
                              "",
                              "/",
                              "/t/shop/",
                              "/t/shop==",
                              "/either/shop=a",
                              "/t/shop+0=c",
                              "/t/shop+2=c",
                              "/t/shop+x=c",
                              "/t/shop+=c",
                              "/t+2/shop=c"}) {
        EXPECT_THAT(values(std::string("cursor=") + wrong),
                    MatchesRegex("error: cursor: it (leads to no list of the command|names "
                                 "no row of the list)\n"))
            << wrong;
        EXPECT_EQ(told, "1invalid-request") << wrong;
    }
    for (const char* wrong :
         {"limit=0", "limit=x", "limit", "limit=-1", "limit=1x",
          "limit=99999999999999999999", "depth=0", "depth=5000000000"}) {
        EXPECT_THAT(values(wrong),
                    MatchesRegex("error: (limit|depth): a number of (rows|levels)"
                                 " from 1 on is wanted\n"));
    }
}

TEST_F(page_test, lists_of_one_name_are_told_apart) {
    define_tree("twins", "t=/t(e?(n*=note(text)),n*=shop(text=name),n*=note(v=text))");
    const std::pair<const char*, const char*> pages[] = {
        {"n1", "/t/n+3#1"}, {"n2", "/t/n+3#2"}, {"n3", "/t/n+3#3"}, {"a b", "/t/n#1"},
        {"b", "/t/n#2"},    {"c", "/t/n#3"},    {"d", "/t/n#4"},    {"e", "/t/n#5"},
        {"n1", "/t/n+2#1"}, {"n2", "/t/n+2#2"}, {"n3", ""},
    };
    std::string from;
    for (const auto& [row, next] : pages) {
        EXPECT_EQ(values("limit=1" + from, "twins"), row) << from;
        EXPECT_EQ(cursor, next) << from;
        from = std::string(" cursor=") + next;
    }
}

TEST_F(page_test, depth_leaves_rows_their_keys) {
    EXPECT_EQ(values("depth=1"), "");
    EXPECT_EQ(values("depth=2"), "B a b b c d e A");
    EXPECT_EQ(values("depth=2 limit=2"), "B a b b");
    EXPECT_EQ(cursor, "/t/shop=b");
    define_tree("l", "t=/t(n**=note(#=text))");
    EXPECT_EQ(render("l", "depth=2"), render("l"));
}

TEST_F(page_test, json_says_where_to_go_on) {
    EXPECT_EQ(
        render("c", "as-json limit=1 filter=/t/note"),
        "{\n  \"t\" : {\n    \"note\" : [{\n        \"text\" : \"n1\"\n      }]\n  },\n"
        "  \"cursor\" : \"/t/note#1\"\n}");
    EXPECT_THAT(render("c", "as-json"), Not(HasSubstr("cursor")));
}

TEST_F(page_test, rows_that_print_nothing_are_a_page_too) {
    define_tree("top", "shop*=/t/shop(number{map: [[`3`, `3`]]})");
    EXPECT_EQ(render("top", "limit=2"), "");
    EXPECT_EQ(cursor, "/shop#2");
    EXPECT_EQ(render("top", "limit=2 as-json-lines"), "{\"cursor\":\"/shop#2\"}\n");
    EXPECT_EQ(render("top", "limit=2 as-ietf-json compact"), "{\"cursor\":\"/shop#2\"}");
    EXPECT_EQ(render("top", "cursor=/shop#2"), "<shop>\n  <number>3</number>\n</shop>\n");
}

TEST_F(page_test, counts_are_those_of_the_rows_that_would_be_printed) {
    EXPECT_EQ(render("c", "count"), "/t/shop 5\n/t/shop/item 3\n/t/note 3\n");
    EXPECT_EQ(leaves, 0);
    EXPECT_EQ(render("c", "count filter=\"/t/shop[number > '2']\""),
              "/t/shop 3\n/t/shop/item 1\n");
}

TEST_F(page_test, what_a_command_calls_its_parameters_is_not_the_librarys) {
    define_tree("p", R"(t=/t{style: [`brief`],
        input_kids: [{`dts_name`: `limit`, `dts_type`: `leaf`},
                     {`dts_name`: `count`, `dts_type`: `empty`}]}(
        shop*(limit=number, name{style: [`full`]})))");
    EXPECT_EQ(
        render("p", "limit=2"),
        "<t orvex:style=\"brief\" >\n  <shop>\n    <limit>2</limit>\n  </shop>\n</t>\n");
    EXPECT_THAT(render("p", "count"), HasSubstr("<limit>5</limit>"));
    // A page alone chooses no style.
    EXPECT_THAT(render("p", "depth=9"), HasSubstr("<name>e</name>"));
    EXPECT_THAT(render("p", "depth=9 filter=/t"), Not(HasSubstr("<name>")));
}
