// SPDX-License-Identifier: BSD-2-Clause

// Recursive descent that counts what is open: a peer's text must not decide how much stack is used.
// All operators have one precedence, so a tree grows to the left by wrapping what it has.

#include "expr/dr_xp_parser.h"

#include <algorithm>
#include <cassert>
#include <string>
#include <string_view>
#include <utility>

#include "expr/dr_text_cache.h"
#include "expr/dr_xp_functions.h"
#include "expr/dr_xp_lexer.h"

namespace {

constexpr int FAILED = -1;

int operator_type(int token) {
    switch (token) {
    case XP_TOKEN_AND:
        return XP_NODE_AND;
    case XP_TOKEN_OR:
        return XP_NODE_OR;
    case XP_TOKEN_LESS:
        return XP_NODE_LESS;
    case XP_TOKEN_GREATER:
        return XP_NODE_GREATER;
    case XP_TOKEN_EQUAL:
        return XP_NODE_EQUAL;
    default:
        return XP_NODE_NONE;
    }
}

// The nesting of what encloses something of the given nesting.
int enclosing(int nesting) {
    return nesting == FAILED || nesting >= XP_MAX_NESTING ? FAILED : nesting + 1;
}

// The work of a pattern, unless it is known only when a row is judged.
size_t work_of(const xp_node_c* pattern) {
    while (pattern->type == XP_NODE_EXPR) {
        pattern = pattern->left.get();
    }
    return pattern->kind == XP_TOKEN_LITERAL ? dri_pattern_work(pattern->text) : 0;
}

// Reads tokens from a cursor that belongs to the caller, and counts what it makes. Every rule fills
// an empty node and returns how deep its part nests, or FAILED; `open` counts what is still open
// around it.
class expr_parser_c {
  public:
    expr_parser_c(const char*& cursor, dr_xp_size_s& size) : cursor_(cursor), size_(size) {}

    int expression(xp_node_c& node, int open) {
        node.type = XP_NODE_EXPR;
        node.left = make_node();
        int nesting = operand(*node.left, open);
        while (nesting != FAILED) {
            const int type = operator_type(next());
            if (type == XP_NODE_NONE) {
                give_back();
                break;
            }
            if (node.right != nullptr) {
                auto whole = make_node();
                *whole = std::exchange(node, xp_node_c());
                node.left = std::move(whole);
            }
            node.type = type;
            node.right = make_node();
            const int right = operand(*node.right, open);
            nesting = right == FAILED ? FAILED : enclosing(std::max(nesting, right));
        }
        return nesting;
    }

    // Sets the cursor to the token that was read last.
    void give_back() { cursor_ = token_.start; }

  private:
    int next() {
        token_ = dri_xp_next_token(cursor_);
        return token_.code;
    }

    std::unique_ptr<xp_node_c> make_node() {
        ++size_.nodes;
        return std::make_unique<xp_node_c>();
    }

    int operand(xp_node_c& node, int open) {
        if (size_.is_too_much()) {
            return FAILED;
        }
        const int token = next();
        if (token == XP_TOKEN_OPEN) {
            return in_parentheses(node, open);
        }
        if (token != XP_TOKEN_WORD && token != XP_TOKEN_LITERAL) {
            return FAILED;
        }
        node.set_value(token, token_.text());
        if (next() == XP_TOKEN_OPEN) {
            return call(node, open);
        }
        give_back();
        return 0;
    }

    int in_parentheses(xp_node_c& node, int open) {
        if (open == XP_MAX_NESTING) {
            return FAILED;
        }
        const int nesting = enclosing(expression(node, open + 1));
        return nesting != FAILED && next() == XP_TOKEN_CLOSE ? nesting : FAILED;
    }

    int call(xp_node_c& node, int open) {
        node.type = XP_NODE_CALL;
        int nesting = open == XP_MAX_NESTING ? FAILED : 0;
        while (nesting != FAILED) {
            const int token = next();
            if (token == XP_TOKEN_CLOSE) {
                note_pattern(node);
                return enclosing(nesting);
            }
            if (token == XP_TOKEN_COMMA && !node.args.empty()) {
                continue;
            }
            give_back();
            node.args.push_back(make_node());
            const int argument = expression(*node.args.back(), open + 1);
            nesting = argument == FAILED ? FAILED : std::max(nesting, argument);
        }
        return FAILED;
    }

    void note_pattern(xp_node_c& call) {
        if (call.text == XP_MATCH) {
            call.pattern = std::make_shared<const dr_xp_pattern_c>();
            ++size_.patterns;
            size_.pattern_work += call.args.size() < 2 ? 0 : work_of(call.args[1].get());
        }
    }

    const char*& cursor_;
    dr_xp_token_s token_{};
    dr_xp_size_s& size_;
};

int parse_expr(const char*& cursor, xp_node_c& node, dr_xp_size_s& size) {
    xp_node_c tree;
    ++size.nodes;
    expr_parser_c parser(cursor, size);
    if (parser.expression(tree, 0) == FAILED) {
        parser.give_back();
        return -1;
    }
    node.kind = 0;
    node.type = tree.type;
    node.left = std::move(tree.left);
    node.right = std::move(tree.right);
    node.args.clear();
    return 0;
}

bool parse_predicate(const char*& cursor, xp_node_c& step, dr_xp_size_s& size) {
    xp_node_c* root = &step;
    if (step.type != XP_NODE_NONE) {
        step.more_predicates.push_back(std::make_unique<xp_node_c>());
        root = step.more_predicates.back().get();
    }
    return parse_expr(cursor, *root, size) == 0 &&
           dri_xp_next_token(cursor).code == XP_TOKEN_CLOSE_BRACKET;
}

// Null when the path does not parse or is too much; `size` counts what was parsed either way.
std::shared_ptr<const dr_xpath_c> parse_path(const char* cursor, dr_xp_size_s& size) {
    std::vector<xp_node_c> steps(1);
    for (size.nodes = 1; !size.is_too_much();) {
        const dr_xp_token_s token = dri_xp_next_token(cursor);
        switch (token.code) {
        case XP_TOKEN_END:
        case XP_TOKEN_ERROR:
            return std::make_shared<const dr_xpath_c>(std::move(steps), size);
        case XP_TOKEN_SLASH:
            steps.emplace_back();
            ++size.nodes;
            break;
        case XP_TOKEN_OPEN_BRACKET:
            if (!parse_predicate(cursor, steps.back(), size)) {
                return nullptr;
            }
            break;
        default:
            steps.back().text += token.text();
        }
    }
    return nullptr;
}

using path_t = std::shared_ptr<const dr_xpath_c>;

dr_text_cache_c<path_t>& cache() {
    static dr_text_cache_c<path_t> paths(XP_KEPT_MEMORY);
    return paths;
}

unsigned times_forgotten = 0;

// Numbers the bare words, too.
void note_facts(xp_node_c& node, dr_xp_predicate_s& predicate, unsigned& words) {
    if (node.type == XP_NODE_CALL && node.text == "local_name") {
        predicate.calls_local_name = true;
    }
    if (node.type == XP_NODE_VALUE && node.kind == XP_TOKEN_WORD) {
        predicate.holds_bare_word = true;
        node.slot = words++;
    }
    for (const auto& argument : node.args) {
        note_facts(*argument, predicate, words);
    }
    for (xp_node_c* child : {node.left.get(), node.right.get()}) {
        if (child != nullptr) {
            note_facts(*child, predicate, words);
        }
    }
}

} // namespace

dr_xpath_c::dr_xpath_c(std::vector<xp_node_c> steps, const dr_xp_size_s& size)
    : steps_(std::move(steps)), size_(size) {
    for (xp_node_c& step : steps_) {
        if (step.type != XP_NODE_NONE) {
            add_predicate(step);
        }
        for (const auto& root : step.more_predicates) {
            add_predicate(*root);
        }
    }
}

void dr_xpath_c::add_predicate(xp_node_c& root) {
    assert(root.type != XP_NODE_VALUE && root.type != XP_NODE_CALL); // its text is a step's
    dr_xp_predicate_s predicate{&root, false, false};
    note_facts(root, predicate, words_);
    predicates_.push_back(predicate);
}

size_t dr_xpath_c::memory() const {
    size_t memory = sizeof *this + 2 * DRI_BLOCK_MEMORY +
                    predicates_.capacity() * sizeof(dr_xp_predicate_s) +
                    steps_.capacity() * sizeof(xp_node_c);
    for (const xp_node_c& step : steps_) {
        memory += dri_memory_below(step);
    }
    return memory;
}

std::shared_ptr<const dr_xpath_c> dri_xpath_make(const char* text, dr_xp_size_s& so_far) {
    dr_xp_size_s size;
    path_t path = parse_path(text, size);
    so_far.add(size);
    return so_far.is_too_much() ? nullptr : path;
}

std::shared_ptr<const dr_xpath_c> dri_xpath_get(const char* text) {
    constexpr uint64_t everywhere = 0;
    if (const path_t* known = cache().find(everywhere, text)) {
        return *known;
    }
    dr_xp_size_s size;
    path_t path = dri_xpath_make(text, size);
    if (path != nullptr) {
        cache().keep(everywhere, text, path, path->memory());
    }
    return path;
}

int dri_xpath_parse(const char* text, std::vector<xp_node_c>& steps) {
    const auto path = dri_xpath_get(text);
    if (path == nullptr) {
        return -1;
    }
    steps = path->steps();
    return 0;
}

int dri_xp_parse_expr(const char*& cursor, xp_node_c& node) {
    dr_xp_size_s size;
    return parse_expr(cursor, node, size);
}

void dri_forget_paths() {
    cache().clear();
    ++times_forgotten;
}

unsigned dri_times_paths_forgotten() {
    return times_forgotten;
}
