// SPDX-License-Identifier: BSD-2-Clause

// Filters and expressions as the reference reads them.

#include <algorithm>
#include <cctype>
#include <cstdlib>

#include <regex.h>

#include "reference.h"

namespace reference {

// --- filters -----------------------------------------------------------------------------------

bool unquote(const std::string& text, size_t& at, std::string& out) {
    const char quote = text[at++];
    for (; at < text.size(); ++at) {
        if (text[at] != quote) {
            out += text[at];
        } else if (text[at - 1] == '\\') {
            out.back() = quote;
        } else {
            ++at;
            return true;
        }
    }
    return false;
}

namespace {

bool is_blank(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

token_s next_token(const std::string& text, size_t& at) {
    static const std::string signs = "!(),/<=>[]";
    std::string word;
    for (; at < text.size() && (word.empty() || !is_blank(text[at])); ++at) {
        if (text[at] == '\'' || text[at] == '"') {
            std::string literal;
            return unquote(text, at, literal) ? token_s{token_s::LITERAL, literal}
                                              : token_s{token_s::BROKEN, ""};
        }
        if (signs.find(text[at]) != std::string::npos) {
            return word.empty() ? token_s{token_s::SIGN, std::string(1, text[at++])}
                                : token_s{token_s::WORD, word};
        }
        if (!is_blank(text[at])) {
            word += text[at];
        }
    }
    return {word.empty() ? token_s::END : token_s::WORD, word};
}

class step_parser_c {
  public:
    explicit step_parser_c(std::vector<token_s> tokens) : tokens_(std::move(tokens)) {}

    step_s step() {
        step_s step;
        step.is_empty = tokens_.empty();
        while (at_ < tokens_.size() && !is_broken_) {
            if (!take("[")) {
                step.name += tokens_[at_++].text;
                continue;
            }
            step.predicates.push_back(expression());
            is_broken_ = is_broken_ || !take("]");
        }
        step.is_broken = is_broken_;
        return step;
    }

  private:
    bool take(const char* sign) {
        const bool is_there = at_ < tokens_.size() && tokens_[at_].is(sign);
        at_ += is_there ? 1 : 0;
        return is_there;
    }

    // One precedence, from left to right.
    expression_s expression() {
        static const std::set<std::string> operators = {"<", ">", "=", "and", "or"};
        expression_s left = operand();
        while (!is_broken_ && at_ < tokens_.size() &&
               tokens_[at_].kind != token_s::LITERAL &&
               operators.contains(tokens_[at_].text)) {
            const std::string sign = tokens_[at_++].text;
            left = {expression_s::OPERATOR, sign, {left, operand()}};
        }
        return left;
    }

    expression_s operand() {
        if (take("(")) {
            expression_s inner = expression();
            is_broken_ = is_broken_ || !take(")");
            return inner;
        }
        const token_s token =
            at_ < tokens_.size() ? tokens_[at_++] : token_s{token_s::END, ""};
        is_broken_ =
            is_broken_ || token.kind == token_s::SIGN || token.kind == token_s::END ||
            (token.kind == token_s::WORD && (token.text == "and" || token.text == "or"));
        expression_s value{token.kind == token_s::LITERAL ? expression_s::LITERAL
                                                          : expression_s::NAME,
                           token.text};
        if (!is_broken_ && take("(")) {
            value.kind = expression_s::CALL;
            read_arguments(value);
        }
        return value;
    }

    void read_arguments(expression_s& call) {
        while (!is_broken_ && !take(")")) {
            if (!take(",")) {
                call.parts.push_back(expression());
            } else if (call.parts.empty()) {
                is_broken_ = true;
            }
        }
    }

    std::vector<token_s> tokens_;
    size_t at_ = 0;
    bool is_broken_ = false;
};

// Without "[*]", and with "/" for the first "//"; literals are left as they are.
std::string simplified(const std::string& filter) {
    std::string simple;
    bool is_first = true;
    for (size_t at = 0; at < filter.size();) {
        if (filter[at] == '\'' || filter[at] == '"') {
            const size_t begin = at;
            std::string literal;
            unquote(filter, at, literal);
            simple += filter.substr(begin, at - begin);
        } else if (filter.compare(at, 3, "[*]") == 0) {
            at += 3;
        } else if (is_first && filter[at] == '/' && simple.ends_with('/')) {
            is_first = false;
            ++at;
        } else {
            simple += filter[at++];
        }
    }
    return simple;
}

} // namespace

std::vector<token_s> tokens_of(const std::string& text) {
    std::vector<token_s> tokens;
    size_t at = 0;
    do {
        tokens.push_back(next_token(text, at));
    } while (tokens.back().kind != token_s::END && tokens.back().kind != token_s::BROKEN);
    if (tokens.back().kind == token_s::END) {
        tokens.pop_back();
    }
    return tokens;
}

std::vector<step_s> steps_of(const std::string& filter) {
    std::vector<step_s> steps;
    std::vector<token_s> current;
    bool has_slash = false;
    for (const token_s& token : tokens_of(simplified(filter))) {
        if (token.kind == token_s::BROKEN) {
            return steps;
        }
        if (!token.is("/")) {
            current.push_back(token);
            continue;
        }
        if (has_slash || !current.empty()) {
            steps.push_back(step_parser_c(std::exchange(current, {})).step());
        }
        has_slash = true;
    }
    if (has_slash || !current.empty()) {
        steps.push_back(step_parser_c(current).step());
    }
    return steps;
}

// --- expressions -------------------------------------------------------------------------------

namespace {

std::string truth(bool is_true) {
    return is_true ? "true" : "false";
}

long number_of(const std::string& text) {
    return std::clamp(strtol(text.c_str(), nullptr, 0), -2147483648L, 2147483647L);
}

bool is_number(const std::string& text) {
    char* end = nullptr;
    strtol(text.c_str(), &end, 0);
    return end != text.c_str() && *end == '\0';
}

bool matches(const std::string& text, const std::string& pattern) {
    regex_t compiled;
    const bool is_pattern = regcomp(&compiled, pattern.c_str(), 0) == 0;
    const bool found = is_pattern && regexec(&compiled, text.c_str(), 0, nullptr, 0) == 0;
    if (is_pattern) {
        regfree(&compiled);
    }
    return found;
}

std::string call(const std::string& function, const std::vector<std::string>& arguments,
                 names_c& names) {
    if (function == "local_name") {
        return arguments.empty() ? names.local_name() : "";
    }
    if (function != "contains" && function != "starts-with" && function != "match") {
        return "";
    }
    if (arguments.size() < 2) {
        return "false";
    }
    return truth(function == "contains"
                     ? arguments[0].find(arguments[1]) != std::string::npos
                 : function == "match" ? matches(arguments[0], arguments[1])
                                       : arguments[0].starts_with(arguments[1]));
}

} // namespace

bool holds(const std::string& result) {
    return !result.empty() && result != "false";
}

std::string evaluate(const expression_s& expression, names_c& names) {
    if (expression.kind == expression_s::LITERAL) {
        return expression.text;
    }
    if (expression.kind == expression_s::NAME) {
        return names.value_of(expression.text)
            .value_or(is_number(expression.text) ? expression.text : "");
    }
    std::vector<std::string> parts;
    for (const expression_s& part : expression.parts) {
        parts.push_back(evaluate(part, names));
    }
    const std::string& sign = expression.text;
    if (expression.kind == expression_s::CALL) {
        return call(sign, parts, names);
    }
    const bool left = holds(parts[0]) && parts[0] != "0";
    const bool right = holds(parts[1]) && parts[1] != "0";
    return truth(sign == "="     ? parts[0] == parts[1]
                 : sign == "and" ? left && right
                 : sign == "or"  ? left || right
                 : sign == "<"   ? number_of(parts[0]) < number_of(parts[1])
                                 : number_of(parts[0]) > number_of(parts[1]));
}

bool is_about_name(const expression_s& expression) {
    bool calls_it = false;
    bool has_name = false;
    std::vector<const expression_s*> pending{&expression};
    while (!pending.empty()) {
        const expression_s& part = *pending.back();
        pending.pop_back();
        calls_it |= part.kind == expression_s::CALL && part.text == "local_name";
        has_name |= part.kind == expression_s::NAME;
        for (const expression_s& below : part.parts) {
            pending.push_back(&below);
        }
    }
    return calls_it && !has_name;
}

void pin(const expression_s& expression, std::set<std::string>& names) {
    if (expression.kind != expression_s::OPERATOR) {
        return;
    }
    const expression_s& left = expression.parts[0];
    const expression_s& right = expression.parts[1];
    if (expression.text == "and") {
        pin(left, names);
        pin(right, names);
    } else if (expression.text == "=" && left.kind == expression_s::NAME &&
               right.kind == expression_s::LITERAL && !right.text.empty()) {
        names.insert(left.text);
    }
}

} // namespace reference
