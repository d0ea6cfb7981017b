// SPDX-License-Identifier: BSD-2-Clause

// Cutting a filter with the lexer of expressions. Brackets are not paired: a "/" in a predicate
// ends its step, too, which is kept because requests rely on it.
#include "definitions/dr_filter_steps.h"

#include <utility>

#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "frame/str_util.h"

namespace {

class filter_cutter_c {
  public:
    explicit filter_cutter_c(const char* filter) : cursor_(filter) {}

    // False when the steps together are too much.
    bool cut() {
        while (!size_.is_too_much()) {
            const dr_xp_token_s token = dri_xp_next_token(cursor_);
            switch (token.code) {
            case XP_TOKEN_END:
                if (has_slash_ || !current_.empty()) {
                    finish_step();
                }
                return !size_.is_too_much();
            case XP_TOKEN_ERROR:
                return true;
            case XP_TOKEN_SLASH:
                if (std::exchange(has_slash_, true) || !current_.empty()) {
                    finish_step();
                }
                break;
            case XP_TOKEN_LITERAL:
                current_ += ' ';
                dri_append_quoted(current_, token.text());
                break;
            default:
                current_ += current_.empty() ? "" : " ";
                current_ += token.span;
            }
        }
        return false;
    }

    std::vector<dr_step_filter_s> steps;

  private:
    void finish_step() {
        dr_step_filter_s step{std::move(current_), nullptr};
        current_.clear();
        if (step.text.empty()) {
            ++size_.nodes;
        } else {
            step.parsed = dri_xpath_make(step.text.c_str(), size_);
            if (step.parsed != nullptr && step.parsed->steps().size() != 1) {
                step.parsed = nullptr;
            }
        }
        steps.push_back(std::move(step));
    }

    const char* cursor_;
    std::string current_;
    bool has_slash_ = false;
    dr_xp_size_s size_; // of all steps
};

} // namespace

dr_filter_t dri_cut_filter(const char* filter) {
    filter_cutter_c cutter(filter);
    if (!cutter.cut()) {
        return nullptr;
    }
    return std::make_shared<std::vector<dr_step_filter_s>>(std::move(cutter.steps));
}
