// SPDX-License-Identifier: BSD-2-Clause

// One pass over the text with a state of three: between arguments, in a name, in a value. What is
// read before an error counts, because peers rely on it.

#include "expr/dri_args.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "frame/str_util.h"

namespace {

bool is_separator(char c) {
    return c == ',' || isspace(static_cast<unsigned char>(c)) != 0;
}

// Hands out one argument after the other.
class args_reader_c {
  public:
    explicit args_reader_c(const char* text) : cursor_(text) {}

    // Reads the next argument. False at the end and after an error.
    bool next() {
        name.clear();
        value.clear();
        state_ = state_e::between;
        for (; !has_failed() && *cursor_ != '\0'; ++cursor_) {
            if (is_separator(*cursor_)) {
                if (state_ != state_e::between) {
                    return true;
                }
                drop_name();
            } else if (*cursor_ == '\'' || *cursor_ == '"') {
                if (!quoted()) {
                    return false;
                }
            } else if (*cursor_ == '=' && state_ == state_e::in_name) {
                state_ = state_e::in_value;
            } else {
                ordinary();
            }
        }
        if (state_ == state_e::between) {
            drop_name();
        }
        return !has_failed() && state_ != state_e::between;
    }

    const dr_args_fault_s& fault() const { return fault_; }

    std::string name;
    std::string value;

  private:
    enum class state_e { between, in_name, in_value };

    bool has_failed() const { return fault_.is_error; }

    // A quoted text that no more of a name follows.
    void drop_name() {
        if (!name.empty() && fault_.what == nullptr) {
            fault_ = {"a quoted text is no argument", quoted_at_, false};
        }
        name.clear();
    }

    // Leaves the cursor at the closing quote, or wherever the quoted text breaks off.
    bool quoted() {
        const char* const begin = cursor_;
        if (state_ == state_e::in_name) {
            fault_ = {"a quote in a name", begin, true};
            return false;
        }
        if (!dri_find_end_quote(begin, cursor_)) {
            fault_ = {"a quote that is never closed", begin, true};
            return false;
        }
        const std::string text = dri_unquoted(std::string_view(begin + 1, cursor_), *begin);
        if (state_ == state_e::between) {
            name = text;
            quoted_at_ = begin;
        } else {
            value.reserve(value.size() + text.size() + 2);
            value += *begin;
            value += text;
            value += *begin;
        }
        return true;
    }

    void ordinary() {
        if (state_ == state_e::in_value) {
            value += *cursor_;
        } else {
            name += *cursor_;
            state_ = state_e::in_name;
        }
    }

    const char* cursor_;
    state_e state_ = state_e::between;
    const char* quoted_at_ = nullptr; // what the name begins with
    dr_args_fault_s fault_{};
};

} // namespace

dr_args_fault_s dri_read_args(const char* text, std::vector<dr_argument_s>& out) {
    args_reader_c reader(text);
    while (reader.next()) {
        out.push_back({std::move(reader.name), std::move(reader.value)});
    }
    return reader.fault();
}

const dr_argument_s* dri_find_arg(const std::vector<dr_argument_s>& args,
                                  std::string_view name) {
    const auto found = std::find_if(args.begin(), args.end(),
                                    [name](const auto& arg) { return arg.name == name; });
    return found == args.end() ? nullptr : &*found;
}

int dri_args_parse(const char* text, dr_args_t& out) {
    out.clear();
    std::vector<dr_argument_s> args;
    const bool is_right = !dri_read_args(text, args).is_error;
    for (const dr_argument_s& arg : args) {
        out.emplace_back(arg.name.c_str(), arg.value.c_str());
    }
    return is_right ? static_cast<int>(out.size()) : -1;
}

int dri_args_find(const char* text, const char* name, dr_str_buf_c& value) {
    std::vector<dr_argument_s> args;
    if (text != nullptr) {
        dri_read_args(text, args);
    }
    const dr_argument_s* found = dri_find_arg(args, name);
    if (found != nullptr) {
        value = found->value;
    }
    return found != nullptr ? 1 : 0;
}

int dri_args_field_value(const dr_args_t& pairs, const char* name, dr_str_buf_c& value) {
    for (const auto& [known, its_value] : pairs) {
        if (known == name) {
            value = its_value;
            return 1;
        }
    }
    return 0;
}
