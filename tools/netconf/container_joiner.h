// SPDX-License-Identifier: BSD-2-Clause

// Daemons that fill one container at the top of the data: one element, whose kids follow one
// another.
//
//     <a>1</a><b>2</b>  +  <b>3</b><c>4</c>   ->   <a>1</a><b>23</b><c>4</c>
//
// The closing tag of a topmost element is held until it is known whether the next answer begins
// with the same opening tag. So no more is held than two tags, and what is to be joined stands side
// by side; where it does not, that is an error, for an element must not stand there twice.
//
// What an answer shows more than once at its top is a list, whose rows stay as they are. One row
// alone cannot be told from a container.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

class container_joiner_c {
  public:
    using text_fn = std::function<void(std::string_view)>;

    explicit container_joiner_c(text_fn out) : out_(std::move(out)) {}

    // Compact XML, elements alone, in pieces of any size. False, for ever, when it is not that or
    // has to be joined with what has gone by; error().
    bool add(std::string_view xml);
    // The answer ends, and perhaps another one begins.
    bool end_answer();
    // All answers have ended.
    void finish() { release(); }

    const std::string& error() const { return error_; }

  private:
    struct top_s {
        std::string opening; // tag
        bool is_own;         // of the answer that goes by
        bool is_list;
    };

    std::size_t take_text(std::string_view xml);
    std::size_t take_tag(std::string_view xml);
    bool is_tag_kept() const { return depth_ <= 1; }
    void end_tag(bool is_empty);
    void begin_top(bool is_empty);
    bool take_top(const std::string& opening);
    void release();
    void fail(const std::string& why);

    const text_fn out_;
    std::size_t depth_ = 0; // of elements that are open
    bool is_in_tag_ = false;
    char quote_ = '\0'; // within an attribute's value
    char first_ = '\0'; // of the tag, behind "<"
    char last_ = '\0';  // as far as it has come
    std::string tag_;   // of one at the top, or just below it
    std::vector<top_s> tops_;
    std::string opening_; // of the last of them
    std::string closing_; // held
    std::string error_;
};
