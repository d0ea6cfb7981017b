// SPDX-License-Identifier: BSD-2-Clause

// Requests of any bytes against a menu.
//
// Asserted: a request either means an entry, with its argument within the request, or gets an
// answer that is whole lines of plain characters.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

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

bool is_answer(const std::string& text) {
    const auto is_odd = [](unsigned char byte) {
        return byte != '\n' && byte != '\t' && (byte < ' ' || byte > '~');
    };
    return text.ends_with('\n') && std::none_of(text.begin(), text.end(), is_odd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t INPUT_MAX = 4096;
    const std::string request(reinterpret_cast<const char*>(data),
                              std::min(size, INPUT_MAX));
    const char* begin = request.c_str();
    char area[256];
    str_buf_s* text = nullptr;
    sbuf_init_buf(&text, area, sizeof area);
    menu_match_s found{};
    const menu_match_e result = menu_match(menu, begin, &found, text);
    const bool holds =
        result == MENU_MATCH_ENTRY
            ? found.entry != nullptr && sbuf_len(text) == 0 &&
                  (found.argument == nullptr ||
                   (found.argument > begin && found.argument < begin + strlen(begin)))
            : is_answer(sbuf_str(text)) && (result == MENU_MATCH_ANSWER) !=
                                               (strncmp(sbuf_str(text), "error: ", 7) == 0);
    sbuf_reset(text);
    if (!holds) {
        abort();
    }
    return 0;
}
