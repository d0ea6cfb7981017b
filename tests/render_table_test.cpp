// SPDX-License-Identifier: BSD-2-Clause

// Output as a table: what becomes of a definition, when lines go out, what a terminal is spared.

#include <algorithm>
#include <cstring>

#include <gmock/gmock.h>

#include "frame/dr_text_width.h"
#include "render_fixture.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

// A row of text cells, null for one that cannot be read.
struct record_s {
    std::vector<const char*> cells;
    std::vector<record_s> below{};
    std::vector<record_s> beside{};
};
using records_t = std::vector<record_s>;

const record_s* row_at(dr_meta_context_s* ctx, unsigned offset) {
    return static_cast<const record_s*>(drend_get_element_ref_offset(ctx, offset));
}

int step(dr_meta_context_s* ctx, const records_t& rows) {
    const record_s* at = row_at(ctx, 0);
    const record_s* next = at == nullptr ? rows.data() : at + 1;
    const bool at_end = next == rows.data() + rows.size();
    drend_set_element_ref(ctx, at_end ? nullptr : next);
    return at_end ? DREND_NO_EL : DREND_OK;
}

int step_top(dr_meta_context_s* ctx, const void* data) {
    return step(ctx, *static_cast<const records_t*>(data));
}

int step_below(dr_meta_context_s* ctx, const void* /*data*/) {
    return step(ctx, row_at(ctx, 1)->below);
}

int step_beside(dr_meta_context_s* ctx, const void* /*data*/) {
    return step(ctx, row_at(ctx, 1)->beside);
}

// A text that would have what follows it shown from right to left, as bytes: sources hold no such.
constexpr char TURNED[] = {'\xE2', '\x80', '\xAE', 'e',    'v',    'i', 'l',
                           '\xE2', '\x81', '\xA6', '\xD8', '\x9C', '\0'};

constexpr size_t CELLS = 6;
constexpr size_t NUMBERS[CELLS] = {0, 1, 2, 3, 4, 5};

int read_cell(dr_meta_context_s* ctx, const void* data) {
    const auto& cells = row_at(ctx, 0)->cells;
    const size_t cell = *static_cast<const size_t*>(data);
    const bool is_there = cell < cells.size() && cells[cell] != nullptr;
    return is_there ? drend_set_string_value(ctx, cells[cell]) : DREND_SKIP_LEAF;
}

// "/t/row" with the leaves "0" to "5", and the lists "below" and "beside" with the same leaves.
class table_test : public render_test {
  protected:
    table_test() {
        drend_add_list("/t/row", step_top, &rows_);
        drend_add_list("/t/row/below", step_below, nullptr);
        drend_add_list("/t/row/beside", step_beside, nullptr);
        for (const std::string list : {"/t/row", "/t/row/below", "/t/row/beside"}) {
            for (const size_t& number : NUMBERS) {
                const std::string path = list + "/" + std::to_string(number);
                drend_add_str_leaf(path.c_str(), read_cell, &number);
            }
        }
        drend_add_str_leaf("/t/on", read_text, "true");
        drend_add_str_leaf("/t/host", read_text, "r1");
        drend_add_str_leaf("/t/taken", read_text, "12:30");
    }

    // The command "c" with these tags below its top.
    void define_kids(const std::string& kids) {
        redefine_tree("c", "top=/t{style: [`brief`]}(" + kids + ")");
        drend_dir_init();
    }

    std::string table(records_t rows, const char* argument = "as-table") {
        rows_ = std::move(rows);
        return "\n" + render("c", argument);
    }

    // Steps, and notes how much has gone out by then.
    static int note_row(dr_meta_context_s* ctx, const void* data) {
        sent_at_row.push_back(output.text.size());
        return step_top(ctx, data);
    }

    records_t rows_;
    static std::vector<size_t> sent_at_row;
};

std::vector<size_t> table_test::sent_at_row;

} // namespace

TEST_F(table_test, a_list_is_a_table_with_keys_first) {
    define_kids("row*{key: [`name`]}(mtu=1{data_type: `uint32`, unit: `bytes`}, "
                "state=2{map: [[`1`, `up`], [`*`, `*`]]}, name=0, first=3{column: 1, "
                "align: `right`}, second=4{column: 2, heading: `2nd`, width: 5}, never=5)");
    EXPECT_EQ(table({{{"lo", "65536", "1", "x", "a"}},
                     {{"eth0", "1500", nullptr, "y"}},
                     {{"br\u00e9\u4e2d", "", "too long", "zz"}}}),
              R"(
first  2nd    name   mtu (bytes)  state
    x  a      lo           65536  up
    y  -      eth0          1500  -
   zz  -      bré中           ""  too long
)");
}

TEST_F(table_test, what_stands_in_containers_and_leaf_lists_is_in_the_row) {
    drend_add_list("/t/row/many", step_below, nullptr);
    drend_add_str_leaf("/t/row/many/v", read_cell, &NUMBERS[0]);
    define_kids("row*(name=0, in(bytes=1, errors=2), out(bytes=3), which?(addr=4, "
                "addr=5{prefix: `v6:`}), dns**=many(#=v), flag=1{data_type: `empty`, "
                "prefix: `is `}, "
                "here{presence: `yes`}(mark=2))");
    EXPECT_EQ(table({{{"a", "", "1", "2", "4.4.4.4"}, {{{"x"}}, {{""}}, {{"z"}}}},
                     {{"b", "8", nullptr, "2", nullptr, "::1"}}}),
              R"(
name  in bytes  errors  out bytes  addr     dns       flag    here     mark
a     ""        1       2          4.4.4.4  x, "", z  is yes  -        1
b     8         -       2          v6:::1   -         is 8    present  -
)");
}

TEST_F(table_test, a_value_that_is_a_container_is_none) {
    drend_add_list("/t/row/many", step_below, nullptr);
    define_kids("row*(name=0, l**=many(#=/t/on{presence: `true`}()))");
    EXPECT_EQ(table({{{"a"}, {{{"x"}}}}, {{"b"}}}), "\nname\na\nb\n");
}

TEST_F(table_test, leaves_of_a_container_are_pairs_and_its_containers_have_titles) {
    define_kids("host-name=host, at=taken{unit: `h`, heading: `taken at`}, "
                "clock(time=taken), none(nothing=0), wide-one=host{wide: `true`}, "
                "here=on{presence: `yes`}(nothing=0), row*(name=0)");
    EXPECT_EQ(table({{{"a"}}}), R"(
host-name: r1
taken at:  12:30 h

clock
  time: 12:30

here

row
  name
  a
)");
    EXPECT_THAT(table({}, "as-table wide"), HasSubstr("\nwide-one:  r1\n"));
}

// The same rows in each of the ways in which a definition can have them shown.
TEST_F(table_test, rows_below_rows) {
    const records_t rows = {{{"a", "1"}, {{{"x", "10"}}, {{"y", "2000"}}}},
                            {{"b", "2"}},
                            {{"c", "3"}, {{{"z", nullptr}}}}};
    const std::string nested = "sub=0, size=1";

    // In a block, also where a column of the row above comes behind it.
    const std::string blocks = R"(
name  number
a     1
    sub  size
    x    10
    y    2000
b     2
c     3
    sub  size
    z    -
)";
    define_kids("row*(name=0, number=1, below*(" + nested + "))");
    EXPECT_EQ(table(rows), blocks);
    define_kids("row*(name=0, below*(" + nested + "), number=1)");
    EXPECT_EQ(table(rows), blocks);

    define_kids("row*(name=0, number=1, below*{rows: `repeated`}(" + nested + "))");
    EXPECT_EQ(table(rows), R"(
name  number  sub  size
a     1       x    10
a     1       y    2000
b     2       -    -
c     3       z    -
)");

    define_kids("row*{rows: `sections`, key: [`name`]}(name=0, number=1, below*(" + nested +
                "))");
    EXPECT_EQ(table(rows), R"(
name:   a
number: 1

sub  size
x    10
y    2000

name:   b
number: 2

name:   c
number: 3

sub  size
z    -
)");

    // Lists that stand side by side have titles; a row with nothing of its own has no line.
    define_kids("row*(below*(" + nested + "), beside*(" + nested + "))");
    EXPECT_EQ(table({{{"a"}, {{{"x", "1"}}}, {{{"y", "22"}}}}, {{"b"}}}), R"(
    below
      sub  size
      x    1
    beside
      sub  size
      y    22
)");
}

// As if the list had no other.
TEST_F(table_test, the_row_that_a_source_selects) {
    const records_t rows = {{{"a", "1"}}, {{"b", "2"}, {{{"x", "10"}}}}};
    define_kids("host=/t/host, row*=row[0=b](name=0, number=1, below*(sub=0)), end=/t/on");
    EXPECT_EQ(table(rows), R"(
host: r1

name  number
b     2
    sub
    x

end:  true
)");
}

TEST_F(table_test, keys_come_along_with_what_a_filter_shows) {
    // Were it no key, the name would be hidden.
    define_kids(
        "row*{key: [`name`]}(mtu=1, name=0{style: [`full`], wide: `true`}, state=2)");
    EXPECT_EQ(table({{{"a", "1", "up"}}, {{"b", nullptr, "up"}}},
                    "as-table filter='/top/row/mtu'"),
              R"(
name  mtu
a     1
)");
    EXPECT_EQ(table({}), "\n") << "no rows, no header";
}

// --- what is held and what goes out -----------------------------------------------------------

TEST_F(table_test, widths_are_those_of_the_first_rows) {
    define_kids("row*(a=0, b=1, late=2{unit: `s`})");
    records_t rows(120, {{"1", "2"}});
    rows[90].cells[0] = "ninety";
    rows[110] = {{"longer than the column", "2", "5"}};
    const std::string text = table(rows);
    EXPECT_THAT(text, StartsWith("\na       b\n1       2\n"));
    EXPECT_THAT(text, HasSubstr("\nninety  2\n"));
    EXPECT_THAT(text,
                HasSubstr("\n1       2\nlonger than the column  2  late: 5 s\n1       2\n"))
        << "pushes the rest, and what had no column is there with its name";
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 122);
}

TEST_F(table_test, rows_go_out_once_widths_are_known) {
    drend_add_list("/t/noted", note_row, &rows_);
    drend_add_str_leaf("/t/noted/0", read_cell, &NUMBERS[0]);
    drend_add_list("/t/noted/below", step_below, nullptr);
    drend_add_str_leaf("/t/noted/below/0", read_cell, &NUMBERS[0]);
    for (const auto& [kids, has_widths] : {std::pair<std::string, bool>("a=0", false),
                                           {"a=0{width: 3}", true},
                                           {"below*(sub=0), a=0", false}}) {
        sent_at_row.clear();
        define_kids("noted*(" + kids + ")");
        const std::string text = table(records_t(300, {{"1"}, {{{"x"}}}}));
        EXPECT_THAT(text, StartsWith("\na\n1\n"));
        EXPECT_EQ(sent_at_row[30] > 0, has_widths);
        EXPECT_GT(sent_at_row[120], 0U);
        EXPECT_GT(sent_at_row[299], sent_at_row[298]) << kids;
    }
}

// A row above many others does not wait for what comes behind them.
TEST_F(table_test, a_row_does_not_wait_for_ever) {
    define_kids("row*(name=0, below*(sub=0), after=1{unit: `s`})");
    const records_t few(3, {{"x"}});
    const records_t many(150, {{"x"}});
    const std::string text =
        table({{{"a", "1"}, few}, {{"longest", "2"}, many}, {{"c", "3"}, few}});
    EXPECT_THAT(text, StartsWith("\nname     after (s)\na        1\n    sub\n    x\n"));
    EXPECT_THAT(text, HasSubstr("\nlongest  -\n    sub\n"));
    EXPECT_THAT(text, HasSubstr("    x\n    after: 2 s\nc        3\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), 'x'), 156);
}

// As long as what goes out before it makes room, it does.
TEST_F(table_test, a_row_waits_while_others_go) {
    define_kids("row*(name=0, below*(sub=0), after=1)");
    records_t rows(90, {{"x", "1"}});
    rows.push_back({{"last", "2"}, records_t(20, {{"x"}})});
    const std::string text = table(rows);
    EXPECT_THAT(text, StartsWith("\nname  after\nx     1\n"));
    EXPECT_THAT(text, HasSubstr("\nx     1\nlast  2\n    sub\n    x\n"));
}

// Neither does a row of more than fits into what is held.
TEST_F(table_test, long_values_are_whole) {
    const std::string long_text(20000, 'l');
    define_kids("row*(a=0, b=1, c=2)");
    const std::string text =
        table({{{"1", long_text.c_str(), "behind"}}, {{"2", "3", "4"}}});
    EXPECT_EQ(text, "\na  b\n1  " + long_text + "\n    c: behind\n2  3" +
                        std::string(61, ' ') + "c: 4\n");
}

TEST_F(table_test, a_leaf_list_of_any_length_is_whole) {
    drend_add_list("/t/many", step_top, &rows_);
    drend_add_str_leaf("/t/many/v", read_cell, &NUMBERS[0]);
    define_kids("dns**=many(#=v)");
    EXPECT_EQ(table({{{"x"}}, {{"y"}}}), "\ndns: x, y\n");
    const std::string text = table(records_t(10000, {{"v"}}));
    EXPECT_EQ(std::count(text.begin(), text.end(), 'v'), 10000);
    EXPECT_THAT(text, HasSubstr("v\ndns: v")) << "a line ends somewhere";
}

// --- what a terminal is spared ----------------------------------------------------------------

TEST_F(table_test, no_value_ends_a_line_or_steers_a_terminal) {
    define_kids("row*(a=0{heading: `x\\u001b[2J`}, b=1{unit: `\\n`, prefix: `\u009b`})");
    EXPECT_EQ(table({{{"\033[31mred", "a\nb\tc\rd"}},
                     {{"\x7f\x01\u0085\u009b", "\xff\xc3"}},
                     {{TURNED, "\u2028caf\u00e9 \"q\" \\ <&>"}}},
                    "as-table color"),
              "\n\033[1mx\uFFFD[2J     b (\\n)\033[0m\n"
              "\uFFFD[31mred  \uFFFDa\\nb\\tc\\rd\n"
              "\uFFFD\uFFFD\uFFFD\uFFFD      \uFFFD\uFFFD\uFFFD\n"
              "\uFFFDevil\uFFFD\uFFFD   \uFFFD\uFFFDcaf\u00e9 \"q\" \\ <&>\n");
}

TEST_F(table_test, states_have_colours_on_wish_alone) {
    define_kids("host{state: [[`r1`, `bad`]]}, row*(name=0, state=1{map: [[`1`, `up`], "
                "[`2`, `down`], [`*`, `*`]], state: [[`up`, `good`], [`down`, `bad`], "
                "[`*`, `warning`]]}, last=2)");
    const records_t rows = {{{"a", "1", "x"}}, {{"b", "2", "x"}}, {{"c", "else", "x"}}};
    const std::string plain = table(rows);
    std::string colored = table(rows, "as-table color");
    EXPECT_EQ(colored, "\nhost: \033[31mr1\033[0m\n\n"
                       "\033[1mname  state  last\033[0m\n"
                       "a     \033[32mup\033[0m     x\n"
                       "b     \033[31mdown\033[0m   x\n"
                       "c     \033[33melse\033[0m   x\n");
    for (const char* sequence :
         {"\033[0m", "\033[1m", "\033[31m", "\033[32m", "\033[33m"}) {
        for (size_t at; (at = colored.find(sequence)) != std::string::npos;) {
            colored.erase(at, strlen(sequence));
        }
    }
    EXPECT_EQ(colored, plain);
}

TEST_F(table_test, programs_are_told_where_fields_begin) {
    define_kids(
        "host, row*{key: [`name`]}(name=0, octets=1{data_type: `uint64`}, age=2{data_type: "
        "`uint64`, counter: `false`}, drops=3{counter: `true`, unit: `frames`}, "
        "word=4{data_type: `uint64`, map: [[`1`, `one`]]}, never=5{data_type: `uint64`})");
    std::string fields = table(
        {{{"a", "12", "3", "7", "1"}}, {{"b", nullptr, "4", "8", "1"}}}, "as-table fields");
    std::replace(fields.begin(), fields.end(), '\x1f', '|');
    EXPECT_EQ(fields, R"(
|nhost: |vr1

|hname|h  octets|h    octets/s|h  age|h  drops (frames)|h  drops (frames/s)|h  word
|ka|c         12|r           -|v    3|c  7|r                              -|v  one
|kb|c          -|r           -|v    4|c  8|r                              -|v  one
)");
    fields =
        table({{{"a\x1fk", "1"}}}, "as-table fields"); // no value brings a mark with it
    EXPECT_EQ(std::count(fields.begin(), fields.end(), '\x1f'), 2 + 3 + 3);
}

TEST_F(table_test, what_follows_a_row_has_fields_too) {
    define_kids("row*{key: [`name`], rows: `sections`}(name=0, below*(x=0), "
                "octets=1{data_type: `uint64`})");
    std::string fields = table({{{"a", "12"}, {{{"x"}}}}}, "as-table fields color");
    std::replace(fields.begin(), fields.end(), '\x1f', '|');
    EXPECT_EQ(fields, "\n|nname:   |ka\n\n|h\033[1mx\033[0m\n|vx\n\n|noctets: |c12\n");
}

TEST_F(table_test, the_width_of_texts) {
    const std::pair<const char*, size_t> cases[] = {
        {"", 0},           {"abc", 3},    {"\u00e9", 1},     {"e\u0301", 1},
        {"\u4e2d", 2},     {"\uff21", 2}, {"\U0001F600", 2}, {"\u200b", 0},
        {"\uac00", 2},     {"\uFFFD", 1}, {"\U00020000", 2}, {"\u2603\ufe0f", 1},
        {"\U000F0000", 1},
    };
    for (const auto& [text, width] : cases) {
        EXPECT_EQ(dri_text_width(text), width) << text;
    }
}

// --- what asks for it -------------------------------------------------------------------------

TEST_F(table_test, its_words_choose_no_style_and_leave_parameters_alone) {
    drend_set_strict(1);
    define_kids("row*(name=0, full=1{style: [`full`]}, detail=2{wide: `true`})");
    const records_t rows = {{{"a", "1", "2"}}};
    EXPECT_EQ(table(rows), "\nname  full\na     1\n");
    EXPECT_EQ(table(rows, "as-table color wide"),
              "\n\033[1mname  full  detail\033[0m\na     1     2\n");
    EXPECT_EQ(table(rows, "as-table filter='/top/row'"), "\nname\na\n")
        << "the top's style, as any request with arguments";
    EXPECT_EQ(table(rows, "wide"), "\n" + render("c")) << "no word of another form";

    redefine_tree("c", "top=/t{input_kids: [{`dts_name`: `wide`, `dts_style`: [`full`]}]}"
                       "(host, taken{wide: `true`})");
    drend_dir_init();
    EXPECT_EQ(table({}, "as-table wide"), "\nhost: r1\n");
    drend_set_strict(0);
}
