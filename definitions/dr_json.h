// SPDX-License-Identifier: BSD-2-Clause

// A JSON document, its values and where they stand.
//
// Values are views: they hold as long as their document. What is asked of a value of another type
// is answered as if it were absent, because that is how definition files are read.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "definitions/dr_json_places.h"

struct json_t;
class dr_json_document_c;

class dr_json_c {
  public:
    dr_json_c() = default; // no value
    dr_json_c(const dr_json_document_c* document, const json_t* value, uint32_t node)
        : document_(document), value_(value), node_(node) {}

    bool is_there() const { return value_ != nullptr; }
    bool is_object() const;
    bool is_array() const;
    bool is_text() const;
    bool is_integer() const;
    bool is_real() const;
    bool is_boolean() const;
    bool is_null() const;
    // Empty, or `absent`, when it is of another type. A text has no NUL in it.
    std::string_view text() const;
    int64_t integer(int64_t absent) const;
    double real() const;  // 0 when it is of another type
    bool boolean() const; // false

    // Of an object: the member of that name, or no value.
    dr_json_c member(const char* name) const;
    // Calls `use(name, value)` for each member.
    template <typename Use>
    void for_each_member(Use use) const {
        uint32_t beside = first_node();
        for (void* at = first_member(); at != nullptr; at = next_member(at)) {
            const std::string_view name = member_name(at);
            use(name, member_value(at, name, beside));
        }
    }
    // How often the text names a member that it has named already.
    size_t repeated_members() const;

    // Of an array.
    size_t size() const;

    // Where it stands, and its name when it is a member.
    dr_text_place_s place() const;
    dr_text_place_s name_place() const;

  private:
    friend class dr_json_elements_c;

    void* first_member() const;
    void* next_member(void* at) const;
    static std::string_view member_name(void* at);
    uint32_t first_node() const;
    // `beside` is the member's node unless an earlier one is named twice; it moves on to the next.
    dr_json_c member_value(void* at, std::string_view name, uint32_t& beside) const;

    const dr_json_document_c* document_ = nullptr;
    const json_t* value_ = nullptr;
    uint32_t node_ = dr_json_places_c::NONE;
};

// The elements of an array, one after the other.
class dr_json_elements_c {
  public:
    dr_json_elements_c() = default;
    explicit dr_json_elements_c(const dr_json_c& array);
    bool is_at_end() const { return next_ >= array_.size(); }
    // How many were taken.
    size_t taken() const { return next_; }
    dr_json_c take();

  private:
    dr_json_c array_;
    size_t next_ = 0;
    uint32_t node_ = dr_json_places_c::NONE;
};

class dr_json_document_c {
  public:
    // Why a text is no JSON, and where.
    struct error_s {
        std::string sentence;
        int line = 0;
        int column = 0;
    };

    // Parses a text, which has to outlive the document. False, with an error, when it is no JSON.
    bool parse(const std::string& text, error_s& error);
    dr_json_c root() const;
    const dr_json_places_c& places() const { return places_; }

  private:
    struct release_s {
        void operator()(json_t* value) const;
    };

    std::unique_ptr<json_t, release_s> root_;
    dr_json_places_c places_;
};
