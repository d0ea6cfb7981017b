// SPDX-License-Identifier: BSD-2-Clause

// dr_xp_value_c: what a node of an expression gives.
//
//     'lo'            a text of the tree                 lasting
//     name            a text that a lookup has read      passing: until the lookup is asked again
//     mtu             a whole number that it has read    the text are its digits, once asked for
//     local_name()    a text made for this value         its own
//
// Everything is text to an expression; a number is only a shorter way to compare texts of digits.
// All texts end in a NUL. Belongs to one evaluation.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// What is known of the number that a text stands for.
struct dr_xp_number_s {
    // As by strtol with base 0: saturated, 0 for what is none.
    int64_t value = 0;
    bool is_known = false;
    // Whether the whole text is a number, and whether it is the very digits of `value`.
    bool is_whole = false;
    bool is_exact = false;
};
dr_xp_number_s dri_number_of(const std::string& text);

class dr_xp_value_c {
  public:
    // The empty text.
    dr_xp_value_c() = default;
    dr_xp_value_c(const dr_xp_value_c&) = delete;
    dr_xp_value_c& operator=(const dr_xp_value_c&) = delete;

    // Setters are for empty values. A text that lasts as the tree does, and its number:
    void set_lasting(std::string_view text, const dr_xp_number_s& number = {}) {
        text_ = text;
        has_number_ = number.is_known;
        number_ = number.value;
    }
    void set_truth(bool truth);
    // What a lookup has read.
    void set_passing(std::string_view text) {
        form_ = form_e::PASSING;
        text_ = text;
    }
    void set_number(int64_t number) {
        form_ = form_e::NUMBER;
        has_number_ = true;
        number_ = number;
    }
    void set_own(std::string_view text);

    // To be called before the lookup is asked again: makes a passing text the value's own.
    void keep() {
        if (form_ == form_e::PASSING) {
            set_own(text_);
        }
    }

    // Valid as long as the value, and as the text that it was made of.
    std::string_view text() {
        if (form_ == form_e::NUMBER) {
            write_digits();
        }
        return text_;
    }

    // Whether it is that text of the tree, byte for byte.
    bool equals(std::string_view literal, const dr_xp_number_s& number) {
        return form_ == form_e::NUMBER && number.is_exact ? number_ == number.value
                                                          : text() == literal;
    }
    // As a side of "<" and ">": a 32-bit number, saturated.
    int32_t as_number();
    // As a side of "and" and "or".
    bool is_true();
    // As a predicate.
    bool holds();

  private:
    enum class form_e : uint8_t { LASTING, PASSING, OWN, NUMBER };
    static constexpr size_t ROOM = 32;
    static constexpr char NOTHING[] = ""; // ends in a NUL, as every text

    void write_digits();

    form_e form_ = form_e::LASTING;
    bool has_number_ = false; // number_ is the text's by strtol
    std::string_view text_ = NOTHING;
    int64_t number_ = 0;
    // What text_ is a view of when it is the value's own: a short one, or a longer one.
    char room_[ROOM];
    std::unique_ptr<const std::string> long_text_;
};
