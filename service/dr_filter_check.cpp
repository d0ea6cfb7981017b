// SPDX-License-Identifier: BSD-2-Clause

// Reads a filter beside the definition, step by step, as walks will; the steps themselves are made
// elsewhere, and take whatever they are given.
#include "service/dr_filter_check.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "definitions/dr_tag_names.h"
#include "expr/dr_xp_functions.h"
#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "frame/dr_no_such.h"
#include "frame/str_util.h"

namespace {

using tags_t = std::vector<const drend_tag_c*>;
using names_t = std::vector<std::string>;

tags_t nameable_below(const tags_t& tags) {
    tags_t below;
    for (const drend_tag_c* tag : tags) {
        const tags_t kids = dri_nameable_kids(*tag);
        below.insert(below.end(), kids.begin(), kids.end());
    }
    return below;
}

bool has_leaf(const drend_tag_c& tag, const std::string& name) {
    tags_t way;
    return dri_find_nameable(tag, name, way) && way.back()->dt_type == DT_TYPE_LEAF;
}

names_t names_of(const tags_t& tags) {
    names_t names;
    std::unordered_set<std::string_view> seen; // a level may have thousands
    for (const drend_tag_c* tag : tags) {
        if (seen.insert(tag->name()).second) {
            names.push_back(tag->name());
        }
    }
    return names;
}

class filter_check_c {
  public:
    filter_check_c(const drend_tag_c& top_tag, const std::string& text)
        : text_(text), cursor_(text_.c_str()), level_(dri_nameable_tops(top_tag)) {}

    std::string run() {
        while (fault_.empty() && take_token()) {
        }
        return fault_;
    }

  private:
    // False at the end.
    bool take_token() {
        const dr_xp_token_s token = dri_xp_next_token(cursor_);
        switch (token.code) {
        case XP_TOKEN_END:
            end_step(token.start);
            return false;
        case XP_TOKEN_SLASH:
            take_slash(token.start);
            break;
        case XP_TOKEN_OPEN_BRACKET:
            take_bracket(token);
            break;
        case XP_TOKEN_ERROR:
        case XP_TOKEN_CLOSE_BRACKET:
            unexpected(token);
            break;
        default:
            take_name(token);
        }
        return true;
    }

    void take_slash(const char* at) {
        const bool is_leading = is_at_start_ && !has_begun();
        if (!is_leading) {
            end_step(at);
        }
        is_at_start_ = false;
        if (*cursor_ == '/' && may_double_) { // the first "//" is a "/"
            ++cursor_;
            may_double_ = false;
        }
    }

    void take_bracket(const dr_xp_token_s& token) {
        if (cursor_[0] == '*' && cursor_[1] == ']') { // means nothing
            cursor_ += 2;
        } else if (begin_predicates(token.start)) {
            take_predicate();
        }
    }

    void take_name(const dr_xp_token_s& token) {
        if (has_predicates_) {
            unexpected(token);
            return;
        }
        name_at_ = name_.empty() ? token.start : name_at_;
        name_ += token.text();
    }

    bool has_begun() const { return !name_.empty() || has_predicates_; }

    // What takes the step is known when its name is.
    bool begin_predicates(const char* at) {
        if (!has_predicates_) {
            has_predicates_ = true;
            take_step(name_.empty() ? at : name_at_);
        }
        return fault_.empty();
    }

    void take_step(const char* at) {
        taken_.clear();
        std::copy_if(
            level_.begin(), level_.end(), std::back_inserter(taken_),
            [&](const drend_tag_c* tag) { return name_.empty() || tag->name() == name_; });
        if (taken_.empty()) {
            fail(dri_no_such(name_, path_.empty() ? "/" : path_, names_of(level_)), at);
        }
        path_ += "/" + (name_.empty() ? "*" : name_);
    }

    void end_step(const char* at) {
        if (!has_begun()) {
            // Nothing at all is no step, either.
            if (!is_at_start_ || *at != '\0') {
                fail("an empty step", at);
            }
            return;
        }
        if (begin_predicates(name_at_)) {
            level_ = nameable_below(taken_);
            name_.clear();
            has_predicates_ = is_at_start_ = false;
        }
    }

    void take_predicate() {
        const char* const begin = cursor_;
        xp_node_c tree;
        const bool is_parsed = dri_xp_parse_expr(cursor_, tree) == 0;
        const char* const end = cursor_;
        const dr_xp_token_s token = dri_xp_next_token(cursor_);
        if (!is_parsed || token.code != XP_TOKEN_CLOSE_BRACKET) {
            unexpected(token);
            return;
        }
        for (const char* at = begin; fault_.empty() && at < end;) {
            const dr_xp_token_s word = dri_xp_next_token(at);
            check_word(word, at);
        }
    }

    // A word is a function, a number or a leaf; `next` is what stands behind it.
    void check_word(const dr_xp_token_s& token, const char* next) {
        const std::string word(token.span);
        if (token.code != XP_TOKEN_WORD || dri_number_of(word).is_whole) {
            return;
        }
        if (dri_xp_next_token(next).code == XP_TOKEN_OPEN) {
            if (dri_find_function(word) == nullptr) {
                fail("no function " + dri_quoted_word(word), token.start);
            }
            return;
        }
        const auto leads_to_leaf = [&](const drend_tag_c* tag) {
            return has_leaf(*tag, word);
        };
        if (std::none_of(taken_.begin(), taken_.end(), leads_to_leaf)) {
            tags_t leaves = nameable_below(taken_);
            std::erase_if(leaves, [](const drend_tag_c* tag) {
                return tag->dt_type != DT_TYPE_LEAF;
            });
            fail(dri_no_such(word, path_, names_of(leaves)), token.start);
        }
    }

    void unexpected(const dr_xp_token_s& token) {
        if (token.code == XP_TOKEN_ERROR) {
            fail("a quote that is never closed", token.start);
        } else if (token.code == XP_TOKEN_END) {
            fail("a predicate that is never closed", token.start);
        } else {
            fail("unexpected " + dri_quoted_word(token.text()), token.start);
        }
    }

    void fail(const std::string& what, const char* at) {
        const std::string_view before(text_.c_str(), at);
        fault_ = what + " at character " + std::to_string(dri_count_characters(before) + 1);
    }

    const std::string text_;
    const char* cursor_;
    tags_t level_;     // what the step may take
    tags_t taken_;     // what it has taken
    std::string path_; // to that
    std::string name_;
    const char* name_at_ = nullptr;
    bool has_predicates_ = false;
    bool is_at_start_ = true;
    bool may_double_ = true;
    std::string fault_;
};

} // namespace

std::string dri_check_filter(const drend_tag_c& top_tag, const std::string& text) {
    return filter_check_c(top_tag, text).run();
}
