// SPDX-License-Identifier: BSD-2-Clause

#include "render/dr_cursor.h"

#include <charconv>

#include "definitions/dr_tag_names.h"
#include "expr/dr_text_cache.h"
#include "frame/dr_number.h"

namespace {

constexpr std::string_view SAFE = "-._~:";

bool is_safe(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           SAFE.find(c) != std::string_view::npos;
}

// False where a percent sign has no two digits behind it.
bool decode(std::string_view word, std::string& out) {
    for (; !word.empty(); word.remove_prefix(1)) {
        if (word.front() != '%') {
            out += word.front();
            continue;
        }
        unsigned char byte = 0;
        const char* const digits = word.data() + 1;
        if (word.size() < 3 ||
            std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
            return false;
        }
        out += static_cast<char>(byte);
        word.remove_prefix(2);
    }
    return true;
}

// A number from 1 behind a sign, or nothing.
template <typename Number>
bool read_number(std::string_view text, char sign, Number& number) {
    return text.empty() ||
           (text.front() == sign && dri_read_from_one(text.substr(1), number));
}

// Goes from the last tag of the way, or from above the command's, to the one of that name.
bool step(const drend_tag_c& top_tag, std::string_view word, dr_cursor_s& cursor) {
    const size_t name_end = std::min(word.find('+'), word.size());
    std::string name;
    size_t number = 1;
    if (!decode(word.substr(0, name_end), name) ||
        !read_number(word.substr(name_end), '+', number)) {
        return false;
    }
    if (!cursor.way.empty()) {
        return dri_find_nameable(*cursor.way.back(), name, cursor.way, number - 1);
    }
    cursor.way.push_back(&top_tag);
    return top_tag.is_hidden() ? dri_find_nameable(top_tag, name, cursor.way, number - 1)
                               : top_tag.name() == name && number == 1;
}

// "=KEY..." or "#NUMBER".
bool read_row(std::string_view text, dr_cursor_s& cursor) {
    if (text.starts_with('#')) {
        return read_number(text, '#', cursor.row);
    }
    while (text.starts_with('=')) {
        text.remove_prefix(1);
        const std::string_view word = text.substr(0, text.find('='));
        if (!decode(word, cursor.keys.emplace_back())) {
            return false;
        }
        text.remove_prefix(word.size());
    }
    return text.empty() && !cursor.keys.empty() &&
           cursor.keys.size() == cursor.way.back()->dt_keys.size();
}

} // namespace

std::shared_ptr<const dr_cursor_s>
dri_read_cursor(const drend_tag_c& top_tag, std::string_view text, std::string& fault) {
    auto cursor = std::make_shared<dr_cursor_s>();
    const size_t names_end = std::min(text.find_first_of("=#"), text.size());
    std::string_view names = text.substr(0, names_end);
    bool is_way = true;
    while (is_way && names.starts_with('/')) {
        names.remove_prefix(1);
        const std::string_view word = names.substr(0, names.find('/'));
        names.remove_prefix(word.size());
        is_way = step(top_tag, word, *cursor);
    }
    if (!is_way || !names.empty() || cursor->way.empty() ||
        cursor->way.back()->dt_type != DT_TYPE_LIST) {
        fault = "it leads to no list of the command";
    } else if (!read_row(text.substr(names_end), *cursor)) {
        fault = "it names no row of the list";
    }
    return fault.empty() ? cursor : nullptr;
}

size_t dr_cursor_s::memory() const {
    size_t memory = sizeof *this + way.capacity() * sizeof(void*) + 3 * DRI_BLOCK_MEMORY;
    for (const std::string& key : keys) {
        memory += sizeof(std::string) + dri_text_memory(key);
    }
    return memory;
}

void dri_append_cursor_step(std::string& out, const drend_tag_c* above,
                            const drend_tag_c& tag) {
    out += '/';
    dri_append_cursor_word(out, tag.name());
    size_t before = 0;
    std::vector<const drend_tag_c*> way;
    while (above != nullptr && dri_find_nameable(*above, tag.name(), way, before) &&
           way.back() != &tag) {
        ++before;
    }
    if (before > 0) {
        out.append("+").append(std::to_string(before + 1));
    }
}

void dri_append_cursor_word(std::string& out, std::string_view word) {
    static constexpr char digits[] = "0123456789ABCDEF";
    for (const char c : word) {
        const auto byte = static_cast<unsigned char>(c);
        if (is_safe(c)) {
            out += c;
        } else {
            out.append({'%', digits[byte >> 4], digits[byte & 15]});
        }
    }
}
