// SPDX-License-Identifier: BSD-2-Clause

// The lexers of the two expression languages: that of filters and paths, and that of value maps.
//
//     /interfaces/interface[name = 'lo']     /  word  /  word  [  word  =  literal  ]
//     ='up since '+val('uptime')             =  literal  +  val  (  literal  )
//
// Both know words, which end at white space, at a quote and at a one-character token; literals in
// single or double quotes, where a backslash keeps the quote after it; and their own one-character
// tokens, whose code is the character. Texts may hold any bytes. The time taken is proportional to
// the text that is read.
//
// No state; safe from any thread.
#pragma once

#include <string>
#include <string_view>

#include "frame/dr_str_buf.h"

// What dri_xp_lexer_next returns.
enum xp_token_e : int {
    XP_TOKEN_ERROR = -1, // a literal that is never closed
    XP_TOKEN_END = 0,
    XP_TOKEN_AND = 1, // the word "and"
    XP_TOKEN_OR = 2,  // the word "or"
    XP_TOKEN_WORD = 3,
    XP_TOKEN_LITERAL = 4, // the text is without its quotes
    XP_TOKEN_NOT = '!',
    XP_TOKEN_OPEN = '(',
    XP_TOKEN_CLOSE = ')',
    XP_TOKEN_COMMA = ',',
    XP_TOKEN_SLASH = '/',
    XP_TOKEN_LESS = '<',
    XP_TOKEN_EQUAL = '=',
    XP_TOKEN_GREATER = '>',
    XP_TOKEN_OPEN_BRACKET = '[',
    XP_TOKEN_CLOSE_BRACKET = ']',
};

// A token where it stands in the text that is read.
struct dr_xp_token_s {
    int code; // an xp_token_e
    std::string_view
        span; // within its quotes; a literal's has the backslashes that keep quotes
    const char* start; // where it began: setting the cursor to it gives the token back

    std::string text() const;
};

// Reads the next token and moves `cursor` behind it. After an error the cursor stands at the quote.
//
// A quote ends a word, and the word is lost: ab'c' is the literal c.
dr_xp_token_s dri_xp_next_token(const char*& cursor);

// The same: `text` becomes the token's text, that of a one-character token included, and is left
// alone at the end.
int dri_xp_lexer_next(const char*& cursor, dr_str_buf_c& text, const char*& start);

// What dri_map_lexer_next returns.
enum map_token_e : int {
    MAP_TOKEN_ERROR = -1,
    MAP_TOKEN_END = 0,
    MAP_TOKEN_WORD = 1,
    MAP_TOKEN_LITERAL = 2,
    MAP_TOKEN_VAL = 3, // the word "val"
    MAP_TOKEN_OPEN = '(',
    MAP_TOKEN_CLOSE = ')',
    MAP_TOKEN_PLUS = '+',
    MAP_TOKEN_EQUAL = '=',
};

// The same for value-map expressions.
int dri_map_lexer_next(const char*& cursor, dr_str_buf_c& text, const char*& start);
