// SPDX-License-Identifier: BSD-2-Clause

// What strict requests are told, and that others get what they always got.

#include <regex>

#include "drend.h"
#include "render_fixture.h"
#include "repeated.h"

namespace {

const std::vector<row_s> POOLS = {{"lan", 1}, {"wlan", 2}};

constexpr char ANSWERED[] = "<dhcp";

class strict_test : public render_test {
  protected:
    strict_test() {
        add_rows("/dhcp/pool", &POOLS, "name", "size");
        drend_add_str_leaf("/dhcp/statistics/offers", read_text, "7");
        define_tree("dhcp", R"(dhcp=/dhcp{
                input_kids: [{`dts_name`: `name`}, {`dts_name`: `size`},
                             {`dts_name`: `brief`, `dts_style`: [`brief`]},
                             {`dts_name`: `pool`}, {`dts_name`: `lease`}]}(
            pool*(name, pick?(size)), statistics=statistics(offers)))");
    }
    ~strict_test() override { drend_set_strict(0); }

    // The answer's first line to strict requests.
    std::string told(const std::string& arguments) {
        drend_set_strict(1);
        const std::string answer = render("dhcp", arguments.c_str());
        drend_set_strict(0);
        EXPECT_EQ(answer.find("error: "), answer.rfind("error: "));
        return answer.starts_with(ANSWERED) ? ANSWERED
                                            : answer.substr(0, answer.find('\n'));
    }
};

} // namespace

TEST_F(strict_test, filters_that_cannot_mean_what_they_say_are_told) {
    const struct {
        const char* filter;
        const char* what; // null: nothing
    } cases[] = {
        {"/dhcp/pol", "no 'pol' below /dhcp; there are pool, statistics at character 7"},
        {"/dhcp/pool/nam",
         "no 'nam' below /dhcp/pool; there are name, size at character 12"},
        {"dhc", "no 'dhc' below /; there are dhcp at character 1"},
        {"/dhcp/pool/name/x",
         "no 'x' below /dhcp/pool/name; there is nothing at character 17"},
        {"/dhcp/[name='lan']/sizes",
         "no 'sizes' below /dhcp/*; there are name, size, offers at character 20"},
        {"/dhcp/pool[nam='lan']",
         "no 'nam' below /dhcp/pool; there are name, size at character 12"},
        {"/dhcp[pool='']", "no 'pool' below /dhcp; there is nothing at character 7"},
        {"/dhcp/pool[(name='lan') and count(size)]", "no function 'count' at character 29"},
        {"/dhcp/pool[name='lan'", "a predicate that is never closed at character 22"},
        {"/dhcp/pool[name=]", "unexpected ']' at character 17"},
        {"/dhcp/pool[name='a'/size]", "unexpected '/' at character 20"},
        {"/dhcp/pool[name='lan]", "a quote that is never closed at character 17"},
        {"/dhcp/pool]", "unexpected ']' at character 11"},
        {"/dhcp/pool[name]x", "unexpected 'x' at character 17"},
        {"/dhcp/pool[]", "unexpected ']' at character 12"},
        {"/dhcp/", "an empty step at character 7"},
        {"/dhcp//pool//name", "an empty step at character 13"},
        {"/", "an empty step at character 2"},
        {"/dhcp/\xc3\xa4/\xc3\xb6",
         "no '\\xc3\\xa4' below /dhcp; there are pool, statistics "
         "at character 7"},
        {"/dhcp/pool[name='\xc3\xa4'][x]",
         "no 'x' below /dhcp/pool; there are name, size at character 22"},
        {"/dhcp/\x01", "no '\\x01' below /dhcp; there are pool, statistics at character 7"},
        {"/dhcp/pool[*][name='lan']//size", nullptr},
        {"/dhcp/pool[(size > 0x1) or (starts-with(name, 'l'))][local_name()='pool']",
         nullptr},
        {"/dhcp/pool[size]/size", nullptr},
        {"dhcp", nullptr},
        {"", nullptr},
    };
    for (const auto& c : cases) {
        const std::string arguments = std::string("filter=\"") + c.filter + "\"";
        const std::string expected =
            c.what == nullptr ? ANSWERED : std::string("error: filter: ") + c.what;
        EXPECT_EQ(told(arguments), expected);
        EXPECT_EQ(render("dhcp", arguments.c_str()).find("error"), std::string::npos)
            << c.filter;
    }
    EXPECT_EQ(told("filter=/dhcp/" + repeated(300, "x")),
              "error: filter: no '" + repeated(256, "x") +
                  "...' below /dhcp; there are pool, statistics at character 7");
    EXPECT_EQ(told("filter='<nothing/>'"), ""); // subtrees select what is there
}

TEST_F(strict_test, arguments_that_nobody_knows_are_told) {
    // The library's own words follow the command's.
    const std::string known = "there are name, size, brief, pool, lease, filter...";
    const std::regex own_words("(, filter)(, [a-z-]+)+");
    const std::pair<const char*, std::string> cases[] = {
        {"fliter=/dhcp",
         "error: arguments: no 'fliter'; " + known + "; did you mean 'filter'?"},
        {"nam=lan", "error: arguments: no 'nam'; " + known + "; did you mean 'name'?"},
        {"name=lan xyzzy", "error: arguments: no 'xyzzy'; " + known},
        {"'a'=b", "error: arguments: no 'a=b'; " + known},
        {"name='lan", "error: arguments: a quote that is never closed at character 6"},
        {"städte='lan", "error: arguments: a quote that is never closed at character 8"},
        {"na'me'=lan", "error: arguments: a quote in a name at character 3"},
        {"name=lan 'brief'",
         "error: arguments: a quoted text is no argument at character 10"},
        {"'x', na'me", "error: arguments: a quote in a name at character 8"},
        {"name=lan filter=/dhcp",
         "error: filter: the parameter 'name' would replace it; give one of the two"},
        {"lease=x", "error: arguments: the parameter 'lease' names no leaf of the command"},
        {"pool=x", "error: arguments: the parameter 'pool' names no leaf of the command"},
        {"brief filter=/dhcp", ANSWERED},
        {"name=lan, size=1", ANSWERED},
        {"", ANSWERED},
    };
    for (const auto& [arguments, expected] : cases) {
        EXPECT_EQ(std::regex_replace(told(arguments), own_words, "$1..."), expected)
            << arguments;
        EXPECT_EQ(render("dhcp", arguments).find("error"), std::string::npos) << arguments;
    }
    EXPECT_EQ(told("as-json"), "{");
}
