// SPDX-License-Identifier: BSD-2-Clause

// Requests of any bytes against a menu.
//
// Asserted: a request either means an entry, with its argument within the request, or gets an
// answer that is whole lines of plain characters, or such a sentence.
#include <algorithm>
#include <cstring>
#include <string>

#include "fuzz_target.h"
#include "platform/src/menu_match.h"

namespace {

int run(void* /*peer*/, void* /*parse_context*/, const char* /*argument*/) {
    return 0;
}

drend_menu_entry_s below[] = {
    {"show", "a", 0, nullptr, run}, {"show-more", nullptr, 0, nullptr, run}, {}};
drend_menu_entry_s inner[] = {{"show-rows", "r", 0, nullptr, run},
                              {"both", "b", 0, below, run},
                              {"deep", "d", 0, below, nullptr},
                              {}};
const drend_menu_entry_s menu[] = {{"drend", "l", 0, inner, nullptr},
                                   {"drop", "m", 0, nullptr, run},
                                   {"nothing", "n", 0, nullptr, nullptr},
                                   {}};

bool is_plain(const std::string& text, const std::string& controls) {
    return std::none_of(text.begin(), text.end(), [&](char c) {
        return (c < ' ' || c > '~') && controls.find(c) == std::string::npos;
    });
}

bool is_entry(const menu_match_s& found, const std::string& text, const char* begin) {
    return found.entry != nullptr && text.empty() &&
           (found.argument == nullptr ||
            (found.argument > begin && found.argument < begin + strlen(begin)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t INPUT_MAX = 4096;
    const std::string request = text_of(data, size, INPUT_MAX);
    const char* begin = request.c_str();
    char area[256];
    str_buf_s* text = nullptr;
    sbuf_init_buf(&text, area, sizeof area);
    menu_match_s found{};
    const menu_match_e result = menu_match(menu, begin, &found, text);
    const std::string said = sbuf_str(text);
    require(result == MENU_MATCH_REFUSED  ? !said.empty() && is_plain(said, "")
            : result == MENU_MATCH_ANSWER ? said.ends_with('\n') && is_plain(said, "\n\t")
                                          : is_entry(found, said, begin));
    sbuf_reset(text);
    return 0;
}
