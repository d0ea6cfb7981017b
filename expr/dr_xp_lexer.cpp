#include "expr/dr_xp_lexer.h"

#include <cctype>
#include <string_view>

#include "frame/str_util.h"

namespace {

enum class token_shape_e { end, error, single, literal, word };

bool is_blank(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

// Reads one token of a language whose one-character tokens are `singles`.
token_shape_e next_token(std::string_view singles, const char*& cursor, dr_str_buf_c& text,
                         const char*& start) {
    while (is_blank(*cursor)) {
        ++cursor;
    }
    start = cursor;
    if (*cursor == '\0') {
        return token_shape_e::end;
    }
    if (singles.find(*cursor) != std::string_view::npos) {
        text = *cursor++;
        return token_shape_e::single;
    }
    for (; *cursor != '\0' && !is_blank(*cursor); ++cursor) {
        if (*cursor == '\'' || *cursor == '"') {
            const char* end = nullptr;
            if (dri_get_quoted_str(cursor, text, end) != 0) {
                return token_shape_e::error;
            }
            cursor = end + 1;
            return token_shape_e::literal;
        }
        if (singles.find(*cursor) != std::string_view::npos) {
            break;
        }
    }
    text = std::string(start, cursor);
    return token_shape_e::word;
}

} // namespace

int dri_xp_lexer_next(const char*& cursor, dr_str_buf_c& text, const char*& start) {
    switch (next_token("!(),/<=>[]", cursor, text, start)) {
    case token_shape_e::end:
        return XP_TOKEN_END;
    case token_shape_e::error:
        return XP_TOKEN_ERROR;
    case token_shape_e::single:
        return *start;
    case token_shape_e::literal:
        return XP_TOKEN_LITERAL;
    case token_shape_e::word:
        break;
    }
    if (text == "or") {
        return XP_TOKEN_OR;
    }
    return text == "and" ? XP_TOKEN_AND : XP_TOKEN_WORD;
}

int dri_map_lexer_next(const char*& cursor, dr_str_buf_c& text, const char*& start) {
    switch (next_token("()+=", cursor, text, start)) {
    case token_shape_e::end:
        return MAP_TOKEN_END;
    case token_shape_e::error:
        return MAP_TOKEN_ERROR;
    case token_shape_e::single:
        return *start;
    case token_shape_e::literal:
        return MAP_TOKEN_LITERAL;
    case token_shape_e::word:
        break;
    }
    return text == "val" ? MAP_TOKEN_VAL : MAP_TOKEN_WORD;
}
