// SPDX-License-Identifier: BSD-2-Clause

// Cutting a filter with the lexer of expressions. Brackets are not paired: a "/" in a predicate
// ends its step, too, which is kept because requests rely on it.
#include "definitions/dr_filter_steps.h"

#include <utility>

#include "expr/dr_text_cache.h"
#include "expr/dr_xp_lexer.h"
#include "expr/dr_xp_parser.h"
#include "frame/str_util.h"

namespace {

class filter_cutter_c {
  public:
    explicit filter_cutter_c(const char* filter) : cursor_(filter) {}

    // Null when the steps together are too much.
    dr_filter_t cut() { return read() ? std::move(filter_) : nullptr; }

  private:
    bool read() {
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

    void finish_step() {
        last_ = &filter_->add_below(*last_);
        dr_step_filter_s& step = last_->ways.emplace_back();
        step.text = std::exchange(current_, {});
        if (step.text.empty()) {
            last_->is_empty = true;
            ++size_.nodes;
        } else {
            step.parsed = dri_xpath_make(step.text.c_str(), size_);
            if (step.parsed != nullptr && step.parsed->steps().size() != 1) {
                step.parsed = nullptr;
            }
        }
    }

    const char* cursor_;
    std::shared_ptr<dr_filter_c> filter_ = std::make_shared<dr_filter_c>();
    dr_filter_node_s* last_ = &filter_->top();
    std::string current_;
    bool has_slash_ = false;
    dr_xp_size_s size_; // of all steps
};

// The equality of a name and a literal: the root of a predicate's tree.
void make_equality(xp_node_c& root, const std::string& name, std::string_view value) {
    root.type = XP_NODE_EQUAL;
    root.left = std::make_unique<xp_node_c>();
    root.left->set_value(XP_TOKEN_WORD, name);
    root.right = std::make_unique<xp_node_c>();
    root.right->set_value(XP_TOKEN_LITERAL, std::string(value));
}

} // namespace

dr_filter_t dri_cut_filter(const char* filter) {
    return filter_cutter_c(filter).cut();
}

dr_step_builder_c::dr_step_builder_c(const std::string& name) : text_(name) {
    node_.text = name;
}

// Each value is a predicate of its own: however many there are, nothing nests.
void dr_step_builder_c::add(const std::string& name, std::string_view value) {
    text_.append(values_ == 0 ? " [ ( " : " and ( ").append(name).append(" = ");
    dri_append_quoted(text_, value);
    text_ += " )";
    xp_node_c* root = &node_;
    if (values_ > 0) {
        root = node_.more_predicates.emplace_back(std::make_unique<xp_node_c>()).get();
    }
    make_equality(*root, name, value);
    ++values_;
}

dr_step_filter_s dr_step_builder_c::finish() {
    text_ += values_ == 0 ? "" : " ]";
    std::vector<xp_node_c> steps;
    steps.push_back(std::move(node_));
    dr_xp_size_s size;
    size.nodes = 1 + size_t{3} * values_;
    dr_step_filter_s step;
    step.text = std::move(text_);
    step.parsed = std::make_shared<dr_xpath_c>(std::move(steps), size);
    return step;
}

std::string dri_traced_step(const dr_filter_node_s& step) {
    std::string text;
    for (const dr_step_filter_s& way : step.ways) {
        text.append(text.empty() ? "" : " | ").append(way.text);
    }
    return text;
}

size_t dr_filter_c::memory() const {
    size_t memory = sizeof *this;
    for (const dr_filter_node_s& node : nodes_) {
        memory +=
            sizeof node + node.below.capacity() * sizeof(void*) + 2 * DRI_BLOCK_MEMORY;
        for (const dr_step_filter_s& way : node.ways) {
            memory += sizeof way + dri_text_memory(way.text);
            if (way.parsed != nullptr) {
                memory += way.parsed->memory();
                memory += way.parsed->words() * sizeof(dr_word_s) + DRI_BLOCK_MEMORY;
            }
            memory += way.value == nullptr ? 0 : sizeof(std::string) + way.value->size();
            for (const dr_entry_s& entry : way.entries) {
                memory += sizeof entry + entry.name.size() + entry.text.size();
            }
        }
    }
    return memory;
}
