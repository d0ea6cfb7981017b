// SPDX-License-Identifier: BSD-2-Clause

// What orvex-netconf makes of texts that arrive in pieces: frames, and ASCII.
#include <gmock/gmock.h>

#include "tools/netconf/ascii_text.h"
#include "tools/netconf/frame_decoder.h"

namespace {

// The messages of `bytes` fed in pieces of `size`, each with "|" at its end, and "!" at an error.
std::string unframed(std::string_view bytes, size_t size, bool is_chunked) {
    frame_decoder_c decoder;
    if (is_chunked) {
        decoder.use_chunks();
    }
    std::string messages;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(size, bytes.size()))) {
        std::string_view piece = bytes.substr(0, size);
        frame_event_e event{};
        for (std::string_view text;
             (event = decoder.next(piece, text)) != frame_event_e::need_more;) {
            if (event == frame_event_e::malformed) {
                return messages + "!";
            }
            messages += event == frame_event_e::text ? text : "|";
        }
    }
    return messages;
}

std::string encoded(std::string_view text, size_t size) {
    ascii_encoder_c encoder;
    std::string ascii;
    for (; !text.empty(); text.remove_prefix(std::min(size, text.size()))) {
        encoder.add(text.substr(0, size), ascii);
    }
    encoder.finish(ascii);
    return ascii;
}

using cases_t = std::vector<std::pair<std::string, const char*>>;

template <typename make_t>
void expect_in_all_cuts(const cases_t& cases, const make_t& make) {
    for (const auto& [in, out] : cases) {
        for (const size_t size : {1U, 2U, 3U, 5U, 7U, 8U, 9U, 1000U}) {
            EXPECT_EQ(make(in, size), out) << in << " in pieces of " << size;
        }
    }
}

TEST(netconf_text, end_of_message_framing) {
    const cases_t cases = {{"a]]>]]>bc]]>]]>", "a|bc|"},
                           {"]]>]]>]]>]]>", "||"},
                           {"]]]>]]>", "]|"},
                           {"]]>]]]>]]>", "]]>]|"},
                           {"]]>]]a]]>]>]]>]]>", "]]>]]a]]>]>|"},
                           {"]]>>]>]]>]]>", "]]>>]>|"},
                           {"\n#1\na\n##\n]]>", "\n#1\na\n##\n"}};
    expect_in_all_cuts(cases,
                       [](auto& in, size_t size) { return unframed(in, size, false); });
}

TEST(netconf_text, chunked_framing) {
    const cases_t cases = {{"\n#1\na\n#2\nbc\n##\n\n#6\n]]>]]>\n##\n", "abc|]]>]]>|"},
                           {"\n#3\n\n##\n##\n", "\n##|"},
                           {"a", "!"},
                           {"\n#0\n", "!"},
                           {"\n#1\nab", "a!"},
                           {"\n#4294967296\n", "!"}};
    expect_in_all_cuts(cases,
                       [](auto& in, size_t size) { return unframed(in, size, true); });
}

TEST(netconf_text, characters_beyond_ascii_are_references) {
    const cases_t cases = {
        {"a<&>\n\t", "a<&>\n\t"},
        {"\x7f\u0080\u07ff\u0800\uffff\U00010000",
         "\x7f&#x80;&#x7FF;&#x800;&#xFFFD;&#x10000;"},
        {"\xf4\x8f\xbf\xbf\xf4\x90\x80\x80", "&#x10FFFF;&#xFFFD;"},
        {"\xed\x9f\xbf\xed\xa0\x80", "&#xD7FF;&#xFFFD;"}, // a surrogate
        {"\xc3\xa9\xe0\x80\xa9", "&#xE9;&#xFFFD;"},       // an overlong form
        {"\xc3|\xe2\x82|\xc3\xc3\xa9", "&#xFFFD;|&#xFFFD;|&#xFFFD;&#xE9;"}, // cut off
        {"\xf0\x9f\x98", "&#xFFFD;"},
        {"\xa9\xff", "&#xFFFD;&#xFFFD;"}};
    expect_in_all_cuts(cases, encoded);
    EXPECT_EQ(
        escaped("a<b>&\"c\"'\\\n\u00e9\xc3<\xc3"),
        "a&#x3C;b&#x3E;&#x26;&#x22;c&#x22;&#x27;&#x5C;&#xA;&#xE9;&#xFFFD;&#x3C;&#xFFFD;");
}

} // namespace
