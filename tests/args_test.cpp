// SPDX-License-Identifier: BSD-2-Clause

// The argument texts of requests.
#include <gmock/gmock.h>

#include "expr/dri_args.h"

namespace {

// The result, then every pair as (name|value).
std::string parsed(const std::string& text) {
    // Of its own size, so that a memory checker sees what is read behind it.
    const std::vector<char> exact(text.c_str(), text.c_str() + text.size() + 1);
    dr_args_t pairs(1);
    std::string all = std::to_string(dri_args_parse(exact.data(), pairs));
    for (const auto& [name, value] : pairs) {
        all += std::string(" (") + name.c_str() + "|" + value.c_str() + ")";
    }
    return all;
}

} // namespace

TEST(args, grammar) {
    const std::string name(300, 'n');
    const std::pair<std::string, std::string> cases[] = {
        {"", "0"},
        {" ,\t\n", "0"},
        {"filter='a b' as-json, x=1", "3 (filter|'a b') (as-json|) (x|1)"},
        {"a=1,,b=2,", "2 (a|1) (b|2)"},
        {"a=1 a=2", "2 (a|1) (a|2)"},
        {"a==b=c", "1 (a|=b=c)"},
        {"=a=b", "1 (=a|b)"},
        {"a= b", "2 (a|) (b|)"},
        {"x='it\\'s'", "1 (x|'it's')"},
        {"x=a\"b,c\"'d'e", "1 (x|a\"b,c\"'d'e)"},
        {"'a b'c=1", "1 (a bc|1)"},
        {"'a'=b=c", "1 (a=b|c)"},
        {"'a''b'c", "1 (bc|)"},
        {"'a' b=1 'c'", "1 (b|1)"},
        {"a=1 na\"me=1 b=2", "-1 (a|1)"},
        {"a=1 b='2", "-1 (a|1)"},
        {"'a", "-1"},
        {"a='b\\'", "-1"},
        {name + "=" + name, "1 (" + name + "|" + name + ")"},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(parsed(text), expected) << text;
    }
}

TEST(args, first_of_a_name) {
    dr_str_buf_c value("untouched");
    EXPECT_EQ(dri_args_find(nullptr, "a", value), 0);
    EXPECT_EQ(dri_args_find("A=1, ab", "a", value), 0);
    EXPECT_EQ(value, "untouched");
    EXPECT_EQ(dri_args_find("b, a=1 a=2 'x", "a", value), 1);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(dri_args_find("a=1 'x b=2", "b", value), 0);
    EXPECT_EQ(dri_args_find("b a=1", "b", value), 1);
    EXPECT_EQ(value, "");

    dr_args_t pairs;
    dri_args_parse("a=1 a=2", pairs);
    EXPECT_EQ(dri_args_field_value(pairs, "a", value), 1);
    EXPECT_EQ(value, "1");
    EXPECT_EQ(dri_args_field_value(pairs, "A", value), 0);
}
