// SPDX-License-Identifier: BSD-2-Clause

#include "expr/dri_args.h"

#include <cctype>
#include <string>

#include "frame/str_util.h"

namespace {

bool is_separator(char c) {
    return c == ',' || isspace(static_cast<unsigned char>(c)) != 0;
}

// Hands out one argument after the other, so that a search needs no room for the others.
class args_reader_c {
  public:
    explicit args_reader_c(const char* text) : cursor_(text) {}

    // Reads the next argument. False at the end and after an error.
    bool next() {
        name.clear();
        value.clear();
        state_ = state_e::between;
        for (; !failed_ && *cursor_ != '\0'; ++cursor_) {
            if (is_separator(*cursor_)) {
                if (state_ != state_e::between) {
                    return true;
                }
                name.clear();
            } else if (*cursor_ == '\'' || *cursor_ == '"') {
                if (!quoted()) {
                    failed_ = true; // the cursor is wherever the quoted string broke off
                    return false;
                }
            } else if (*cursor_ == '=' && state_ == state_e::in_name) {
                state_ = state_e::in_value;
            } else {
                ordinary();
            }
        }
        return !failed_ && state_ != state_e::between;
    }

    bool failed() const { return failed_; }

    std::string name;
    std::string value;

  private:
    enum class state_e { between, in_name, in_value };

    // Leaves the cursor at the closing quote.
    bool quoted() {
        const char quote = *cursor_;
        dr_str_buf_c text;
        if (state_ == state_e::in_name || dri_get_quoted_str(cursor_, text, cursor_) != 0) {
            return false;
        }
        if (state_ == state_e::between) {
            name = text;
        } else {
            value += quote;
            value += text;
            value += quote;
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
    bool failed_ = false;
};

} // namespace

int dri_args_parse(const char* text, dr_args_t& out) {
    out.clear();
    args_reader_c reader(text);
    while (reader.next()) {
        out.emplace_back(reader.name.c_str(), reader.value.c_str());
    }
    return reader.failed() ? -1 : static_cast<int>(out.size());
}

int dri_args_find(const char* text, const char* name, dr_str_buf_c& value) {
    if (text == nullptr) {
        return 0;
    }
    args_reader_c reader(text);
    while (reader.next()) {
        if (reader.name == name) {
            value = reader.value;
            return 1;
        }
    }
    return 0;
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
