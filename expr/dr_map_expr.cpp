// SPDX-License-Identifier: BSD-2-Clause

// A sum of terms nests nothing, so a loop reads it. What is not an expression is refused as a
// whole, so that no half of one is ever shown.

#include "expr/dr_map_expr.h"

#include <utility>

#include "expr/dr_xp_lexer.h"

namespace {

class map_parser_c {
  public:
    explicit map_parser_c(const char* text) : cursor_(text) {}

    bool parse() {
        if (next() != MAP_TOKEN_EQUAL) {
            return false;
        }
        do {
            if (!term()) {
                return false;
            }
        } while (next() == MAP_TOKEN_PLUS);
        return true;
    }

    std::vector<dr_map_term_s> terms;

  private:
    int next() {
        const char* start = nullptr;
        return dri_map_lexer_next(cursor_, text_, start);
    }

    bool term() {
        const int token = next();
        const bool is_val = token == MAP_TOKEN_VAL;
        if (is_val && (next() != MAP_TOKEN_OPEN || next() != MAP_TOKEN_LITERAL)) {
            return false;
        }
        if (!is_val && token != MAP_TOKEN_LITERAL) {
            return false;
        }
        terms.push_back({is_val, text_.c_str()});
        return !is_val || next() == MAP_TOKEN_CLOSE;
    }

    const char* cursor_;
    dr_str_buf_c text_;
};

} // namespace

int dri_map_expr_parse(const char* text, std::vector<dr_map_term_s>& terms) {
    map_parser_c parser(text);
    if (!parser.parse()) {
        return -1;
    }
    terms = std::move(parser.terms);
    return 0;
}
