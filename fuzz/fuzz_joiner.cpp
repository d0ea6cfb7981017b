// SPDX-License-Identifier: BSD-2-Clause

// What daemons show of one container, of any bytes, a line of the input for each: joined as one
// element.
//
// Asserted: whatever the answers are cut into, the same comes out, or the same error; and where
// each of them is an element of XML, what comes out is one, too, unless it is an error.
#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <libxml/parser.h>

#include "fuzz_target.h"
#include "tools/netconf/container_joiner.h"

namespace {

constexpr size_t INPUT_MAX = 8192;

bool is_xml(const std::string& text) {
    const int options = XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_NONET;
    const std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)> context(
        xmlNewParserCtxt(), xmlFreeParserCtxt);
    xmlDoc* document =
        xmlCtxtReadMemory(context.get(), text.data(), static_cast<int>(text.size()),
                          nullptr, "UTF-8", options);
    const bool is_good = document != nullptr && context->nsWellFormed != 0;
    xmlFreeDoc(document);
    return is_good;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines(1);
    for (const char c : text) {
        c == '\n' ? lines.emplace_back() : lines.back() += c;
    }
    return lines;
}

struct joined_s {
    std::string text;
    std::string error;
    bool operator==(const joined_s&) const = default;
};

joined_s join(const std::vector<std::string>& answers, size_t size) {
    joined_s joined;
    container_joiner_c joiner([&](std::string_view text) { joined.text += text; });
    for (const std::string& answer : answers) {
        in_pieces(answer, size, [&](std::string_view piece) { joiner.add(piece); });
        joiner.end_answer();
    }
    joiner.finish();
    joined.error = joiner.error();
    // What came out before an error is the end of nothing, and cut where the answers were.
    joined.text = joined.error.empty() ? joined.text : "";
    return joined;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text = text_of(data, size, INPUT_MAX);
    const std::vector<std::string> answers = lines_of(text);
    const joined_s whole = join(answers, INPUT_MAX);
    require(whole == join(answers, 1));
    require(whole == join(answers, 7));
    const bool are_xml =
        std::all_of(answers.begin(), answers.end(),
                    [](const auto& answer) { return answer.empty() || is_xml(answer); });
    require(!are_xml || !whole.error.empty() || whole.text.empty() || is_xml(whole.text));
    return 0;
}
