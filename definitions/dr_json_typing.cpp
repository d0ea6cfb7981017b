// SPDX-License-Identifier: BSD-2-Clause

#include "definitions/dr_json_typing.h"

#include <charconv>
#include <iterator>

#include "definitions/drend_tag.h"

namespace {

constexpr uint16_t bits(std::initializer_list<dr_value_type_t> types) {
    unsigned all = 0;
    for (const dr_value_type_t type : types) {
        all |= 1U << type;
    }
    return static_cast<uint16_t>(all);
}

// The types whose values are numbers, and the value types that never leave their ranges.
struct number_s {
    int64_t least;
    int64_t most;
    int32_t data_type; // dt_data_type_e
    uint16_t within;
};
constexpr number_s NUMBERS[] = {
    {0, UINT8_MAX, DT_DATA_UINT8, bits({DRV_UINT8})},
    {0, UINT16_MAX, DT_DATA_UINT16, bits({DRV_UINT8, DRV_UINT16})},
    {0, UINT32_MAX, DT_DATA_UINT32, bits({DRV_UINT8, DRV_UINT16, DRV_UINT32})},
    {INT8_MIN, INT8_MAX, DT_DATA_INT8, bits({DRV_INT8})},
    {INT16_MIN, INT16_MAX, DT_DATA_INT16, bits({DRV_INT8, DRV_INT16, DRV_UINT8})},
    {INT32_MIN, INT32_MAX, DT_DATA_INT32,
     bits({DRV_INT8, DRV_INT16, DRV_INT32, DRV_UINT8, DRV_UINT16})},
};

const number_s* find_number(int32_t data_type) {
    for (const number_s& number : NUMBERS) {
        if (number.data_type == data_type) {
            return &number;
        }
    }
    return nullptr;
}

// Whether a text is a whole number as JSON writes it, within a range.
bool is_number(std::string_view text, const number_s& type) {
    int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, number);
    const std::string_view digits = text.substr(text.starts_with('-') ? 1 : 0);
    const bool is_padded = digits.starts_with('0') && text != "0";
    return read.ec == std::errc() && read.ptr == end && !is_padded &&
           number >= type.least && number <= type.most;
}

} // namespace

dr_json_typing_c::dr_json_typing_c()
    : bare_(bits({DRV_BOOLEAN, DRV_INT8, DRV_INT16, DRV_INT32, DRV_UINT8, DRV_UINT16,
                  DRV_UINT32})) {}

dr_json_typing_c::dr_json_typing_c(int32_t data_type) : bare_(0) {
    if (const number_s* number = find_number(data_type)) {
        bare_ = number->within;
        data_type_ = data_type;
    } else if (data_type == DT_DATA_BOOLEAN) {
        bare_ = bits({DRV_BOOLEAN});
        data_type_ = data_type;
    }
}

dr_json_typing_c dr_json_typing_c::strings() {
    return dr_json_typing_c(DT_DATA_STRING);
}

bool dr_json_typing_c::is_bare_text(std::string_view text) const {
    if (data_type_ == DT_DATA_BOOLEAN) {
        return text == "true" || text == "false";
    }
    const number_s* number = find_number(data_type_);
    return number != nullptr && is_number(text, *number);
}
