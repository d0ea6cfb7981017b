// SPDX-License-Identifier: BSD-2-Clause

// The reference platform: string buffer, address texts, idle timers.
#include "orvex_platform/eventlib.h"
#include "orvex_platform/inet.h"
#include "orvex_platform/sbuf.h"

#include <cerrno>
#include <climits>
#include <cstring>
#include <event2/event.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <string>
#include <vector>

namespace {

class StringBuffer : public ::testing::Test {
  protected:
    StringBuffer() { sbuf_init_buf(&buf, area, sizeof(area)); }
    ~StringBuffer() override { sbuf_reset(buf); }

    bool in_area() const {
        return sbuf_str(buf) >= area && sbuf_str(buf) < area + sizeof(area);
    }
    std::string text() const {
        std::string content = sbuf_str(buf);
        EXPECT_EQ(content.size(), sbuf_len(buf));
        return content;
    }

    char area[256];
    str_buf_s* buf = nullptr;
};

TEST_F(StringBuffer, ReplacesAppendsAndIndents) {
    EXPECT_EQ(text(), "");
    EXPECT_EQ(sbuf_cpy(buf, "one"), 0);
    EXPECT_EQ(sbuf_append(buf, " %d", 2), 0);
    EXPECT_EQ(sbuf_indent_append(buf, 2, "%s", "three"), 0);
    EXPECT_EQ(sbuf_indent_append(buf, -1, "%c", '!'), 0);
    EXPECT_EQ(text(), "one 2    three!");
    EXPECT_STREQ(sbuf_raw_str(buf, 0), "one 2    three!");
    EXPECT_STREQ(sbuf_raw_str(buf, 9), "three!");
    EXPECT_STREQ(sbuf_raw_str(buf, 15), "");
    EXPECT_STREQ(sbuf_raw_str(buf, 1000), "");
    EXPECT_EQ(sbuf_printf(buf, "%s=%s", "key", "value"), 0);
    EXPECT_EQ(text(), "key=value");
    sbuf_reset(buf);
    EXPECT_EQ(text(), "");
    EXPECT_TRUE(in_area());
}

TEST_F(StringBuffer, GrowsToTheHeapAndComesBackAlsoByTextsOutOfItself) {
    std::string expected = "abc";
    sbuf_cpy(buf, "abc");
    for (int i = 0; i < 9;
         ++i) { // Within the area, out of it, and from one block to the next.
        ASSERT_EQ(sbuf_append(buf, "%s", sbuf_str(buf)), 0);
        expected += expected;
        ASSERT_EQ(text(), expected);
    }
    EXPECT_FALSE(in_area());
    ASSERT_EQ(sbuf_indent_append(buf, 1, "[%s]", sbuf_str(buf)), 0);
    expected += "  [" + expected + "]";
    ASSERT_EQ(text(), expected);
    ASSERT_EQ(sbuf_indent_append(buf, 4000, "%s", sbuf_raw_str(buf, 1)), 0);
    expected += std::string(8000, ' ') + expected.substr(1);
    ASSERT_EQ(text(), expected);
    ASSERT_EQ(sbuf_cpy(buf, sbuf_raw_str(buf, 5)), 0);
    ASSERT_EQ(text(), expected.substr(5));
    ASSERT_EQ(
        sbuf_printf(buf, "%.3s-%s", sbuf_str(buf), sbuf_raw_str(buf, sbuf_len(buf) - 2)),
        0);
    ASSERT_EQ(text(), "cab-c]");
    sbuf_reset(buf);
    EXPECT_EQ(text(), "");
    EXPECT_TRUE(in_area());
}

// No text may be longer than its length can tell; the content then stays.
TEST_F(StringBuffer, KeepsItsContentWhenACallFails) {
    sbuf_cpy(buf, "kept");
    EXPECT_EQ(sbuf_indent_append(buf, INT_MAX, "%s", "x"), -1);
    EXPECT_EQ(sbuf_indent_append(buf, INT_MAX, "%d", 1), -1);
    const wchar_t unencodable[] = {static_cast<wchar_t>(0xd800), 0};
    EXPECT_EQ(sbuf_append(buf, "%ls", unencodable), -1);
    EXPECT_EQ(sbuf_printf(buf, "%ls", unencodable), -1);
    EXPECT_EQ(text(), "kept");
}

TEST_F(StringBuffer, StripsOnePairOfQuotes) {
    const std::pair<const char*, const char*> cases[] = {
        {"\"a\"", "a"}, {"'a b'", "a b"}, {"''", ""}, {"''a''", "'a'"}, {"\"a'", "\"a'"},
        {"'a", "'a"},   {"a'", "a'"},     {"'", "'"}, {"", ""},         {"aa", "aa"}};
    for (const auto& [before, after] : cases) {
        sbuf_cpy(buf, before);
        sbuf_strip_quotes(buf);
        EXPECT_EQ(text(), after) << before;
    }
}

TEST(StringBufferArea, NeedsNoAlignment) {
    for (size_t skipped = 0; skipped < 16; ++skipped) {
        // On the heap, so that a byte beside the area is a fault that tools see.
        std::vector<char> area(skipped + SBUF_AREA_MIN);
        str_buf_s* buf = nullptr;
        sbuf_init_buf(&buf, area.data() + skipped, SBUF_AREA_MIN);
        for (int i = 0; i < SBUF_AREA_MIN; ++i)
            ASSERT_EQ(sbuf_append(buf, "%d", i % 10), 0);
        EXPECT_EQ(sbuf_len(buf), static_cast<unsigned>(SBUF_AREA_MIN));
        sbuf_reset(buf);
    }
}

TEST(Inet, WritesAddressesOfTheManagementPlanesFamilies) {
    const unsigned char v4[] = {192, 0, 2, 7};
    const unsigned char v6[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0,
                                  0,    0,    0,    0,    0, 0, 0, 1};
    char text[46];
    EXPECT_STREQ(__inet_ntop(2, v4, text, 16), "192.0.2.7");
    EXPECT_STREQ(__inet_ntop(28, v6, text, sizeof(text)), "2001:db8::1");
    EXPECT_EQ(__inet_ntop(2, v4, text, 4), nullptr);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(__inet_ntop(AF_INET6, v6, text, sizeof(text)), nullptr);
    EXPECT_EQ(errno, EAFNOSUPPORT);
}

// A loop with `priorities` priorities that writes down what ran, one letter for each event.
class IdleTimer : public ::testing::TestWithParam<int> {
  protected:
    IdleTimer() : base(event_base_new()), ctx{base} {
        event_base_priority_init(base, GetParam());
    }
    ~IdleTimer() override {
        platform_clear_idle_timers(ctx);
        event_base_free(base);
    }

    int set(evTimerFunc func, long nanoseconds = 100) {
        return __evSetIdleTimer(ctx, func, this, __evConsTime(0, nanoseconds), nullptr);
    }
    static void idle(evContext context, void* uap, timespec due, timespec inter) {
        IdleTimer* self = static_cast<IdleTimer*>(uap);
        EXPECT_EQ(context.opaque, self->base);
        self->ran += 'i';
        self->last_due = due;
        self->last_inter = inter;
    }
    static void again(evContext, void* uap, timespec, timespec) {
        IdleTimer* self = static_cast<IdleTimer*>(uap);
        self->ran += 'a';
        EXPECT_EQ(self->set(idle), 0);
    }
    static void busy(evutil_socket_t, short, void* self) {
        static_cast<IdleTimer*>(self)->ran += 'b';
    }
    void run() { EXPECT_GE(event_base_dispatch(base), 0); }

    event_base* base;
    evContext ctx;
    std::string ran;
    timespec last_due = {0, 0};
    timespec last_inter = {0, 0};
};

TEST_P(IdleTimer, FiresOnceWithWhatItWasSetWith) {
    const auto nanoseconds = [](timespec t) {
        return t.tv_sec * 1'000'000'000LL + t.tv_nsec;
    };
    timespec start{};
    clock_gettime(CLOCK_REALTIME, &start);
    evTimerID id = {nullptr};
    ASSERT_EQ(__evSetIdleTimer(ctx, idle, this, __evConsTime(1, 1), &id), 0);
    EXPECT_NE(id.opaque, nullptr);
    run();
    run();
    EXPECT_EQ(ran, "i");
    EXPECT_EQ(nanoseconds(last_inter), 1'000'000'001);
    EXPECT_GE(nanoseconds(last_due) - nanoseconds(start), 1'000'000'001);
}

TEST_P(IdleTimer, LetsReadyEventsPass) {
    ASSERT_EQ(set(idle), 0);
    ASSERT_EQ(set(idle), 0);
    event* late = event_new(base, -1, 0, busy, this);
    const timeval nothing = {0, 1};
    event_add(late, &nothing); // Due after the idle timers, yet ready in the same turn.
    const timespec pause = {0, 5'000'000};
    nanosleep(&pause, nullptr);
    run();
    EXPECT_EQ(ran, "bii");
    event_free(late);
}

TEST_P(IdleTimer, MaySetTheNextOneFromItsFunction) {
    ASSERT_EQ(set(again), 0);
    ASSERT_EQ(set(again), 0);
    run();
    EXPECT_EQ(ran, "aaii");
}

TEST_P(IdleTimer, ClearedTimersNeverFire) {
    ASSERT_EQ(set(idle), 0);
    ASSERT_EQ(set(again, 999'999'999), 0);
    platform_clear_idle_timers(ctx);
    run();
    EXPECT_EQ(ran, "");
}

TEST_P(IdleTimer, RefusesWhatIsNoInterval) {
    for (const timespec wait :
         {timespec{-1, 0}, timespec{0, -1}, timespec{0, 1'000'000'000}}) {
        errno = 0;
        EXPECT_EQ(__evSetIdleTimer(ctx, idle, this, wait, nullptr), -1);
        EXPECT_EQ(errno, EINVAL);
    }
}

INSTANTIATE_TEST_SUITE_P(Priorities, IdleTimer, ::testing::Values(1, 3));

} // namespace
