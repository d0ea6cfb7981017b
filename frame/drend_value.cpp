// SPDX-License-Identifier: BSD-2-Clause

// Conversions of a value, each lenient as its peers have come to expect: what does not fit is cut
// or wraps. Only a decimal64 is checked against its range, for its text would be wrong otherwise.
#include "frame/drend_value.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <type_traits>

#include "frame/dr_plain_text.h"
#include "frame/dr_str_buf.h"

namespace {

constexpr double DECIMAL64_BOUND = 9223372036854775808.0;

unsigned size_of_type(dr_value_type_t type, unsigned offered) {
    static constexpr unsigned sizes[] = {0, 4, 1, 2, 4, 8, 1, 2, 4, 8, 4, 8};
    return type >= DRV_NONE && type <= DRV_DOUBLE ? sizes[type] : offered;
}

bool in_decimal64_range(double x, unsigned char digits) {
    return digits >= 1 && digits <= 18 && drv_decimal64_range_table[digits][0] <= x &&
           x <= drv_decimal64_range_table[digits][1];
}

DREND_PRINTF(2, 0)
std::string_view print_double(dr_value_c::scratch_t& scratch, const char* format,
                              double value) {
    const int length = snprintf(scratch, sizeof scratch, format, value);
    return {scratch, static_cast<size_t>(length)};
}

} // namespace

#define DECIMAL64_ROW(scale) \
    { -DECIMAL64_BOUND / (scale), DECIMAL64_BOUND / (scale) }
const double drv_decimal64_range_table[19][2] = {{0, 0},
                                                 DECIMAL64_ROW(1e1),
                                                 DECIMAL64_ROW(1e2),
                                                 DECIMAL64_ROW(1e3),
                                                 DECIMAL64_ROW(1e4),
                                                 DECIMAL64_ROW(1e5),
                                                 DECIMAL64_ROW(1e6),
                                                 DECIMAL64_ROW(1e7),
                                                 DECIMAL64_ROW(1e8),
                                                 DECIMAL64_ROW(1e9),
                                                 DECIMAL64_ROW(1e10),
                                                 DECIMAL64_ROW(1e11),
                                                 DECIMAL64_ROW(1e12),
                                                 DECIMAL64_ROW(1e13),
                                                 DECIMAL64_ROW(1e14),
                                                 DECIMAL64_ROW(1e15),
                                                 DECIMAL64_ROW(1e16),
                                                 DECIMAL64_ROW(1e17),
                                                 DECIMAL64_ROW(1e18)};
#undef DECIMAL64_ROW

dr_value_c::~dr_value_c() {
    if (data_ != inline_) {
        free(data_);
    }
}

void dr_value_c::enlarge_block(unsigned int size) {
    void* dvc_ptr = data_ == inline_ ? malloc(size) : realloc(data_, size);
    assert(dvc_ptr || data_ == inline_);
    if (dvc_ptr == nullptr) {
        type_ = DRV_NONE;
        dri_throw_no_memory();
    }
    data_ = static_cast<char*>(dvc_ptr);
    block_size_ = size;
}

void dr_value_c::free_block() {
    free(data_);
    data_ = inline_;
    block_size_ = 0;
}

int dr_value_c::set_string(const char* s) {
    const char* text = s == nullptr ? "" : s;
    const size_t size = strlen(text);
    if (size >= std::numeric_limits<unsigned>::max()) {
        dri_throw_no_memory();
    }
    resize_buffer(static_cast<unsigned>(size + 1));
    const bool is_plain = dri_copy_judged(data_, {text, size});
    data_[size] = '\0';
    refer_to({data_, size}, is_plain);
    return 0;
}

int dr_value_c::set_raw_value(dr_value_type_t type, const void* bytes, unsigned int size) {
    const unsigned kept = size_of_type(type, size);
    const unsigned copied = std::min(kept, size);
    const unsigned room = type == DRV_STRING ? kept + 1 : kept;
    resize_buffer(room);
    memcpy(data_, bytes, copied);
    if (room > copied) {
        memset(data_ + copied, 0, room - copied);
    }
    type_ = type;
    if (type == DRV_STRING) {
        refer_to(data_, false);
    }
    return 0;
}

bool dr_value_c::print_to(std::string_view& out, scratch_t& scratch) const {
    switch (type_) {
    case DRV_FLOAT:
        out = print_double(scratch, "%f", static_cast<double>(stored<float>()));
        return true;
    case DRV_DOUBLE:
        out = print_double(scratch, "%e", stored<double>());
        return true;
    default:
        return false;
    }
}

int dr_value_c::get_string(str_buf_s* out) const {
    scratch_t scratch;
    std::string_view text;
    if (!get_text(text, scratch)) {
        return DRV_NO_CONVERSION;
    }
    dri_must_write(sbuf_cpy(out, text.data()));
    return 0;
}

const char* dr_value_c::c_str(str_buf_s* out) const {
    scratch_t scratch;
    dri_must_write(sbuf_cpy(out, text(scratch).data()));
    return sbuf_str(out);
}

int dr_value_c::get_boolean(str_buf_s* out) const {
    scratch_t scratch;
    std::string_view text;
    if (!get_text(text, scratch)) {
        return DRV_NO_CONVERSION;
    }
    dri_must_write(sbuf_cpy(out, text == "0" || text == "false" ? "false" : "true"));
    return 0;
}

bool dr_value_c::get_decimal64_text(std::string_view& out, scratch_t& scratch,
                                    unsigned char fraction_digits) const {
    static constexpr char zeros[] = "000000000000000000";
    unsigned long long unsigned_number = 0;
    long long number = 0;
    int length = 0;
    if (is_float() || is_double()) {
        const double x =
            is_float() ? static_cast<double>(stored<float>()) : stored<double>();
        if (!in_decimal64_range(x, fraction_digits)) {
            return false;
        }
        length = snprintf(scratch, sizeof scratch, "%0.*f", fraction_digits, x);
    } else if (get_uintegral(unsigned_number) == 0 &&
               in_decimal64_range(static_cast<double>(unsigned_number), fraction_digits)) {
        length = snprintf(scratch, sizeof scratch, "%llu.%.*s", unsigned_number,
                          fraction_digits, zeros);
    } else if (get_integral(number) == 0 &&
               in_decimal64_range(static_cast<double>(number), fraction_digits)) {
        length =
            snprintf(scratch, sizeof scratch, "%lld.%.*s", number, fraction_digits, zeros);
    } else {
        return false;
    }
    out = {scratch, static_cast<size_t>(length)};
    return true;
}

int dr_value_c::get_decimal64(str_buf_s* out, unsigned char fraction_digits) const {
    scratch_t scratch;
    std::string_view text;
    if (!get_decimal64_text(text, scratch, fraction_digits)) {
        return DRV_NO_CONVERSION;
    }
    dri_must_write(sbuf_cpy(out, text.data()));
    return 0;
}

int dr_value_c::get_integral(long long& out) const {
    switch (type_) {
    case DRV_INT8:
        out = stored<int8_t>(); // NOLINT(bugprone-signed-char-misuse): a number
        return 0;
    case DRV_INT16:
        out = stored<int16_t>();
        return 0;
    case DRV_INT32:
        out = stored<int32_t>();
        return 0;
    case DRV_INT64:
        out = stored<int64_t>();
        return 0;
    case DRV_STRING:
        out = static_cast<long long>(strtoull(text_, nullptr, 0));
        return 0;
    default:
        return DRV_NO_CONVERSION;
    }
}

int dr_value_c::get_uintegral(unsigned long long& out) const {
    switch (type_) {
    case DRV_UINT8:
        out = stored<uint8_t>();
        return 0;
    case DRV_UINT16:
        out = stored<uint16_t>();
        return 0;
    case DRV_UINT32:
        out = stored<uint32_t>();
        return 0;
    case DRV_UINT64:
        out = stored<uint64_t>();
        return 0;
    case DRV_STRING:
        out = strtoull(text_, nullptr, 0);
        return 0;
    default:
        return DRV_NO_CONVERSION;
    }
}

template <typename T>
int dr_value_c::get_signed(dr_value_type_t own, T& out) const {
    long long number = 0;
    unsigned long long unsigned_number = 0;
    if (type_ == own) {
        out = stored<T>();
        return 0;
    }
    // No lower bound: a negative of any size passes and is cut to the width.
    if (get_integral(number) == 0 && number <= std::numeric_limits<T>::max()) {
        out = static_cast<T>(number);
        return 0;
    }
    if (get_uintegral(unsigned_number) == 0 &&
        unsigned_number <= std::numeric_limits<std::make_unsigned_t<T>>::max()) {
        out = static_cast<T>(unsigned_number);
        return 0;
    }
    return DRV_NO_CONVERSION;
}

template <typename T>
int dr_value_c::get_unsigned(dr_value_type_t own, T& out) const {
    long long number = 0;
    unsigned long long unsigned_number = 0;
    if (type_ == own) {
        out = stored<T>();
        return 0;
    }
    if (get_uintegral(unsigned_number) == 0 &&
        unsigned_number <= std::numeric_limits<T>::max()) {
        out = static_cast<T>(unsigned_number);
        return 0;
    }
    if (get_integral(number) == 0 && number >= 0 &&
        static_cast<unsigned long long>(number) <= std::numeric_limits<T>::max()) {
        out = static_cast<T>(number);
        return 0;
    }
    return DRV_NO_CONVERSION;
}

int dr_value_c::get_int64(int64_t& out) const {
    return get_signed(DRV_INT64, out);
}

int dr_value_c::get_int32(int32_t& out) const {
    return get_signed(DRV_INT32, out);
}

int dr_value_c::get_int16(int16_t& out) const {
    return get_signed(DRV_INT16, out);
}

int dr_value_c::get_int8(int8_t& out) const {
    return get_signed(DRV_INT8, out);
}

int dr_value_c::get_uint64(uint64_t& out) const {
    return get_unsigned(DRV_UINT64, out);
}

int dr_value_c::get_uint32(uint32_t& out) const {
    return get_unsigned(DRV_UINT32, out);
}

int dr_value_c::get_uint16(uint16_t& out) const {
    return get_unsigned(DRV_UINT16, out);
}

int dr_value_c::get_uint8(uint8_t& out) const {
    return get_unsigned(DRV_UINT8, out);
}

int dr_value_c::get_double(double& out) const {
    if (!is_double()) {
        return DRV_NO_CONVERSION;
    }
    out = stored<double>();
    return 0;
}

bool dr_value_c::is_value_zero() const {
    long long number = 1;
    unsigned long long unsigned_number = 1;
    if (type_ == DRV_STRING) {
        return strcmp(text_, "0") == 0;
    }
    return (is_integral() && get_integral(number) == 0 && number == 0) ||
           (is_uintegral() && get_uintegral(unsigned_number) == 0 && unsigned_number == 0);
}
