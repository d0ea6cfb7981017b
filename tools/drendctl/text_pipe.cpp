// SPDX-License-Identifier: BSD-2-Clause

#include "text_pipe.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::string_view BLANKS = " \t";
constexpr std::size_t LINE_MAX_SIZE = 1 << 20; // what is longer counts as several

std::string_view trimmed(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(BLANKS), text.size()));
    return text.substr(0, text.find_last_not_of(BLANKS) + 1); // npos + 1 is 0
}

// The next "|" from `begin` on that is no part of a value.
std::size_t find_pipe(std::string_view line, std::size_t begin) {
    char quote = '\0';
    int brackets = 0;
    for (std::size_t i = begin; i < line.size(); ++i) {
        const char c = line[i];
        if (quote != '\0') {
            quote = c == quote && line[i - 1] != '\\' ? '\0' : quote;
        } else if (c == '\'' || c == '"') {
            quote = c;
        } else if (c == '|' && brackets == 0) {
            return i;
        } else {
            brackets += c == '[' ? 1 : c == ']' ? -1 : 0;
        }
    }
    return std::string_view::npos;
}

} // namespace

piped_line_s cut_at_pipes(std::string_view line) {
    std::size_t pipe = find_pipe(line, 0);
    piped_line_s piped;
    piped.request = pipe == std::string_view::npos ? line : trimmed(line.substr(0, pipe));
    while (pipe != std::string_view::npos) {
        const std::size_t next = find_pipe(line, pipe + 1);
        piped.stages.emplace_back(trimmed(line.substr(pipe + 1, next - pipe - 1)));
        pipe = next;
    }
    return piped;
}

bool text_pipe_c::open(const std::vector<std::string>& stages, std::string& error) {
    return std::all_of(stages.begin(), stages.end(),
                       [&](const std::string& stage) { return add_stage(stage, error); });
}

bool text_pipe_c::add_stage(std::string_view stage, std::string& error) {
    const std::string_view name = stage.substr(0, stage.find_first_of(BLANKS));
    const std::string word(trimmed(stage.substr(name.size())));
    constexpr std::pair<std::string_view, kind_e> names[] = {{"include", kind_e::include},
                                                             {"exclude", kind_e::exclude},
                                                             {"count", kind_e::count},
                                                             {"save", kind_e::save}};
    const auto* found = std::find_if(std::begin(names), std::end(names),
                                     [&](const auto& row) { return row.first == name; });
    const bool is_known = found != std::end(names);
    if (!is_known || word.empty() != (found->second == kind_e::count)) {
        error = "'" + std::string(stage) +
                "' is nothing to pipe into; there are include WORD, "
                "exclude WORD, count, json and save FILE";
        return false;
    }
    stages_.push_back({found->second, word});
    if (found->second == kind_e::save) {
        path_ = word;
        file_.reset(fopen(word.c_str(), "we"));
        if (file_ == nullptr) {
            error = "cannot write " + word + ": " + strerror(errno);
            return false;
        }
    }
    return true;
}

bool text_pipe_c::add(std::string_view part, const text_fn& text) {
    if (stages_.empty()) {
        return text(part);
    }
    for (std::size_t end = part.find('\n'); end != std::string_view::npos;
         end = part.find('\n')) {
        begun_ += part.substr(0, end + 1);
        part.remove_prefix(end + 1);
        if (!take_line(begun_, 0, text)) {
            return false;
        }
        begun_.clear();
    }
    begun_ += part;
    return begun_.size() <= LINE_MAX_SIZE || finish_line(text);
}

// Takes a line through the stages from `first` on.
bool text_pipe_c::take_line(std::string_view line, std::size_t first, const text_fn& text) {
    for (std::size_t i = first; i < stages_.size(); ++i) {
        stage_s& stage = stages_[i];
        const bool has_word = line.find(stage.word) != std::string_view::npos;
        if ((stage.kind == kind_e::include && !has_word) ||
            (stage.kind == kind_e::exclude && has_word)) {
            return true;
        }
        if (stage.kind == kind_e::count) {
            ++stage.count;
            return true;
        }
        if (stage.kind == kind_e::save) {
            return save(line);
        }
    }
    return text(line);
}

bool text_pipe_c::save(std::string_view line) {
    if (save_error_ == 0 &&
        fwrite(line.data(), 1, line.size(), file_.get()) != line.size()) {
        save_error_ = errno;
    }
    return save_error_ == 0;
}

// Empty, or why it is not whole. What is no regular file, such as a device, stays.
std::string text_pipe_c::close_file() {
    struct stat found {};
    const bool is_regular = file_ != nullptr && fstat(fileno(file_.get()), &found) == 0 &&
                            S_ISREG(found.st_mode);
    if (file_ != nullptr && fclose(file_.release()) != 0 && save_error_ == 0) {
        save_error_ = errno;
    }
    if (save_error_ != 0 && is_regular) {
        unlink(path_.c_str()); // nobody is to take it for all of the answer
    }
    return save_error_ == 0 ? "" : "cannot write " + path_ + ": " + strerror(save_error_);
}

bool text_pipe_c::finish_line(const text_fn& text) {
    const std::string line = std::exchange(begun_, {});
    return line.empty() || take_line(line, 0, text);
}

std::string text_pipe_c::finish(const text_fn& text) {
    finish_line(text);
    for (std::size_t i = 0; i < stages_.size(); ++i) {
        if (stages_[i].kind == kind_e::count) {
            take_line(std::to_string(stages_[i].count) + "\n", i + 1, text);
        }
    }
    return close_file();
}
