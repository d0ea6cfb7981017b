// SPDX-License-Identifier: BSD-2-Clause

// One table of character classes for each language, so that both are cut by the same code. Tokens
// are spans of the text; the text of a literal is made for who asks for it.

#include "expr/dr_xp_lexer.h"

#include <array>
#include <cstdint>
#include <string_view>

#include "frame/str_util.h"

namespace {

enum class token_shape_e { end, error, single, literal, word };

// What each character is to a language, by its code.
enum class char_class_e : uint8_t { ordinary, single, quote, blank, end };

class alphabet_c {
  public:
    // With these one-character tokens. White space is that of the "C" locale.
    explicit constexpr alphabet_c(std::string_view singles) {
        set(singles, char_class_e::single);
        set("'\"", char_class_e::quote);
        set(" \t\n\v\f\r", char_class_e::blank);
        classes_[0] = char_class_e::end;
    }
    char_class_e operator()(char c) const {
        return classes_[static_cast<unsigned char>(c)];
    }

  private:
    constexpr void set(std::string_view characters, char_class_e what) {
        for (const char c : characters) {
            classes_[static_cast<unsigned char>(c)] = what;
        }
    }

    std::array<char_class_e, 256> classes_{};
};

constexpr alphabet_c PATHS("!(),/<=>[]");
constexpr alphabet_c MAPS("()+=");

// A token of either language. `span` stands within the quotes of a literal.
struct shaped_token_s {
    token_shape_e shape = token_shape_e::end;
    std::string_view span;
    const char* start = nullptr;
};

// Reads a word or literal up to white space, a quote or a one-character token.
token_shape_e next_word(const alphabet_c& class_of, const char*& cursor,
                        std::string_view& span) {
    const char* start = cursor;
    while (class_of(*cursor) == char_class_e::ordinary) {
        ++cursor;
    }
    if (class_of(*cursor) != char_class_e::quote) {
        span = std::string_view(start, cursor);
        return token_shape_e::word;
    }
    const char* end = nullptr;
    if (!dri_find_end_quote(cursor, end)) {
        return token_shape_e::error;
    }
    span = std::string_view(cursor + 1, end);
    cursor = end + 1;
    return token_shape_e::literal;
}

// Reads one token of a language.
shaped_token_s next_token(const alphabet_c& class_of, const char*& cursor) {
    while (class_of(*cursor) == char_class_e::blank) {
        ++cursor;
    }
    shaped_token_s token{token_shape_e::end, std::string_view(cursor, 1), cursor};
    switch (class_of(*cursor)) {
    case char_class_e::end:
        break;
    case char_class_e::single:
        ++cursor;
        token.shape = token_shape_e::single;
        break;
    default:
        token.shape = next_word(class_of, cursor, token.span);
    }
    return token;
}

int word_code(std::string_view word) {
    if (word == "or") {
        return XP_TOKEN_OR;
    }
    return word == "and" ? XP_TOKEN_AND : XP_TOKEN_WORD;
}

std::string unquoted(std::string_view span) {
    return dri_unquoted(span, span.data()[-1]);
}

} // namespace

dr_xp_token_s dri_xp_next_token(const char*& cursor) {
    const shaped_token_s token = next_token(PATHS, cursor);
    switch (token.shape) {
    case token_shape_e::end:
        return {XP_TOKEN_END, token.span, token.start};
    case token_shape_e::error:
        return {XP_TOKEN_ERROR, token.span, token.start};
    case token_shape_e::single:
        return {*token.start, token.span, token.start};
    case token_shape_e::literal:
        return {XP_TOKEN_LITERAL, token.span, token.start};
    case token_shape_e::word:
        break;
    }
    return {word_code(token.span), token.span, token.start};
}

std::string dr_xp_token_s::text() const {
    return code == XP_TOKEN_LITERAL ? unquoted(span) : std::string(span);
}

int dri_xp_lexer_next(const char*& cursor, dr_str_buf_c& text, const char*& start) {
    const dr_xp_token_s token = dri_xp_next_token(cursor);
    start = token.start;
    if (token.code > 0) {
        text = token.text();
    }
    return token.code;
}

int dri_map_lexer_next(const char*& cursor, dr_str_buf_c& text, const char*& start) {
    const shaped_token_s token = next_token(MAPS, cursor);
    start = token.start;
    switch (token.shape) {
    case token_shape_e::end:
        return MAP_TOKEN_END;
    case token_shape_e::error:
        return MAP_TOKEN_ERROR;
    case token_shape_e::single:
        text = *start;
        return *start;
    case token_shape_e::literal:
        text = unquoted(token.span);
        return MAP_TOKEN_LITERAL;
    case token_shape_e::word:
        break;
    }
    text = std::string(token.span);
    return token.span == "val" ? MAP_TOKEN_VAL : MAP_TOKEN_WORD;
}
