// SPDX-License-Identifier: BSD-2-Clause

// A container at the top of the data that several daemons fill: one element, whose kids follow one
// another.
//
//     <a x="1"><b/></a> + <a x="1" xmlns:y="2"><c/></a>  ->  <a x="1"><b/><c xmlns:y="2"/></a>
//
// The first opening tag goes out as it is. What a later one declares besides, that is prefixes of
// namespaces, its kids declare themselves. No more is held than two tags.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

class container_joiner_c {
  public:
    using text_fn = std::function<void(std::string_view)>;

    explicit container_joiner_c(text_fn out) : out_(std::move(out)) {}

    // Compact XML, that element alone, in pieces of any size. False, for ever, when it is not that;
    // error().
    bool add(std::string_view xml);
    // The answer ends, and perhaps another one begins.
    bool end_answer();
    // All answers have ended.
    void finish() { out_(closing_); }

    const std::string& error() const { return error_; }

  private:
    using attribute_t = std::pair<std::string, std::string>; // name; value in its quotes
    struct tag_s {
        std::string name;
        std::vector<attribute_t> attributes;
    };

    static tag_s parse(const std::string& tag);
    std::size_t take_text(std::string_view xml);
    std::size_t take_tag(std::string_view xml);
    bool is_tag_kept() const { return depth_ <= 1; }
    void end_tag(bool is_empty);
    void begin_element(bool is_empty);
    void begin_again(const tag_s& tag);
    void begin_kid();
    void fail(const std::string& why);

    const text_fn out_;
    std::size_t depth_ = 0; // of elements that are open
    bool is_in_tag_ = false;
    char quote_ = '\0';                // within an attribute's value
    char first_ = '\0';                // of the tag, behind "<"
    char last_ = '\0';                 // as far as it has come
    std::string tag_;                  // of the element, or of a kid
    tag_s element_;                    // as it went out; without a name before it did
    std::vector<attribute_t> missing_; // there, that the kids need
    std::string closing_;
    std::string error_;
};
