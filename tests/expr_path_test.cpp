// SPDX-License-Identifier: BSD-2-Clause

// Reading of expressions: tokens, paths with predicates, trees, the cache, value-map expressions.
#include <gmock/gmock.h>

#include "drend.h"
#include "expr/dr_map_expr.h"
#include "expr/dr_text_cache.h"
#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "failing_memory.h"
#include "repeated.h"
#include "traced.h"

namespace {

using lexer_t = int (*)(const char*&, dr_str_buf_c&, const char*&);

// Every token as its code and its text, up to the end or an error.
std::string tokens(lexer_t lexer, const std::string& input) {
    std::string all;
    const char* cursor = input.c_str();
    const char* start = nullptr;
    dr_str_buf_c text;
    for (;;) {
        const int code = lexer(cursor, text, start);
        if (code <= 0) {
            return all + std::to_string(code);
        }
        const char* after = cursor;
        cursor = start; // what is given back is read again
        EXPECT_EQ(lexer(cursor, text, start), code) << input;
        EXPECT_EQ(cursor, after) << input;
        all += std::to_string(code) + ":" + text.c_str() + " ";
    }
}

std::string dump(const std::vector<xp_node_c>& steps) {
    dr_str_buf_c text;
    dri_xpath_dump(steps, text);
    return text.c_str();
}

// The path as it is printed, or "-1".
std::string reparsed(const std::string& path) {
    std::vector<xp_node_c> steps;
    return dri_xpath_parse(path.c_str(), steps) == 0 ? dump(steps) : "-1";
}

} // namespace

TEST(expr_lexer, tokens) {
    const std::string word = repeated(100, "long");
    const std::pair<std::string, std::string> cases[] = {
        {"", "0"},
        {" \t\n", "0"},
        {"a/b[c='x y']", "3:a 47:/ 3:b 91:[ 3:c 61:= 4:x y 93:] 0"},
        {"and or android \"or\"", "1:and 2:or 3:android 4:or 0"},
        {"!(),/<=>[]", "33:! 40:( 41:) 44:, 47:/ 60:< 61:= 62:> 91:[ 93:] 0"},
        {"if-name:x.1*\xe4\xff", "3:if-name:x.1*\xe4\xff 0"},
        {"ab'c'd", "4:c 3:d 0"},
        {"'it\\'s' \"it's\"", "4:it's 4:it's 0"},
        {"a 'b", "3:a -1"},
        {"a'b", "-1"},
        {word + " '" + word + "'", "3:" + word + " 4:" + word + " 0"},
    };
    for (const auto& [input, expected] : cases) {
        EXPECT_EQ(tokens(dri_xp_lexer_next, input), expected);
    }
    EXPECT_EQ(tokens(dri_map_lexer_next, "='a/b'+val(x[1])values and"),
              "61:= 2:a/b 43:+ 3:val 40:( 1:x[1] 41:) 1:values 1:and 0");
}

TEST(expr_parser, paths_and_their_text) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"a/b[c='x']/d", "a/b[(c = 'x')]/d"},
        {"/a", "/a"},
        {"a//b/", "a//b/"},
        {" a:b / if-name ", "a:b/if-name"},
        {"'q r' s/a=b", "q rs/a=b"},
        {"a[x and y or z]", "a[((x and y) or z)]"},
        {"a[x or y and z]", "a[((x or y) and z)]"},
        {"a[x<1=y>2]", "a[(((x < 1) = y) > 2)]"},
        {"a[x and (y or z)]", "a[(x and (y or z))]"},
        {"a[(x)]", "a[((x))]"},
        {"a[f()]", "a[(f())]"},
        {"a[f(a,,b)]", "a[(f((a), (b)))]"},
        {"a[f(a g('b')=1)]", "a[(f((a), (g(('b')) = 1)))]"},
        {"a[x='1'][y='2'] [z]b", "ab[(x = '1')][(y = '2')][(z)]"},
        {"a/b'c", "a/"}, // what is never closed ends the path
    };
    for (const auto& [path, expected] : cases) {
        EXPECT_EQ(reparsed(path), expected) << path;
        EXPECT_EQ(reparsed(path), expected) << path << " from the cache";
    }
}

TEST(expr_parser, what_does_not_parse) {
    for (const char* path : {"a[", "a[]", "a[x", "a[x y]", "a[x=]", "a[=x]", "a[x='1'",
                             "a['x]", "a[!x]", "a[and]", "a[(x]", "a[x)]", "a[()]",
                             "a[f(,a)]", "a[f(a]", "a[f(", "a[f(a,", "a[x][y", "a[[x]]"}) {
        std::vector<xp_node_c> steps(3);
        EXPECT_EQ(dri_xpath_parse(path, steps), -1) << path;
        EXPECT_EQ(dri_xpath_get(path), nullptr) << path;
        EXPECT_EQ(steps.size(), 3U) << path;
    }
}

TEST(expr_parser, one_expression_within_a_text) {
    const char* cursor = " x = 'y'] rest";
    xp_node_c node;
    node.text = "step";
    ASSERT_EQ(dri_xp_parse_expr(cursor, node), 0);
    EXPECT_STREQ(cursor, "] rest");
    EXPECT_EQ(node.text, "step");
    EXPECT_EQ(node.type, XP_NODE_EQUAL);
    cursor = "x = ]";
    EXPECT_EQ(dri_xp_parse_expr(cursor, node), -1);
    EXPECT_EQ(node.right->text, "y");
}

TEST(expr_parser, nesting_is_bounded) {
    struct shape_s {
        const char *open, *core, *close;
        int each; // levels of one round
    };
    for (const shape_s& shape :
         {shape_s{"(", "x", ")", 1}, shape_s{"f(", "x", ")", 1}, shape_s{"", "x", "=x", 1},
          shape_s{"y and (", "x", ")", 2}}) {
        const auto nested = [&](int n) {
            return "a[" + repeated(n, shape.open) + shape.core + repeated(n, shape.close) +
                   "]";
        };
        EXPECT_NE(reparsed(nested(256 / shape.each)), "-1") << shape.open;
        EXPECT_EQ(reparsed(nested(256 / shape.each + 1)), "-1") << shape.open;
        EXPECT_EQ(reparsed(nested(200000)), "-1") << shape.open;
    }
}

// What a path may hold, to the last piece; of several paths, what they hold together.
TEST(expr_parser, size_is_bounded) {
    struct {
        const char *open, *each, *close;
        int most;
    } const cases[] = {
        {"", "a/", "", 4095},
        {"a", "[x]", "", 2047},
        {"a", "[x='y']", "", 1365},
        {"a[f(", "b ", ")]", 2046},
        {"a[f(", "match() ", ")]", 256},
        {"a", "[match(x, y)]", "", 256},
        {"a[f(", "match(x, 'abcdefghijklmnopqrstuvwxyz0123456789abcdefghijklmnopqrst') ",
         ")]", 256},
        {"a[f(", "match(x, ('a\\{256\\}')) ", ")]", 16},
        {"a[f(", "match(x, '\\(a*b*\\)\\{20\\}') ", ")]", 10},
        {"a[f(", "match(x, '\\(a\\)\\1') ", ")]",
         256}, // matches nothing, so it costs nothing
    };
    for (const auto& c : cases) {
        const auto with = [&](int n) { return c.open + repeated(n, c.each) + c.close; };
        EXPECT_NE(dri_xpath_get(with(c.most).c_str()), nullptr) << c.open << c.each;
        EXPECT_EQ(dri_xpath_get(with(c.most + 1).c_str()), nullptr) << c.open << c.each;
        EXPECT_EQ(dri_xpath_get(with(100000).c_str()), nullptr) << c.open << c.each;
    }
    for (const std::string& path : {repeated(600, "[x]"), repeated(80, "[match(x, y)]"),
                                    repeated(5, "[match(x, 'a\\{256\\}')]")}) {
        dr_xp_size_s together;
        for (int i = 0; i < 3; ++i) {
            EXPECT_NE(dri_xpath_make(("a" + path).c_str(), together), nullptr) << path;
        }
        EXPECT_EQ(dri_xpath_make(("a" + path).c_str(), together), nullptr) << path;
    }
}

TEST(expr_parser, facts_about_predicates) {
    struct {
        const char* path;
        std::vector<std::pair<bool, bool>> expected; // calls local_name, holds a bare word
    } const cases[] = {
        {"a/b", {}},
        {"a[ local_name ( ) = 'x']", {{true, false}}},
        {"a[('y' = 'z') or f(local_name())][x]/b['local_name()']",
         {{true, false}, {false, true}, {false, false}}},
        {"a[local_name() = x]", {{true, true}}},
    };
    for (const auto& [path, expected] : cases) {
        const auto parsed = dri_xpath_get(path);
        std::vector<std::pair<bool, bool>> found;
        for (const dr_xp_predicate_s& predicate : parsed->predicates()) {
            found.emplace_back(predicate.calls_local_name, predicate.holds_bare_word);
        }
        EXPECT_EQ(found, expected) << path;
    }
}

TEST(expr_cache, shares_and_stays_small) {
    const auto first = dri_xpath_get("a[b='c']");
    EXPECT_EQ(dri_xpath_get("a[b='c']"), first);
    dri_reset_xpath_cache();
    EXPECT_NE(dri_xpath_get("a[b='c']"), first);

    // By what they hold: names, predicates of many nodes, and what is too large to be kept.
    const struct {
        size_t name, nodes, count;
    } loads[] = {{8, 0, 5000}, {8, 50, 300}, {4096, 0, 100}, {8, 400, 10}};
    for (const auto& load : loads) {
        dri_reset_xpath_cache();
        std::vector<std::weak_ptr<const dr_xpath_c>> paths;
        size_t most = 0;
        for (size_t i = 0; i < load.count; ++i) {
            std::string name = std::to_string(i);
            name.resize(load.name, 'x');
            paths.push_back(dri_xpath_get(
                (name + repeated(static_cast<int>(load.nodes), "[a]")).c_str()));
            size_t held = 0;
            for (const auto& path : paths) {
                held += path.expired() ? 0 : 1;
            }
            most = std::max(most, held);
        }
        const size_t nodes = 1 + 2 * load.nodes;
        const size_t least = nodes * sizeof(xp_node_c) + load.name;
        EXPECT_LE(most * least, XP_KEPT_MEMORY) << load.nodes;
        EXPECT_EQ(most > 0, least < XP_KEPT_MEMORY / 8) << load.nodes;
    }
}

// What the cache goes by is what an expression takes, or somewhat more.
TEST(expr_node, memory_is_not_underestimated) {
    SKIP_UNLESS_HELD_BYTES_COUNT();
    const std::string name(100, 'n');
    for (const std::string& path :
         {"a" + repeated(200, "[" + name + "='" + name + "']"),
          "a[f(" + repeated(200, name + " ") + ")]",
          "a[" + name + repeated(200, "=x") + "]", "a" + repeated(30, "[match(x, 'a')]")}) {
        std::vector<xp_node_c> steps;
        const long before = held_bytes;
        ASSERT_EQ(dri_xpath_parse(path.c_str(), steps), 0) << path;
        size_t estimate = steps.capacity() * sizeof steps[0] + DRI_BLOCK_MEMORY;
        for (const xp_node_c& step : steps) {
            estimate += dri_memory_below(step);
        }
        const auto taken = static_cast<size_t>(held_bytes - before);
        EXPECT_GE(estimate, taken) << path;
        EXPECT_LE(estimate, 2 * taken) << path;
    }
}

TEST(expr_node, copies_are_deep) {
    std::vector<xp_node_c> steps;
    ASSERT_EQ(dri_xpath_parse("a[f(x)='1'][y]", steps), 0);
    const std::vector<xp_node_c> copy = steps;
    steps[0].left->args[0]->left->text = "changed";
    steps[0].more_predicates.clear();
    EXPECT_EQ(dump(copy), "a[(f((x)) = '1')][(y)]");
    EXPECT_EQ(dump(steps), "a[(f((changed)) = '1')]");

    xp_node_c& node = steps[0];
    node = *node.left; // a part of itself
    EXPECT_EQ(node.type, XP_NODE_CALL);
    node = std::move(*node.args[0]);
    EXPECT_EQ(node.left->text, "changed");
    node = &copy[0];
    EXPECT_EQ(dump(steps), dump(copy));
    node = static_cast<const xp_node_c*>(nullptr);
    EXPECT_EQ(node.type, XP_NODE_NONE);
    EXPECT_EQ(node.text, "");
}

TEST(expr_node, a_leaf_keeps_all_that_it_has_until_it_is_reset) {
    const auto path = dri_xpath_get("a[x][-7 > y]");
    const xp_node_c& second = *path->predicates()[1].node;
    const xp_node_c* const leaves[] = {second.left.get(), second.right.get()};
    for (const xp_node_c* leaf : leaves) {
        const xp_node_c constructed(*leaf);
        xp_node_c assigned;
        assigned = constructed;
        for (const xp_node_c& copy : {constructed, assigned}) {
            EXPECT_EQ(copy.text, leaf->text);
            EXPECT_EQ(copy.kind, leaf->kind);
            EXPECT_EQ(copy.type, XP_NODE_VALUE);
            EXPECT_EQ(copy.slot, leaf->slot);
            EXPECT_EQ(copy.number.is_whole, leaf->number.is_whole);
            EXPECT_EQ(copy.number.value, leaf->number.value);
        }
        assigned.reset();
        EXPECT_EQ(assigned.text, "");
        EXPECT_EQ(assigned.type, XP_NODE_NONE);
        EXPECT_EQ(assigned.slot, 0U);
    }
    EXPECT_EQ(leaves[0]->number.value, -7);
    EXPECT_EQ(leaves[1]->slot, 2U); // the number is a word, too
}

TEST(expr_node, trace_of_a_tree) {
    const traced_c traced(0);
    db_dump_expr(dri_xpath_get("a[f(x)='1' and y]")->steps()[0]);
    EXPECT_EQ(traced_c::text, "anda\n"
                              "  =\n"
                              "    call:f\n"
                              "      expr:\n"
                              "        value:x\n"
                              "    value:'1'\n"
                              "  value:y\n");
}

TEST(map_expr, terms) {
    const auto parsed = [](const char* text) -> std::string {
        std::vector<dr_map_term_s> terms{{false, "untouched"}};
        std::string all = std::to_string(dri_map_expr_parse(text, terms));
        for (const dr_map_term_s& term : terms) {
            all += (term.is_val ? " val:" : " text:") + term.text;
        }
        return all;
    };
    EXPECT_EQ(parsed("='up'+val('name')"), "0 text:up val:name");
    EXPECT_EQ(parsed("= val ( \"a/b\" ) + '' junk"), "0 val:a/b text:");
    EXPECT_EQ(parsed("='a' 'b' + 'c'"), "0 text:a");
    EXPECT_EQ(parsed("='a' 'b"), "0 text:a");
    for (const char* text : {"", "=", "'a'", "=a", "='a", "='a'+", "='a'+'b", "=val",
                             "=val('a'", "=val(a)", "=val('a'+'b')", "=+'a'", "x='a'"}) {
        EXPECT_EQ(parsed(text), "-1 text:untouched") << text;
    }
}
