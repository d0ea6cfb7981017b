// SPDX-License-Identifier: BSD-2-Clause

// What drendctl shows of an answer that is asked for again and again.
#include <algorithm>
#include <tuple>

#include <gtest/gtest.h>

#include "tools/drendctl/screen.h"
#include "tools/drendctl/watch.h"
#include "tools/drendctl/watched_changes.h"

namespace {

// What is watched: "|" is the mark of a field, each "~" ends an answer that came a second after
// the one before.
std::string watched(std::string text, bool is_terminal = false, bool is_cut = false) {
    watched_changes_c changes(is_terminal);
    std::replace(text.begin(), text.end(), '|', '\x1f');
    watched_changes_c::time_point_t time{};
    std::string last;
    for (size_t end = text.find('~'); end != std::string::npos; end = text.find('~')) {
        watched_frame_c frame;
        for (const char c : text.substr(0, end)) {
            frame.add({&c, 1});
        }
        frame.finish();
        text.erase(0, end + 1);
        last.clear();
        for (const std::string& line : changes.next(frame.take_lines(), is_cut, time)) {
            last += line + "\n";
        }
        time += std::chrono::seconds(1);
    }
    return last;
}

} // namespace

TEST(drendctl_changes, lines_that_watch) {
    const std::tuple<const char*, double, const char*> cases[] = {
        {"watch show-x a", 2, "show-x a"},
        {"watch 0.5 show-x", 0.5, "show-x"},
        {"watch 5", 2, "5"},
        {"watch 5 ", 5, ""},
        {"watch  0.01 x", 2, "0.01 x"},
        {"watch -1 x", 2, "-1 x"},
        {"watch nan x", 2, "nan x"},
        {"watch ", 2, ""},
    };
    for (const auto& [line, seconds, request] : cases) {
        const auto watch = read_watch_line(line);
        EXPECT_TRUE(watch && watch->seconds == seconds && watch->request == request)
            << line;
    }
    EXPECT_FALSE(read_watch_line("watch") || read_watch_line("watchful x"));
}

TEST(drendctl_changes, what_has_changed_is_known_by_its_keys) {
    const std::string header = "|hname|h  state|h  octets|h  octets/s\n";
    const std::string first = header + "|kp1  |v  up   |c      10|r         -\n"
                                       "|kp2  |v  up   |c       5|r         -\n"
                                       "|kp3  |v  up   |c       7|r         -\n~";
    EXPECT_EQ(watched(first), "  name  state  octets  octets/s\n"
                              "  p1    up         10         -\n"
                              "  p2    up          5         -\n"
                              "  p3    up          7         -\n");
    EXPECT_EQ(watched(first + header +
                      "|kp0  |v  up   |c       1|r         -\n"
                      "|kp1  |v  down |c     522|r         -\n"
                      "|kp3  |v  up   |c       6|r         -\n~"),
              "  name  state  octets  octets/s\n"
              "+ p0    up          1         -\n"
              "  p1    down*     522*      512\n"
              "- p2    up          5         -\n"
              "  p3    up          6*        -\n"); // a counter that went back has no rate
    // Columns that came do not make other cells differ, and neither does another width.
    EXPECT_EQ(watched(first + "|hname|h  new|h  state|h  octets|h  octets/s\n"
                              "|kp1  |v  x  |v  up  |c   10|r         -\n~"),
              "  name  new  state  octets  octets/s\n"
              "  p1    x    up     10         0\n"
              "- p2    up          5         -\n"
              "- p3    up          7         -\n");
    EXPECT_EQ(watched(first + "~"), "- p1    up         10         -\n"
                                    "- p2    up          5         -\n"
                                    "- p3    up          7         -\n");
}

TEST(drendctl_changes, what_has_changed_is_known_by_what_it_is_in) {
    EXPECT_EQ(
        watched("|ta\n  |nx: |v1\n|tb\n  |nx: |v1\n~|ta\n  |nx: |v1\n|tb\n  |nx: |v2\n~"),
        "  a\n    x: 1\n  b\n    x: 2*\n");
    // Blocks below rows, and rows that are sections: the same keys below other ones.
    const std::string blocks =
        "|hk\n|k1\n    |hip|h  n\n    |ka |v  1\n|k2\n    |hip|h  n\n";
    EXPECT_EQ(watched(blocks + "    |ka |v  1\n~" + blocks + "    |ka |v  2\n~"),
              "  k\n  1\n      ip  n\n      a   1\n  2\n      ip  n\n      a   2*\n");
    const std::string row = "    |hip|h  n\n    |ka |v  1\n";
    EXPECT_EQ(watched("|hk\n|k2\n" + row +
                      "~|hk\n|k1\n    |hip|h  n\n    |ka |v  9\n|k2\n" + row + "~"),
              "  k\n+ 1\n      ip  n\n+     a   9\n  2\n      ip  n\n      a   1\n");
    EXPECT_EQ(watched("|nk: |ka\n|nv: |c1\n\n|nk: |kb\n|nv: |c1\n~"
                      "|nk: |kb\n|nv: |c3 B\n\n|nk: |kc\n|nv: |c1\n~"),
              "- k: a\n- v: 1\n  k: b\n  v: 3 B*  2.0/s\n  \n+ k: c\n+ v: 1\n");
    // Rows without keys are known by their place, and so are rows of the same keys.
    EXPECT_EQ(watched("|hn\n|v1\n|v2\n~|hn\n|v1\n|v3\n|v4\n~"), "  n\n  1\n  3*\n+ 4\n");
    EXPECT_EQ(watched("|hk|h n\n|k1|v 1\n|k1|v 2\n~|hk|h n\n|k1|v 1\n|k1|v 3\n~"),
              "  k n\n  1 1\n  1 3*\n");
    EXPECT_EQ(watched("<a>\n 1\n~<a>\n 2\n~"),
              "  <a>\n   2\n"); // of other texts nothing is known
}

TEST(drendctl_changes, what_a_page_hides_has_neither_come_nor_gone) {
    EXPECT_EQ(watched("|hk\n|k1\n|k2\n|k3\n~|hk\n|k2\n|k3\n|k4\n~", false, true),
              "  k\n- 1\n  2\n  3\n  4\n");
    EXPECT_EQ(watched("|hk\n|k2\n|k3\n~|hk\n|k1\n|k2\n~", false, true), "  k\n+ 1\n  2\n");
}

TEST(drendctl_changes, what_is_watched_is_safe_for_a_terminal) {
    const std::string up = "\033[32mup\033[0m";
    EXPECT_EQ(
        watched("|\033[1mhk|h s\033[0m\n|k\033[2J1|v " + up + " \n~"), // no such field
        "  [1mhk s\n  \\x1b[2J1 " + up + " \n");
    EXPECT_EQ(
        watched("|hk|h  s\n|k1|v  down\n|k2|v  x\n~|hk|h  s\n|k1|v  " + up + "\n~", true),
        "  \033[1mk  s\033[0m\n  1  \033[7m" + up +
            "\033[0m\n"
            "\033[2m- 2  x\033[0m\n");
    EXPECT_EQ(watched("|h\033[1ma|h  b\033[0m\n~", true), "  \033[1ma  b\033[0m\n");
    EXPECT_EQ(watched("\x9b"
                      "2J\n|k\r\n~"),
              "  \\x9b2J\n  \\x0d\n");
}

TEST(drendctl_changes, what_is_watched_is_bounded) {
    watched_frame_c few(2);
    EXPECT_TRUE(few.add("1\n2\n"));
    EXPECT_FALSE(few.is_cut());
    EXPECT_TRUE(few.add("3\n"));
    few.finish();
    EXPECT_EQ(few.take_lines().size(), 2U);
    EXPECT_TRUE(few.is_cut());
    watched_frame_c endless;
    const std::string part(watched_frame_c::BYTES_MAX / 2, 'x');
    EXPECT_TRUE(endless.add(part) && endless.add(part));
    EXPECT_FALSE(endless.add("x"));
    EXPECT_TRUE(endless.is_cut());
}

TEST(drendctl_changes, lines_are_cut_to_the_width_of_a_screen) {
    EXPECT_EQ(cropped("abc", 3), "abc");
    EXPECT_EQ(cropped("a\033[7m\u00e9\u00e9c\033[0m", 2), "a\033[7m\u00e9\033[0m");
    EXPECT_EQ(cropped("ab\033[7", 9), "ab\033[7");
}
