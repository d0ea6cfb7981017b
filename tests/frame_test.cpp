// SPDX-License-Identifier: BSD-2-Clause

// The frame: hooks, output channel, string utilities and typed values.

#include <cstring>
#include <memory>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "frame/dr_plain_text.h"
#include "frame/dr_str_buf.h"
#include "frame/drend_hooks.h"
#include "frame/drend_lock.h"
#include "frame/drend_value.h"
#include "frame/escape.h"
#include "frame/str_util.h"

using testing::ElementsAre;

namespace {

std::string sent;
std::string traced;
int send_result = 0;

int keep_text(void* /*peer*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    sent = std::string(format) + "|" + va_arg(args, const char*);
    va_end(args);
    return send_result;
}

int keep_trace(const char* format, va_list args) {
    str_vappend(traced, format, args);
    return 0;
}

// Shouts, so that a test sees which bytes passed it.
int shouting_vsnprintf(char* buffer, unsigned int size, const char* format, va_list args) {
    const int length = vsnprintf(buffer, size, format, args);
    for (char* c = buffer; *c != '\0'; ++c) {
        *c = static_cast<char>(toupper(*c));
    }
    return length;
}

int failing_vsnprintf(char* buffer, unsigned int /*size*/, const char*, va_list) {
    strcpy(buffer, "left over");
    return -1;
}

std::string reported;
void keep_report(int code, int arg, const char* format, ...) {
    va_list args;
    va_start(args, format);
    reported = std::to_string(code) + " " + std::to_string(arg) + " " + format + "|" +
               va_arg(args, const char*);
    va_end(args);
}

std::string formatted(const char* format, ...) {
    std::string text = ">";
    va_list args;
    va_start(args, format);
    str_vappend(text, format, args);
    va_end(args);
    return text.substr(1);
}

class hooks_test : public testing::Test {
  protected:
    ~hooks_test() override {
        drend_set_send_method(nullptr);
        drend_set_send_method_w_return(nullptr);
        drend_set_vsnprintf(nullptr);
        drend_set_debugtrace_cb(nullptr);
        drend_set_trace_flag(0);
        drend_set_peer_to_file_method(nullptr);
        send_result = 0;
    }
};

} // namespace

TEST_F(hooks_test, a_send_goes_to_the_method_with_result_first) {
    EXPECT_EQ(drend_set_send_method(keep_text), nullptr);
    drend_chars_sent_reset();
    send_result = 7;
    EXPECT_EQ(drend_send(nullptr, "%s-%d", "a", 5), 0); // the result does not count
    EXPECT_EQ(sent, "%s|a-5");
    EXPECT_EQ(drend_chars_sent_reset(), 1);

    drend_set_send_method_w_return(keep_text);
    EXPECT_EQ(drend_send(nullptr, "%s", "b"), 7);
    EXPECT_EQ(drend_chars_sent_reset(), 0);
    send_result = 0;
    EXPECT_EQ(drend_send(nullptr, "%s", "c"), 0);
    EXPECT_EQ(drend_send(nullptr, "d"), 0);
    EXPECT_EQ(drend_chars_sent_reset(), 2);
    EXPECT_EQ(drend_chars_sent_reset(), 0);
    EXPECT_EQ(drend_set_send_method_w_return(nullptr), keep_text);
}

TEST_F(hooks_test, without_a_method_text_goes_to_standard_output) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(drend_send(nullptr, "to %s\n", "stdout"), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "to stdout\n");
    EXPECT_EQ(drend_send_peer_ptr(nullptr, "nobody reads this"), 0);
    EXPECT_EQ(drend_flush(nullptr), 0);
    EXPECT_EQ(drend_close_peer(nullptr), 0);
    FILE* full = fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    setbuf(full, nullptr);
    EXPECT_EQ(drend_send_file_ptr(full, "text"), DREND_PEER_LOST);
    fclose(full);
}

TEST_F(hooks_test, text_for_a_stream_is_formatted_and_flushed) {
    static std::unique_ptr<FILE, int (*)(FILE*)> peers_stream{nullptr, fclose};
    char* text = nullptr;
    size_t size = 0;
    peers_stream.reset(open_memstream(&text, &size)); // `text` is what has been flushed
    EXPECT_EQ(drend_send_file_ptr(peers_stream.get(), "%s-%d", "a", 5), 0);
    EXPECT_STREQ(text, "a-5");
    drend_set_peer_to_file_method(
        [](void* peer) { return peer == &sent ? peers_stream.get() : nullptr; });
    EXPECT_EQ(drend_send_peer_ptr(&sent, "+%d", 7), 0);
    EXPECT_STREQ(text, "a-5+7");
    peers_stream.reset();
    free(text);
}

TEST_F(hooks_test, every_byte_passes_an_installed_formatter) {
    drend_set_send_method(keep_text);
    drend_set_vsnprintf(shouting_vsnprintf);
    drend_send(nullptr, "%s", "plain");
    EXPECT_EQ(sent, "%s|PLAIN");
    drend_send(nullptr, "%*s%d", 4, "x", 3);
    EXPECT_EQ(sent, "%s|   X3");
    drend_set_vsnprintf(failing_vsnprintf);
    EXPECT_EQ(formatted("%s", "text"), "left over");
    drend_set_vsnprintf(nullptr);
    EXPECT_EQ(formatted("%s", "text"), "text");
}

TEST_F(hooks_test, long_texts_are_cut_with_a_marker) {
    drend_set_send_method(keep_text);
    const std::string marker = " [string > 1M: truncated]";
    for (const auto formatter :
         {static_cast<drend_vsnprintf_t>(nullptr),
          static_cast<drend_vsnprintf_t>([](char*b, unsigned n, const char*f, va_list a) {
              return vsnprintf(b, n, f, a);
          })}) {
        drend_set_vsnprintf(formatter);
        drend_send(nullptr, "%s", std::string(1048575, 'x').c_str());
        EXPECT_EQ(sent.size(), 3 + 1048575u);
        EXPECT_EQ(sent.back(), 'x');
        drend_send(nullptr, "%s", std::string(1048576, 'x').c_str());
        EXPECT_EQ(sent.size(), 3 + 1048575u);
        EXPECT_EQ(sent.substr(sent.size() - marker.size()), marker);
        const std::string cut = std::exchange(sent, "");
        dri_send_text(nullptr, std::string(1048576, 'x').c_str(), 1048576);
        EXPECT_EQ(sent, cut);
        std::string text;
        EXPECT_EQ(str_append(text, "%s%s", std::string(1048576, 'y').c_str(), "z"),
                  1048576u);
        EXPECT_EQ(text.size(), 1048575u);
    }
}

TEST_F(hooks_test, quick_formats_print_what_the_system_prints) {
    EXPECT_EQ(formatted("<%s%s>%d %u%%", "a", "", -5, 7u), "<a>-5 7%");
    EXPECT_EQ(formatted("%lld|%llu|%*s|%*s|%5d|%c", -9223372036854775807LL - 1,
                        18446744073709551615ULL, 3, "ab", -3, "ab", 42, 'c'),
              "-9223372036854775808|18446744073709551615| ab|ab |   42|c");
    EXPECT_EQ(formatted("%lld|%*s|", -1LL, 6, ""), "-1|      |");
    for (const unsigned length : {254U, 255U, 256U, 257U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(formatted("%-1s", text.c_str()), text);
    }
}

TEST_F(hooks_test, trace_lines_need_a_bit_and_a_listener) {
    const char* end = nullptr;
    dr_str_buf_c out;
    traced.clear();
    drend_set_trace_flag(9);
    EXPECT_EQ(dri_get_quoted_str("'abc", out, end), -1);
    drend_set_debugtrace_cb(keep_trace);
    EXPECT_EQ(dri_get_quoted_str("'abc", out, end), -1);
    EXPECT_EQ(traced, "DR_ERROR: Missing end quote");
    drend_set_trace_flag(1);
    EXPECT_EQ(dri_get_quoted_str("'abc", out, end), -1);
    EXPECT_EQ(traced, "DR_ERROR: Missing end quote");
}

TEST_F(hooks_test, a_fatal_error_ends_the_process_unless_a_method_is_installed) {
    EXPECT_EXIT(drend_err_exit(3, 0, "bad %s", "thing"), testing::ExitedWithCode(3),
                "bad thing");
    const auto before = drend_set_err_exit_method(keep_report);
    drend_chars_sent_reset();
    drend_err_exit(-1, 4, "100%%");
    EXPECT_EQ(reported, "-1 4 %s|100%");
    EXPECT_EQ(drend_chars_sent_reset(), 1);
    drend_err_exit(-1, 0, "%s", "");
    EXPECT_EQ(reported, "-1 0 %s|");
    drend_set_err_exit_method(nullptr);
    drend_err_exit(-1, 0, "ignored");
    drend_set_err_exit_method(before);
}

TEST(lock, is_recursive_and_may_be_destroyed_while_held) {
    drend_lock_c lock;
    {
        drend_lock_guard_c outer(lock);
        drend_lock_guard_c inner(lock);
    }
    std::thread([&] { drend_lock_guard_c free_again(lock); }).join();
    {
        drend_lock_c held;
        held.lock();
        held.lock();
    }
    drend_lock_c never_held;
}

TEST(str_buf, assigns_appends_and_compares) {
    dr_str_buf_c text("ab");
    text.ncpy("cdef", 2);
    EXPECT_STREQ(text, "abcd");
    text.ncpy("gh", -1);
    text += '!';
    text += std::string(300, 'x');
    EXPECT_EQ(text.size(), 307u);
    dr_str_buf_c copy(text);
    copy = "'q'";
    copy.strip_quotes();
    EXPECT_TRUE(copy == "q" && copy != text && copy[0] == 'q');
    EXPECT_STREQ("1" + copy, "1q");
    copy = 'c';
    EXPECT_STREQ(copy, "c");
    copy.clear();
    EXPECT_EQ(copy.size(), 0u);
}

TEST(str_util, joins_translates_and_splits) {
    std::string out;
    EXPECT_STREQ(str_join(std::vector<std::string>{}, out, ","), "");
    EXPECT_STREQ(str_join(std::list<std::string>{"a", "b"}, out, ", "), "a, b");
    EXPECT_STREQ(str_xlate("a.b.c", out, '.', '\0'), "abc");
    EXPECT_STREQ(str_xlate("a.b.c", out, '.', '/'), "a/b/c");

    const auto split = [](const char* text, bool keep) {
        std::vector<std::string> pieces;
        str_split(text, pieces, "/", keep);
        return pieces;
    };
    EXPECT_THAT(split("a//b", false), ElementsAre("a", "", "b"));
    EXPECT_THAT(split("", false), ElementsAre(""));
    EXPECT_THAT(split("a/b[c=d/e]/f", true), ElementsAre("a", "b[c=d/e]", "f"));
    EXPECT_THAT(split("b[c=d]/[x/g", true), ElementsAre("b[c=d]", "[x", "g"));
    EXPECT_THAT(split("a/b[c=d/e", true), ElementsAre("a"));
}

TEST(str_util, reads_quoted_strings_and_selectors) {
    dr_str_buf_c out;
    const char* end = nullptr;
    const char* text = R"('it\'s' rest)";
    EXPECT_EQ(dri_get_quoted_str(text, out, end), 0);
    EXPECT_STREQ(out, "it's");
    EXPECT_EQ(end - text, 6);
    EXPECT_EQ(dri_get_quoted_str(R"("a'b")", out, end), 0);
    EXPECT_STREQ(out, "a'b");
    EXPECT_EQ(dri_get_quoted_str("''", out, end), 0);
    EXPECT_STREQ(out, "");

    std::string name;
    std::string key;
    std::string value;
    EXPECT_EQ(dri_parse_expr("a[b=c=d]", name, key, value), -1);
    EXPECT_EQ(dri_parse_expr("interface[name=ge0]", name, key, value), 0);
    EXPECT_EQ(name + "|" + key + "|" + value, "interface|name|ge0");
    EXPECT_EQ(dri_parse_expr("plain", name, key, value), 0); // left as it was
    EXPECT_EQ(name, "interface");
}

// --- typed values ---------------------------------------------------------------------------

namespace {

template <typename T>
void set(dr_value_c& value, dr_value_type_t type, T raw) {
    EXPECT_EQ(value.set_raw_value(type, &raw, sizeof raw), 0);
}

std::string text_of(const dr_value_c& value) {
    dr_str_buf_c out;
    return value.c_str(out.buf());
}

} // namespace

TEST(plain_text, copies_are_judged_at_every_length_and_place) {
    struct case_s {
        char c;
        bool is_plain;
    };
    const case_s cases[] = {{' ', true},     {'~', true},     {'\x7f', false},
                            {'&', false},    {'<', false},    {'>', false},
                            {'"', false},    {'\\', false},   {'\n', false},
                            {'\x1f', false}, {'\x80', false}, {'\xff', false}};
    for (size_t size = 1; size < 70; ++size) {
        for (size_t place = 0; place < size; ++place) {
            for (const case_s& test : cases) {
                std::string text(size, 'a');
                text[place] = test.c;
                std::string copy(size + 1, '?');
                EXPECT_EQ(dri_copy_judged(copy.data(), text), test.is_plain)
                    << size << " " << place << " " << int{test.c};
                EXPECT_EQ(copy, text + "?");
            }
        }
    }
}

TEST(plain_text, padded_texts_are_copied_whole) {
    for (size_t size = 0; size < 100; ++size) {
        std::string text;
        for (size_t i = 0; i < size; ++i) {
            text += static_cast<char>('a' + i % 26);
        }
        const std::string padded = text + std::string(DRI_PADDING, '?');
        std::string out(size + DRI_PADDING, ' ');
        const char* end = dri_copy_padded(out.data(), {padded.data(), size});
        EXPECT_EQ(std::string(std::as_const(out).data(), end), text);
    }
}

TEST(plain_text, nothing_behind_a_text_is_escaped_with_it) {
    for (const size_t size : {0U, 1U, 7U, 8U, 9U}) {
        const std::string longer(size + 20, 'x');
        std::string out;
        EXPECT_TRUE(dri_xml_escaper.append(out, {longer.data(), size}, std::string::npos));
        EXPECT_EQ(out, longer.substr(0, size));
    }
}

TEST(value, prints_each_type) {
    dr_value_c value;
    EXPECT_EQ(text_of(value), "DREND_ERR");
    set(value, DRV_BOOLEAN, 1);
    EXPECT_EQ(text_of(value), "true");
    set(value, DRV_INT8, int8_t{-128});
    EXPECT_EQ(text_of(value), "-128");
    set(value, DRV_UINT64, UINT64_MAX);
    EXPECT_EQ(text_of(value), "18446744073709551615");
    for (uint64_t power = 1; power <= UINT64_MAX / 10; power *= 10) {
        for (const uint64_t number : {power - 1, power}) {
            set(value, DRV_UINT64, number);
            EXPECT_EQ(text_of(value), std::to_string(number));
        }
    }
    set(value, DRV_FLOAT, -3.4e38F);
    EXPECT_EQ(text_of(value).size(), 47u);
    set(value, DRV_DOUBLE, 1.5);
    EXPECT_EQ(text_of(value), "1.500000e+00");
    EXPECT_EQ(value.set_string(nullptr), 0);
    EXPECT_EQ(text_of(value), "");
    value.set_string(std::string(1000, 'x').c_str());
    EXPECT_EQ(text_of(value), std::string(1000, 'x'));
}

TEST(value, keeps_exactly_the_bytes_of_its_type) {
    dr_value_c value;
    const char bytes[] = {1, 2, 3};
    EXPECT_EQ(value.set_raw_value(DRV_UINT64, bytes, 1), 0); // the rest counts as zero
    EXPECT_EQ(text_of(value), "1");
    EXPECT_EQ(value.set_raw_value(DRV_UINT8, bytes, 3), 0);
    EXPECT_EQ(text_of(value), "1");
    EXPECT_EQ(value.set_raw_value(DRV_STRING, "ab", 2), 0);
    EXPECT_EQ(text_of(value), "ab");
}

TEST(value, number_conversions_are_lenient_in_stated_ways) {
    dr_value_c value;
    int32_t i32 = 0;
    int8_t i8 = 0;
    uint16_t u16 = 0;
    uint64_t u64 = 0;
    double real = 0;
    set(value, DRV_UINT32, 3000000000U);
    EXPECT_EQ(value.get_int32(i32), 0);
    EXPECT_EQ(i32, -1294967296);
    EXPECT_EQ(value.get_uint16(u16), DRV_NO_CONVERSION);
    set(value, DRV_INT64, int64_t{-5000000000});
    EXPECT_EQ(value.get_int8(i8), 0);
    EXPECT_EQ(static_cast<uint8_t>(i8), 0x00U);
    EXPECT_EQ(value.get_uint64(u64), DRV_NO_CONVERSION);
    set(value, DRV_INT64, int64_t{4294967296});
    EXPECT_EQ(value.get_int32(i32), DRV_NO_CONVERSION);
    set(value, DRV_INT16, int16_t{300});
    EXPECT_EQ(value.get_int8(i8), DRV_NO_CONVERSION);
    EXPECT_EQ(value.get_uint16(u16), 0);
    EXPECT_EQ(u16, 300);
    value.set_string("0x10");
    EXPECT_EQ(value.get_uint16(u16), 0);
    EXPECT_EQ(u16, 16);
    value.set_string("abc");
    EXPECT_EQ(value.get_uint16(u16), 0);
    EXPECT_EQ(u16, 0);
    EXPECT_EQ(value.get_double(real), DRV_NO_CONVERSION);
    set(value, DRV_BOOLEAN, 1);
    EXPECT_EQ(value.get_uint64(u64), DRV_NO_CONVERSION);
    set(value, DRV_DOUBLE, 1.5);
    EXPECT_EQ(value.get_double(real), 0);
    EXPECT_EQ(real, 1.5);
}

TEST(value, whole_numbers_are_those_of_at_most_64_bits_signed) {
    const auto whole = [](dr_value_type_t type, auto raw) -> std::string {
        dr_value_c value;
        set(value, type, raw);
        int64_t number = 0;
        return value.get_whole(number) ? std::to_string(number) : "none";
    };
    EXPECT_EQ(whole(DRV_INT8, int8_t{-8}), "-8");
    EXPECT_EQ(whole(DRV_INT16, int16_t{-16}), "-16");
    EXPECT_EQ(whole(DRV_INT32, int32_t{-32}), "-32");
    EXPECT_EQ(whole(DRV_INT64, INT64_MIN), "-9223372036854775808");
    EXPECT_EQ(whole(DRV_UINT8, uint8_t{208}), "208");
    EXPECT_EQ(whole(DRV_UINT16, uint16_t{60016}), "60016");
    EXPECT_EQ(whole(DRV_UINT32, UINT32_MAX), "4294967295");
    EXPECT_EQ(whole(DRV_UINT64, uint64_t{INT64_MAX}), "9223372036854775807");
    EXPECT_EQ(whole(DRV_UINT64, uint64_t{INT64_MAX} + 1), "none");
    EXPECT_EQ(whole(DRV_DOUBLE, 1.0), "none");
}

TEST(value, booleans_decimals_and_zeros) {
    dr_value_c value;
    dr_str_buf_c out;
    set(value, DRV_FLOAT, 0.0F);
    EXPECT_EQ(value.get_boolean(out.buf()), 0);
    EXPECT_STREQ(out, "true"); // its text is 0.000000
    EXPECT_FALSE(value.is_value_zero());
    set(value, DRV_INT32, 0);
    EXPECT_EQ(value.get_boolean(out.buf()), 0);
    EXPECT_STREQ(out, "false");
    EXPECT_TRUE(value.is_value_zero());
    set(value, DRV_INT32, 5);
    EXPECT_EQ(value.get_decimal64(out.buf(), 2), 0);
    EXPECT_STREQ(out, "5.00");
    set(value, DRV_DOUBLE, 1.5);
    EXPECT_EQ(value.get_decimal64(out.buf(), 3), 0);
    EXPECT_STREQ(out, "1.500");
    EXPECT_EQ(value.get_decimal64(out.buf(), 0), DRV_NO_CONVERSION);
    EXPECT_EQ(value.get_decimal64(out.buf(), 19), DRV_NO_CONVERSION);
    set(value, DRV_DOUBLE, 9.3);
    EXPECT_EQ(value.get_decimal64(out.buf(), 18), DRV_NO_CONVERSION); // beyond 9.22...
    set(value, DRV_DOUBLE, drv_decimal64_range_table[1][1]);
    EXPECT_EQ(value.get_decimal64(out.buf(), 1), 0);
    value.set_string("-5");
    EXPECT_EQ(value.get_decimal64(out.buf(), 1), 0);
    EXPECT_STREQ(out, "-5.0");
    value.set_string("00");
    EXPECT_FALSE(value.is_value_zero());
    value.set_string("0");
    EXPECT_TRUE(value.is_value_zero());
}
