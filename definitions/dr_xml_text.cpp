// SPDX-License-Identifier: BSD-2-Clause

// The productions of XML 1.0 that a definition's texts must match. They are checked when a file is
// loaded, so that no walk has to and no answer is malformed because of a definition.
#include "definitions/dr_xml_text.h"

#include <algorithm>
#include <charconv>
#include <set>

namespace {

struct range_s {
    char32_t first;
    char32_t last;
};

// What a name may begin with; the colon is between its parts.
constexpr range_s NAME_START[] = {
    {'A', 'Z'},       {'_', '_'},       {'a', 'z'},         {0xC0, 0xD6},
    {0xD8, 0xF6},     {0xF8, 0x2FF},    {0x370, 0x37D},     {0x37F, 0x1FFF},
    {0x200C, 0x200D}, {0x2070, 0x218F}, {0x2C00, 0x2FEF},   {0x3001, 0xD7FF},
    {0xF900, 0xFDCF}, {0xFDF0, 0xFFFD}, {0x10000, 0xEFFFF},
};
// What it may go on with besides.
constexpr range_s NAME_MORE[] = {
    {'-', '.'}, {'0', '9'}, {0xB7, 0xB7}, {0x300, 0x36F}, {0x203F, 0x2040},
};
constexpr range_s CHARACTERS[] = {
    {'\t', '\n'}, {'\r', '\r'}, {' ', 0xD7FF}, {0xE000, 0xFFFD}, {0x10000, 0x10FFFF},
};
struct entity_s {
    std::string_view name;
    char32_t character;
};
constexpr entity_s ENTITIES[] = {
    {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''},
};

template <size_t Count>
bool is_in(const range_s (&ranges)[Count], char32_t c) {
    return std::any_of(std::begin(ranges), std::end(ranges), [c](const range_s& range) {
        return range.first <= c && c <= range.last;
    });
}

// The character that "#10", "#xA" or a name stands for; 0: none.
char32_t character_of(std::string_view reference) {
    if (!reference.starts_with('#')) {
        const auto* found =
            std::find_if(std::begin(ENTITIES), std::end(ENTITIES),
                         [&](const entity_s& entity) { return entity.name == reference; });
        return found == std::end(ENTITIES) ? 0 : found->character;
    }
    const bool is_hex = reference.starts_with("#x");
    const char* begin = reference.data() + (is_hex ? 2 : 1);
    const char* const end = reference.data() + reference.size();
    unsigned c = 0;
    const auto read = std::from_chars(begin, end, c, is_hex ? 16 : 10);
    return read.ec == std::errc() && read.ptr == end && is_in(CHARACTERS, c) ? c : 0;
}

void append_utf8(std::string& out, char32_t character) {
    if (character < 0x80) {
        out += static_cast<char>(character);
        return;
    }
    const unsigned more = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    const unsigned lead = 0xFFU & ~(0x7FU >> more);
    out += static_cast<char>(lead | (character >> (6 * more)));
    for (unsigned shift = 6 * more; shift > 0;) {
        shift -= 6;
        out += static_cast<char>(0x80U | ((character >> shift) & 0x3FU));
    }
}

// Reads a text from its front; what a reader does not accept stays.
class xml_text_c {
  public:
    explicit xml_text_c(std::string_view text) : rest_(text) {}

    bool is_at_end() const { return rest_.empty(); }

    bool skip(char c) {
        const bool is_there = rest_.starts_with(c);
        rest_.remove_prefix(is_there ? 1 : 0);
        return is_there;
    }

    bool skip_blanks() {
        const size_t count = std::min(rest_.find_first_not_of(" \t\r\n"), rest_.size());
        rest_.remove_prefix(count);
        return count > 0;
    }

    // A name; empty when there is none.
    std::string_view name() {
        const std::string_view from = rest_;
        if (!name_part() || (skip(':') && !name_part())) {
            return {};
        }
        return from.substr(0, from.size() - rest_.size());
    }

    // Characters and references up to one of `stops` or the end.
    bool characters(std::string_view stops) {
        while (!rest_.empty() && stops.find(rest_.front()) == std::string_view::npos) {
            if (skip('&')) {
                const size_t end = std::min(rest_.find(';'), rest_.size());
                if (character_of(rest_.substr(0, end)) == 0 || end == rest_.size()) {
                    return false;
                }
                rest_.remove_prefix(end + 1);
            } else if (!is_in(CHARACTERS, next())) {
                return false;
            }
        }
        return true;
    }

  private:
    bool name_part() {
        if (rest_.empty() || !is_in(NAME_START, peek())) {
            return false;
        }
        while (!rest_.empty() && (is_in(NAME_START, peek()) || is_in(NAME_MORE, peek()))) {
            next();
        }
        return true;
    }

    // The length of the first character, by its first byte.
    size_t length() const {
        const auto lead = static_cast<unsigned char>(rest_.front());
        const size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        return std::min(length, rest_.size());
    }

    char32_t peek() const {
        const size_t bytes = length();
        const auto lead = static_cast<unsigned char>(rest_.front());
        char32_t c = bytes == 1 ? lead : lead & (0x7FU >> bytes);
        for (size_t i = 1; i < bytes; ++i) {
            c = (c << 6) | (static_cast<unsigned char>(rest_[i]) & 0x3FU);
        }
        return c;
    }

    char32_t next() {
        const char32_t c = peek();
        rest_.remove_prefix(length());
        return c;
    }

    std::string_view rest_;
};

} // namespace

bool dri_is_xml_name(std::string_view text) {
    return !text.empty() && xml_text_c(text).name() == text;
}

bool dri_is_xml_attribute(std::string_view text) {
    xml_text_c rest(text);
    return rest.characters("\"<") && rest.is_at_end();
}

bool dri_is_xml_content(std::string_view text) {
    xml_text_c rest(text);
    return rest.characters("<") && rest.is_at_end() &&
           text.find("]]>") == std::string_view::npos;
}

std::string dri_xml_content_text(std::string_view content) {
    std::string text;
    for (size_t at = 0; at < content.size();) {
        const size_t end = content[at] == '&' ? content.find(';', at) : at;
        if (end == at || end == std::string_view::npos) {
            text += content[at++];
        } else {
            append_utf8(text, character_of(content.substr(at + 1, end - at - 1)));
            at = end + 1;
        }
    }
    return text;
}

bool dri_are_xml_attributes(std::string_view text, std::string_view taken) {
    xml_text_c rest(text);
    std::set<std::string_view> names{taken};
    while (rest.skip_blanks() && !rest.is_at_end()) {
        const std::string_view name = rest.name();
        rest.skip_blanks();
        if (name.empty() || !names.insert(name).second || !rest.skip('=')) {
            return false;
        }
        rest.skip_blanks();
        if (!rest.skip('"') || !rest.characters("\"<") || !rest.skip('"')) {
            return false;
        }
    }
    return rest.is_at_end();
}
