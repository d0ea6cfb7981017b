// SPDX-License-Identifier: BSD-2-Clause

// A filter from a request's arguments: each argument is searched in the command's tree, depth
// first, and becomes a predicate at the level of the tag that holds it.
//
// Arguments of different branches meet at the level that they share; what that selects is kept as
// it is, because requests rely on it.
#include "service/dr_derived_filter.h"

#include <cstring>
#include <vector>

#include "expr/dri_args.h"
#include "frame/str_util.h"

namespace {

// A predicate that no row satisfies, for a value that no literal can hold.
constexpr char NEVER[] = "('false'='true')";

// The test that `name` has that value, quoted so that it stays one literal whatever it holds.
std::string predicate_for(const std::string& name, const char* value) {
    std::string literal;
    for (const char* c = value; *c != '\0'; ++c) {
        literal += *c == '\'' ? "\\'" : std::string(1, *c);
    }
    return literal.ends_with('\\') ? NEVER : "(" + name + "='" + literal + "')";
}

// The levels of a filter, built up argument by argument. Steps found by earlier arguments stay, and
// an argument whose tag lies below another branch adds to the step that its depth has already.
class filter_builder_c {
  public:
    // Finds the tag called `name` in the tree below `top`, and puts a predicate on its parent.
    void add(const drend_tag_c& top, const std::string& name, const char* value) {
        name_ = &name;
        predicate_ = predicate_for(name, value);
        search(top, -1);
    }

    std::string text() const {
        std::string filter;
        for (const step_s& step : steps_) {
            filter += "/" + step.name;
            if (!step.predicates.empty()) {
                filter += "[";
                str_join(step.predicates, filter, " and ");
                filter += "]";
            }
        }
        return filter;
    }

  private:
    struct step_s {
        std::string name;
        std::vector<std::string> predicates;
    };

    // `depth` is the level of the tag's parent among the visible tags, -1 for the top.
    bool search(const drend_tag_c& tag, int depth) {
        if (tag.name() == *name_ && tag.dt_type != DT_TYPE_EMPTY) {
            if (depth >= 0) {
                steps_[static_cast<size_t>(depth)].predicates.push_back(predicate_);
            }
            return true;
        }
        // Choices and cases are no level of a filter.
        const int level = tag.is_hidden() ? depth : depth + 1;
        const bool adds = level > depth && steps_.size() <= static_cast<size_t>(level);
        if (adds) {
            steps_.push_back({tag.name(), {}});
        }
        for (const drend_tag_c* kid : tag.dt_kids) {
            if (search(*kid, level)) {
                return true;
            }
        }
        if (adds) {
            steps_.pop_back();
        }
        return false;
    }

    const std::string* name_ = nullptr;
    std::string predicate_;
    std::vector<step_s> steps_;
};

// The end of the literal that begins at `quote`, or of the text.
const char* literal_end(const char* quote) {
    const char* c = quote + 1;
    while (*c != '\0' && (*c != *quote || c[-1] == '\\')) {
        ++c;
    }
    return *c == '\0' ? c : c + 1;
}

} // namespace

dr_request_wish_s dri_derive_wish(const drend_tag_c& top_tag, const char* args) {
    dr_request_wish_s wish;
    if (!top_tag.dt_styles.empty()) {
        wish.style = top_tag.dt_styles.back();
    }
    filter_builder_c builder;
    for (const drend_tag_c* input : top_tag.dt_input_kids) {
        dr_str_buf_c value;
        if (dri_args_find(args, input->name().c_str(), value) == 0) {
            continue;
        }
        value.strip_quotes();
        builder.add(top_tag, input->name(), value);
        if (!input->dt_styles.empty()) {
            wish.style = input->dt_styles.back();
        }
    }
    wish.filter = builder.text();
    return wish;
}

std::string dri_simplify_filter(const char* filter) {
    static constexpr char every_row[] = "[*]";
    std::string simple;
    bool is_first = true;
    for (const char* c = filter; *c != '\0';) {
        if (*c == '\'' || *c == '"') {
            const char* end = literal_end(c);
            simple.append(c, end);
            c = end;
        } else if (strncmp(c, every_row, strlen(every_row)) == 0) {
            c += strlen(every_row);
        } else {
            simple += *c++;
            if (is_first && simple.ends_with("//")) {
                simple.pop_back();
                is_first = false;
            }
        }
    }
    return simple;
}
