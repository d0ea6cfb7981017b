// SPDX-License-Identifier: BSD-2-Clause

// Bytes that a peer sends: how they are lines, and what a line means in a menu.
//
// Asserted: the lines are those of the text without the blanks in front of each, in whatever pieces
// it comes; a request either means an entry, with its argument within the request, or gets an
// answer that is whole lines of plain characters, or such a sentence.
#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <vector>

#include <sys/socket.h>

#include "fuzz_target.h"
#include "platform/src/menu_match.h"
extern "C" {
#include "platform/src/request_input.h"
}

namespace {

// --- lines ---

// The last one is what has no end yet.
std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> lines;
    size_t begin = 0;
    while (true) {
        begin = std::min(text.find_first_not_of(" \t\r\n", begin), text.size());
        const size_t end = text.find('\n', begin);
        lines.push_back(text.substr(begin, end - begin));
        if (end == std::string::npos) {
            return lines;
        }
        begin = end + 1;
    }
}

void take_lines(request_input_s& input, std::vector<std::string>& lines) {
    request_input_skip_blanks(&input);
    for (long length = 0; (length = request_input_line(&input)) >= 0;) {
        lines.emplace_back(request_input_bytes(&input), static_cast<size_t>(length));
        request_input_drop(&input, static_cast<size_t>(length) + 1);
        request_input_skip_blanks(&input);
    }
}

// The same as they are sent in pieces and read in others.
std::vector<std::string> receive(const std::string& text, size_t sent, size_t read) {
    static const std::array<int, 2> ends = [] {
        std::array<int, 2> pair{};
        require(socketpair(AF_UNIX, SOCK_STREAM, 0, pair.data()) == 0);
        return pair;
    }();
    std::vector<std::string> lines;
    request_input_s input{};
    in_pieces(text, sent, [&](std::string_view piece) {
        require(send(ends[0], piece.data(), piece.size(), 0) ==
                static_cast<ssize_t>(piece.size()));
        while (request_input_read(&input, ends[1], read) > 0) {
            take_lines(input, lines);
        }
    });
    lines.emplace_back();
    if (input.length > 0) {
        lines.back().assign(request_input_bytes(&input), input.length);
    }
    request_input_close(&input);
    return lines;
}

// --- their meaning ---

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

void look_up(const char* request) {
    char area[256];
    str_buf_s* text = nullptr;
    sbuf_init_buf(&text, area, sizeof area);
    menu_match_s found{};
    const menu_match_e result = menu_match(menu, request, &found, text);
    const std::string said = sbuf_str(text);
    require(result == MENU_MATCH_REFUSED  ? !said.empty() && is_plain(said, "")
            : result == MENU_MATCH_ANSWER ? said.ends_with('\n') && is_plain(said, "\n\t")
                                          : is_entry(found, said, request));
    sbuf_reset(text);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t INPUT_MAX = 4096;
    const std::string text = text_of(data, size, INPUT_MAX);
    const std::vector<std::string> lines = split(text);
    require(receive(text, text.size(), text.size()) == lines);
    require(receive(text, 1, 7) == lines);
    require(receive(text, 5, 3) == lines);
    look_up(text.c_str());
    for (const std::string& line : lines) {
        look_up(line.c_str());
    }
    return 0;
}
