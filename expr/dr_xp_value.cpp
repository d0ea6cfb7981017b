// SPDX-License-Identifier: BSD-2-Clause

// Numbers are compared as numbers where that gives what their texts would give, so that a counter
// is not printed to be compared with a literal.

#include "expr/dr_xp_value.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "drend.h"
#include "frame/dr_digits.h"

namespace {

std::string_view digits_of(int64_t number, char (&out)[DRI_DIGITS_ROOM]) {
    return {out, static_cast<size_t>(dri_write_digits(out, number) - out)};
}

} // namespace

dr_xp_number_s dri_number_of(const std::string& text) {
    char* end = nullptr;
    char digits[DRI_DIGITS_ROOM];
    const int64_t value = strtol(text.c_str(), &end, 0);
    return {value, true, end != text.c_str() && *end == '\0',
            text == digits_of(value, digits)};
}

void dr_xp_value_c::set_truth(bool truth) {
    text_ = truth ? xpath_true : xpath_false;
}

void dr_xp_value_c::write_digits() {
    char digits[DRI_DIGITS_ROOM];
    set_own(digits_of(number_, digits));
}

void dr_xp_value_c::set_own(std::string_view text) {
    form_ = form_e::OWN;
    if (text.size() < sizeof room_) {
        room_[text.copy(room_, sizeof room_)] = '\0';
        text_ = {room_, text.size()};
    } else {
        long_text_ = std::make_unique<const std::string>(text);
        text_ = *long_text_;
    }
}

int32_t dr_xp_value_c::as_number() {
    using limits = std::numeric_limits<int32_t>;
    const int64_t number =
        has_number_ ? number_ : int64_t{strtol(text().data(), nullptr, 0)};
    return static_cast<int32_t>(std::clamp<int64_t>(number, limits::min(), limits::max()));
}

bool dr_xp_value_c::is_true() {
    return form_ == form_e::NUMBER ? number_ != 0 : holds() && text() != "0";
}

bool dr_xp_value_c::holds() {
    return form_ == form_e::NUMBER || (!text().empty() && text() != xpath_false);
}
