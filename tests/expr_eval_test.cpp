// SPDX-License-Identifier: BSD-2-Clause

// Evaluation of expressions: operators, functions, patterns and the keys that filters name.
#include <atomic>
#include <clocale>
#include <dlfcn.h>
#include <gmock/gmock.h>
#include <iterator>
#include <limits>
#include <optional>
#include <regex.h>
#include <sstream>
#include <thread>

#include "drend.h"
#include "expr/dr_xp_eval.h"
#include "expr/dr_xp_functions.h"
#include "expr/dr_xp_parser.h"
#include "expr/dr_xp_pattern.h"
#include "repeated.h"
#include "traced.h"

namespace {

// Knows no name, and remembers which it was asked for.
class blank_lookup_c final : public drend_value_lookup_c {
  public:
    bool get_value(const char*, dr_str_buf_c&) override { return false; }
    void get_local_name(dr_str_buf_c& out) override { out.clear(); }
    bool get_meta_name(const char*, dr_str_buf_c&) override { return false; }
    bool find_value(const std::string& name, unsigned, dr_xp_value_c&) override {
        asked += name;
        return false;
    }

    std::string asked;
};

const xp_node_c& tree(const std::string& expression) {
    static std::shared_ptr<const dr_xpath_c> path;
    path = dri_xpath_get(("a[" + expression + "]").c_str());
    EXPECT_NE(path, nullptr) << expression;
    return *path->predicates().front().node;
}

std::atomic<int> compilations{0};

bool matches(const std::string& pattern, const std::string& text) {
    return dr_xp_pattern_c().match(pattern, text);
}

std::string evaluated(const std::string& expression) {
    drend_env_value_lookup_c lookup;
    lookup.values = {
        {"name", "ge-0"}, {"no", "false"}, {"__local_name__", "port"}, {"7", "8"}};
    dr_str_buf_c result;
    const int status = dri_eval_expr(tree(expression), lookup, result);
    EXPECT_EQ(status == 1, result == xpath_true) << expression;
    return result.c_str();
}

} // namespace

// Counts, and does what the C library's does.
extern "C" int regcomp(regex_t* compiled, const char* pattern, int flags) {
    ++compilations;
    static const auto real =
        reinterpret_cast<decltype(&regcomp)>(dlsym(RTLD_NEXT, "regcomp"));
    return real(compiled, pattern, flags);
}

TEST(expr_eval, operators) {
    for (const char* expression :
         {"'abc' = 'abc'", "name = 'ge-0'", "name = name", "abc = abd", "unknown = ''",
          "unknown('x') = ''", "1 < 2", "2 > -1", "7 = '8'", "'0x10' > '15'", "'010' < '9'",
          "'none' < '1'", "'-99999999999' < '-2147483647'", "'0'", "'1' and 'x'",
          "'' or 'x'", "('0' and '1') = 'false'", "name = 'x' = 'false'", "no = 'false'"}) {
        EXPECT_EQ(evaluated(expression), "true") << expression;
    }
    for (const char* expression :
         {"'abc' = 'ABC'", "unknown", "unknown()", "no", "''", "'false'", "'0' and '1'",
          "'0' or ''", "no or 'false'", "2 < 1", "2 < 2", "2147483648 > 2147483647",
          "unknown > 0", "name = 'ge-0' = 'ge-0'"}) {
        EXPECT_EQ(evaluated(expression), "false") << expression;
    }
}

TEST(expr_eval, order_of_lookups) {
    blank_lookup_c lookup;
    dr_str_buf_c result;
    EXPECT_EQ(dri_eval_expr(tree("(a and b) or unknown(x) or contains(c, 'd', e)"), lookup,
                            result),
              0);
    EXPECT_EQ(lookup.asked, "abce");
    EXPECT_EQ(dri_eval_expr(tree("a = ''"), lookup, result), 1);
    xp_node_c odd;
    odd.type = 99;
    EXPECT_EQ(dri_eval_expr(odd, lookup, result), 1);
    EXPECT_EQ(dri_eval_expr(xp_node_c(), lookup, result), 0);
}

TEST(expr_eval, deepest_trees) {
    EXPECT_EQ(evaluated(repeated(256, "(") + "name" + repeated(256, ")")), "true");
    EXPECT_EQ(evaluated("name" + repeated(256, " and name")), "true");
    EXPECT_EQ(evaluated(repeated(256, "contains(") + "name" + repeated(256, ", 'x')")),
              "false");
}

// A number is its digits, whatever an expression makes of it.
TEST(expr_eval, numbers_are_their_digits) {
    class number_lookup_c final : public drend_value_lookup_c {
      public:
        bool get_value(const char*, dr_str_buf_c&) override { return false; }
        void get_local_name(dr_str_buf_c& out) override { out.clear(); }
        bool get_meta_name(const char*, dr_str_buf_c&) override { return false; }
        bool find_value(const std::string& name, unsigned, dr_xp_value_c& out) override {
            digits = std::to_string(number); // overwrites what was passed before
            if (name == "n" && is_text) {
                out.set_passing(digits);
            } else if (name == "n") {
                out.set_number(number);
            } else if (name == "other") {
                digits = "other";
                out.set_passing(digits);
            }
            return name == "n" || name == "other";
        }

        int64_t number = 0;
        bool is_text = false;
        std::string digits;
    };
    number_lookup_c lookup;
    size_t held = 0;
    std::istringstream expressions(R"(
        n; n = n; n = other; other = n; n and other; n or ''; '' or n; n = '8';
        n = '010'; '8' = n; n = 8; n = '-0'; n = '+8'; n = ' 8'; n = '8 ';
        n = '18446744073709551615'; n = '9223372036854775807';
        n = '-9223372036854775808'; n < '0x9'; n > other; n > 2147483646;
        n < '-2147483647'; 'none' > n; (n = '8') = 'true'; contains(n, '8');
        contains('-8', n); starts-with(n, other); starts-with(n, n, other);
        match(n, '^-*8$');)");
    for (std::string expression; std::getline(expressions >> std::ws, expression, ';');) {
        for (const int64_t number :
             {int64_t{0}, int64_t{8}, int64_t{-8}, int64_t{2147483648},
              int64_t{-2147483649}, std::numeric_limits<int64_t>::max(),
              std::numeric_limits<int64_t>::min()}) {
            lookup.number = number;
            lookup.is_text = true;
            const bool expected = dri_holds(tree(expression), lookup);
            lookup.is_text = false;
            EXPECT_EQ(dri_holds(tree(expression), lookup), expected)
                << expression << " where n is " << number;
            held += expected ? 1 : 0;
        }
    }
    EXPECT_EQ(held, 70U); // of 203
}

TEST(expr_eval, a_text_that_passes_by_can_be_kept) {
    for (size_t size = 0; size < 200; ++size) {
        std::string passing(size, '1');
        dr_xp_value_c value;
        value.set_passing(passing);
        value.keep();
        passing.assign(size, '2');
        EXPECT_EQ(value.text(), std::string(size, '1'));
        EXPECT_EQ(value.text().data()[size], '\0');
    }
}

TEST(expr_functions, results) {
    for (const char* expression :
         {"contains('abc', 'bc')", "contains('abc', '', 'more')",
          "starts-with('abc', 'ab')", "starts-with('abc', '')", "match(name, '^ge-[0-9]$')",
          "local_name() = 'port'", "local_name('x') = ''"}) {
        EXPECT_EQ(evaluated(expression), "true") << expression;
    }
    for (const char* expression :
         {"contains('abc', 'abcd')", "contains('abc')", "starts-with('abc', 'bc')",
          "starts-with()", "match(name, 'xe')", "match(name)", "local-name()"}) {
        EXPECT_EQ(evaluated(expression), "false") << expression;
    }
    dri_reset_xpath_cache();
    EXPECT_EQ(evaluated("contains('abc', 'b')"), "true");
}

TEST(expr_functions, wrong_counts_are_traced) {
    const traced_c traced(0);
    const char* calls = "local_name('x') or contains('x') or starts-with() or match('x')";
    evaluated(calls);
    EXPECT_EQ(traced_c::text, "");
    drend_set_trace_flag(DREND_TRACE_ERROR);
    evaluated(calls);
    EXPECT_EQ(traced_c::text,
              "DR_ERROR: Wrong number of args to 'dri_xp_local_name_func'\n"
              "DR_ERROR: Wrong number of args to 'dri_xp_contains_func'\n"
              "DR_ERROR: Wrong number of args to 'dri_xp_starts_with_func'\n"
              "DR_ERROR: Wrong number of args to 'dri_xp_match_func'\n");
}

// Patterns mean what the C library says, whatever is done to them before it sees them.
TEST(expr_patterns, agree_with_the_c_library) {
    // Without bytes that are no ASCII, between blanks.
    std::istringstream plain(R"(
        ^ $ ^$ ^^ $$ a ^a b$ ^ab$ a^b a$b ^*a * a*$ ^a\|b$ ^\(a\|b\)$ \(^a\|b$\) \^
        a\$ [$^]$ ^[^]b]*$ []] [[:digit:]]\{2\} [[.a.]b] [a\] [\(] a\{2,\}
        ^\(ab\)\{,2\}$ ^\(ab\)\+$ a\?b \<b a\b .\w a\ a\{ a\{2 a\{3,1\} \{1\} [a
        [[:a [[:none:]] \(a a\) a\)\(b \(a\)\{1,2\}b y b$ [^a]$ y.*b \by \<y \>b x\b
        x\> \Bb .[[:alpha:]]$ ^.$)");
    std::vector<std::string> patterns = {"", "\xff", "\xff\xff*", "\xc3\xa9", "[\xc3\xa9]"};
    patterns.insert(patterns.end(), std::istream_iterator<std::string>(plain), {});
    const char* const texts[] = {
        "",         "a",    "b",      "ab",       "ba",
        "aab",      "abab", "a^b",    "$",        "^a",
        "a$",       "42",   "]",      "\\",       "*a",
        "(",        "a{",   "a b",    "a)(b",     "x\xff\x80y b",
        "\xc3\xa9", "\xff", "a\xffy", "\xe2\x82", "\xffx\xc3\xa9y\xe2\x82"};
    // A byte that is no character of the locale is matched by no ".", and hides nothing behind it.
    for (const char* locale : {"C", "C.UTF-8"}) {
        ASSERT_NE(setlocale(LC_CTYPE, locale), nullptr);
        dri_forget_patterns();
        for (const std::string& pattern : patterns) {
            regex_t reference;
            const bool compiles = regcomp(&reference, pattern.c_str(), 0) == 0;
            for (const char* text : texts) {
                const bool expected =
                    compiles && regexec(&reference, text, 0, nullptr, 0) == 0;
                EXPECT_EQ(matches(pattern, text), expected)
                    << pattern << " in " << testing::PrintToString(text) << locale;
            }
            if (compiles) {
                regfree(&reference);
            }
        }
    }
    setlocale(LC_CTYPE, "C");
    dri_forget_patterns();
}

// Each of these would match, but might keep the C library busy for minutes or take its memory.
TEST(expr_patterns, hostile_ones_match_nothing) {
    const std::string text = repeated(50, "ab") + repeated(1025, "a") + repeated(513, ".");
    for (const std::string& pattern :
         {std::string("\\(a\\)b\\1"), repeated(1025, "a"), std::string("a\\{1025\\}"),
          repeated(513, "\\."), std::string("\\(\\(a*\\)\\{99\\}\\)\\{99\\}"),
          repeated(12, "\\(") + "a" + repeated(12, "\\)\\+"),
          "x*^" + repeated(36, "\\(a*b*\\)*"),
          "\\(\\b\\|" + repeated(4, "\\(a*\\b\\|\\<b*\\)*") + "\\)*",
          repeated(120, "\\b*a*"), std::string("\\(a\\{600\\}\\)\\+")}) {
        EXPECT_FALSE(matches(pattern, text)) << pattern;
    }
    EXPECT_TRUE(matches(repeated(1024, "a"), repeated(1024, "a")));
    EXPECT_TRUE(matches(repeated(500, "a") + "b\\{500\\}", // repeats its last item
                        repeated(500, "a") + repeated(500, "b")));
    EXPECT_TRUE(matches("\\(a\\{600\\}\\)\\?", repeated(600, "a")));     // is no more
    EXPECT_TRUE(matches("\\([^]aaaa]\\)\\{200\\}", repeated(200, "x"))); // one set
    EXPECT_TRUE(matches("^" + repeated(20, "\\(a*b*\\)*") + "$", repeated(50, "ab")));
    // One state for each byte is too much for a long text; a short pattern has few.
    const std::string half(500000, 'a');
    EXPECT_FALSE(matches("a" + repeated(30, "."), half));
    EXPECT_TRUE(matches("needle", half + "needle" + half));
    // Behind bytes that are no characters a search begins anew, but not without end.
    ASSERT_NE(setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    EXPECT_TRUE(matches("b", std::string(1000, '\xff') + "b"));
    EXPECT_FALSE(matches("b", std::string(1100, '\xff') + "b"));
    setlocale(LC_CTYPE, "C");
}

TEST(expr_patterns, are_compiled_once_for_each_expression) {
    std::vector<std::shared_ptr<const dr_xpath_c>> paths;
    for (int i = 100; i < 1400; ++i) {
        const std::string number = std::to_string(i);
        paths.push_back(
            dri_xpath_get(("a[match('" + number + "', '^" + number + "$')]").c_str()));
    }
    drend_env_value_lookup_c nothing;
    dr_str_buf_c result;
    const auto evaluate_all = [&] {
        const int before = compilations;
        for (const auto& path : paths) {
            EXPECT_EQ(dri_eval_expr(*path->predicates()[0].node, nothing, result), 1);
        }
        return compilations - before;
    };
    EXPECT_EQ(evaluate_all(), 1300);
    EXPECT_EQ(evaluate_all(), 0);
    dri_reset_xpath_cache();
    EXPECT_EQ(evaluate_all(), 1300);
    // What is gone takes no room from others.
    paths.resize(1);
    std::vector<std::optional<dr_xp_pattern_c>> places(5000);
    for (auto& place : places) {
        ASSERT_TRUE(place.emplace().match("^1234$", "1234"));
        place.reset();
    }
    EXPECT_EQ(evaluate_all(), 0);
}

TEST(expr_patterns, are_forgotten_when_they_keep_too_much) {
    const dr_xp_pattern_c place;
    const int before = compilations;
    for (int i = 0; i < 10000; ++i) {
        ASSERT_TRUE(place.match("0\\{1,20\\}x", "ge-00000000000000x"));
    }
    EXPECT_GT(compilations - before, 5);
    EXPECT_LT(compilations - before, 100);
}

TEST(expr_patterns, any_thread) {
    const dr_xp_pattern_c place;
    const auto work = [&](bool forgets) {
        for (int i = 0; i < 500; ++i) {
            EXPECT_TRUE(place.match("a.*" + std::to_string(i % 5), "a-01234"));
            if (forgets) {
                dri_forget_patterns();
            }
        }
    };
    std::thread other(work, true);
    work(false);
    other.join();
}

TEST(expr_gather, equalities_that_must_hold) {
    using names_t = std::map<std::string, std::string>;
    const std::pair<const char*, names_t> cases[] = {
        {"a = 'x'", {{"mt-a", "x"}}},
        {"(a = 'x') and ((b = 'y') and c)", {{"mt-a", "x"}, {"mt-b", "y"}}},
        {"(a = 'x') and (a = 'y')", {{"mt-a", "y"}}},
        {"(a = 'x') and ((b = 'y') or (c = 'z'))", {{"mt-a", "x"}}},
        {"(a = 'x') or (b = 'y')", {}},
        {"a = 'x' and b = 'y'", {}}, // compares the truth of "and" with y
        {"(a = 'x') = (b = 'y')", {}},
        {"f(a = 'x')", {}},
        {"'x' = a", {}},
        {"a = b", {}},
        {"a = ''", {}},
        {"a > '1'", {}},
    };
    for (const auto& [expression, expected] : cases) {
        drend_env_value_lookup_c lookup;
        names_t found;
        dri_gather_filter_expr(tree(expression), lookup, found);
        EXPECT_EQ(found, expected) << expression;
    }
    blank_lookup_c nothing;
    names_t kept{{"other", "1"}};
    dri_gather_filter_expr(tree("a = 'x'"), nothing, kept);
    EXPECT_EQ(kept, (names_t{{"other", "1"}}));
}
