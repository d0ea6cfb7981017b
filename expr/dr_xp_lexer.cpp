// SPDX-License-Identifier: BSD-2-Clause

#include "expr/dr_xp_lexer.h"

#include <cctype>
#include <string_view>

#include "frame/str_util.h"

namespace {

enum class token_shape_e { end, error, single, literal, word };

bool is_blank(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

// A token of either language. `span` stands within the quotes of a literal.
struct shaped_token_s {
    token_shape_e shape = token_shape_e::end;
    std::string_view span;
    const char* start = nullptr;
};

// Reads a word or literal up to white space, a quote or a one-character token.
token_shape_e next_word(std::string_view singles, const char*& cursor,
                        std::string_view& span) {
    const char* start = cursor;
    for (; *cursor != '\0' && !is_blank(*cursor); ++cursor) {
        if (*cursor == '\'' || *cursor == '"') {
            const char* end = nullptr;
            if (!dri_find_end_quote(cursor, end)) {
                return token_shape_e::error;
            }
            span = std::string_view(cursor + 1, end);
            cursor = end + 1;
            return token_shape_e::literal;
        }
        if (singles.find(*cursor) != std::string_view::npos) {
            break;
        }
    }
    span = std::string_view(start, cursor);
    return token_shape_e::word;
}

// Reads one token of a language whose one-character tokens are `singles`.
shaped_token_s next_token(std::string_view singles, const char*& cursor) {
    while (is_blank(*cursor)) {
        ++cursor;
    }
    shaped_token_s token{token_shape_e::end, std::string_view(cursor, 1), cursor};
    if (*cursor == '\0') {
        return token;
    }
    if (singles.find(*cursor) != std::string_view::npos) {
        ++cursor;
        token.shape = token_shape_e::single;
    } else {
        token.shape = next_word(singles, cursor, token.span);
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
    const shaped_token_s token = next_token("!(),/<=>[]", cursor);
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
    const shaped_token_s token = next_token("()+=", cursor);
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
