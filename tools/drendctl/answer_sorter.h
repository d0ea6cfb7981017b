// SPDX-License-Identifier: BSD-2-Clause

// Tells what an answer is while its text goes by: an answer, nothing to show, or an error.
//
// The text is handed on as it comes, but for what may turn out to be none: the first bytes, as
// long as they could become "error: " or all of "210\n", and a chunk that could be the line which
// ends an answer that was given up. At most HELD_MAX bytes are held at any time.
#pragma once

#include <functional>
#include <string>
#include <string_view>

enum class answer_e {
    answered,
    nothing,    // "210": the command printed nothing
    refused,    // an error instead of an answer
    broken_off, // an error after the beginning of one
};

class answer_sorter_c {
  public:
    static constexpr std::size_t HELD_MAX = 4096;

    // `text` gets the answer's text, in pieces of any size.
    explicit answer_sorter_c(std::function<void(std::string_view)> text)
        : text_(std::move(text)) {}

    void chunk_begins();
    void data(std::string_view bytes);
    // Says what it was, after the last of the data.
    answer_e end();

    // The line "error: ..." of a refused or broken answer, without a line feed at its end.
    const std::string& error() const { return held_; }

  private:
    enum class state_e { beginning, refused, text, last_chunk };

    bool may_hold() const;
    void hold(char c);
    void release();

    std::function<void(std::string_view)> text_;
    state_e state_ = state_e::beginning;
    std::string held_;
};
