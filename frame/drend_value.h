// SPDX-License-Identifier: BSD-2-Clause

// dr_value_c: one leaf value, raw bytes and a type, with every conversion that output and
// filters ask for.
//
//     inline area (128 bytes, of which 4 are used)          values of up to 4 bytes
//     data ----> heap block                                 longer ones
//
//  1. Conversions are lenient in stated ways: negatives of any size pass the signed getters and are
//     cut to their width, unsigned values up to the full width wrap.
//  2. Getters return 0, or -2 and leave their output alone.
//  3. A value cannot be copied: a copy would share the heap block.
//  4. Memory that runs out is std::bad_alloc, in setters and in getters that write a text.
//
// Not safe for concurrent use of one object.
#pragma once

#include <cassert>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "drend.h"
#include "frame/dr_digits.h"

class drend_tag_object_c;

enum dr_value_type_t : int32_t {
    DRV_NONE = 0,    // nothing stored
    DRV_BOOLEAN = 1, // the first byte decides
    DRV_INT8 = 2,
    DRV_INT16 = 3,
    DRV_INT32 = 4,
    DRV_INT64 = 5,
    DRV_UINT8 = 6,
    DRV_UINT16 = 7,
    DRV_UINT32 = 8,
    DRV_UINT64 = 9,
    DRV_FLOAT = 10,
    DRV_DOUBLE = 11, // decimal64 values too
    DRV_STRING = 12, // NUL-terminated
};

// What a getter returns that cannot give the value in the form asked for.
inline constexpr int DRV_NO_CONVERSION = -2;

class dr_value_c {
  public:
    // Room for the text of any value that is not itself a text.
    using scratch_t = char[64];

    dr_value_c() = default;
    ~dr_value_c();
    dr_value_c(const dr_value_c&) = delete;
    dr_value_c& operator=(const dr_value_c&) = delete;

    // A copy of `s`; null is the empty text. Returns 0, as the next one does.
    int set_string(const char* s);
    // Keeps exactly the bytes of the type: `size` bytes are offered, missing ones count as
    // zero.
    int set_raw_value(dr_value_type_t type, const void* bytes, unsigned int size);
    // Shows a NUL-terminated text that stays as it is while the value has it. `is_plain` as
    // is_plain_text.
    void refer_to(std::string_view text, bool is_plain) {
        text_ = text.data();
        text_size_ = static_cast<uint32_t>(text.size());
        text_is_plain_ = is_plain;
        type_ = DRV_STRING;
    }
    // The same as set_raw_value for a number whose size is that of the type.
    template <typename Number>
    int set_number(dr_value_type_t type, Number number) {
        resize_buffer(sizeof number);
        memcpy(data_, &number, sizeof number);
        type_ = type;
        return 0;
    }
    // Forgets the value, and keeps its block for the next one unless it is a large one.
    void clear() {
        type_ = DRV_NONE;
        if (block_size_ > BLOCK_KEPT) {
            free_block();
        }
    }
    // Makes room for `size` bytes without keeping what is stored. Asserts that a block could be
    // enlarged.
    void resize_buffer(unsigned int size) {
        // The capacity stays as it is: what is longer is on the heap, though there is room in here.
        if (size > capacity_ && size > block_size_) {
            enlarge_block(size);
        }
    }

    dr_value_type_t type() const { return type_; }
    bool is_integral() const { return type_ >= DRV_INT8 && type_ <= DRV_INT64; }
    bool is_uintegral() const { return type_ >= DRV_UINT8 && type_ <= DRV_UINT64; }
    bool is_float() const { return type_ == DRV_FLOAT; }
    bool is_double() const { return type_ == DRV_DOUBLE; }

    // The value's text without copying a stored text: a view into the value or into
    // `scratch`, NUL-terminated. False when there is no value.
    bool get_text(std::string_view& out, scratch_t& scratch) const {
        if (type_ == DRV_STRING) {
            out = stored_text();
            return true;
        }
        if (is_plain()) {
            char* const end = write_plain(scratch);
            *end = '\0';
            out = {scratch, static_cast<size_t>(end - scratch)};
            return true;
        }
        return print_to(out, scratch);
    }

    // The same; "DREND_ERR" when there is no value.
    std::string_view text(scratch_t& scratch) const {
        std::string_view found;
        return get_text(found, scratch) ? found : std::string_view("DREND_ERR");
    }
    // As get_text, with that many digits behind the point. A text is parsed as an integer. False
    // when the value is no number within the range of such a decimal64.
    bool get_decimal64_text(std::string_view& out, scratch_t& scratch,
                            unsigned char fraction_digits) const;
    // The text of a DRV_STRING.
    std::string_view stored_text() const {
        assert(type_ == DRV_STRING);
        return {text_, text_size_};
    }
    // Whether a stored text is known to be plain in every output format (dr_plain_text.h).
    bool is_plain_text() const { return text_is_plain_; }
    // Whether it is a whole number or a truth.
    bool is_plain() const { return type_ >= DRV_BOOLEAN && type_ <= DRV_UINT64; }
    // Writes the text of such a value to `out`, which has room for DRI_DIGITS_ROOM bytes. The end
    // of the text.
    char* write_plain(char* out) const {
        assert(is_plain());
        switch (type_) {
        case DRV_BOOLEAN:
            memcpy(out, data_[0] != 0 ? "true\0" : "false", sizeof "false");
            return out + (data_[0] != 0 ? 4 : 5);
        case DRV_UINT8:
            return dri_write_few_digits(out, stored<uint8_t>());
        case DRV_UINT16:
            return dri_write_few_digits(out, stored<uint16_t>());
        case DRV_UINT32:
            return dri_write_digits(out, uint64_t{stored<uint32_t>()});
        case DRV_UINT64:
            return dri_write_digits(out, stored<uint64_t>());
        default:
            return dri_write_digits(out, signed_number());
        }
    }

    int get_string(str_buf_s* out) const;
    // As text(), which it leaves in `out`, too.
    const char* c_str(str_buf_s* out) const;
    int get_boolean(str_buf_s* out) const;
    int get_decimal64(str_buf_s* out, unsigned char fraction_digits) const;
    // What drend_tag_c::value_text says, or c_str without a tag. Defined where tags are known.
    const char* get_value_as_string(const drend_tag_object_c* tag, str_buf_s* out) const;

    // The number that get_text would print, when it is a whole one of at most 64 bits, signed.
    bool get_whole(int64_t& out) const {
        switch (type_) {
        case DRV_INT8:
            // NOLINTNEXTLINE(bugprone-signed-char-misuse): a number
            out = stored<int8_t>();
            return true;
        case DRV_INT16:
            out = stored<int16_t>();
            return true;
        case DRV_INT32:
            out = stored<int32_t>();
            return true;
        case DRV_INT64:
            out = stored<int64_t>();
            return true;
        case DRV_UINT8:
            out = stored<uint8_t>();
            return true;
        case DRV_UINT16:
            out = stored<uint16_t>();
            return true;
        case DRV_UINT32:
            out = stored<uint32_t>();
            return true;
        case DRV_UINT64:
            out = stored<int64_t>();
            return out >= 0;
        default:
            return false;
        }
    }
    int get_integral(long long& out) const;
    int get_uintegral(unsigned long long& out) const;
    int get_int64(int64_t& out) const;
    int get_int32(int32_t& out) const;
    int get_int16(int16_t& out) const;
    int get_int8(int8_t& out) const;
    int get_uint64(uint64_t& out) const;
    int get_uint32(uint32_t& out) const;
    int get_uint16(uint16_t& out) const;
    int get_uint8(uint8_t& out) const;
    int get_double(double& out) const;

    // A number 0 or the text "0"; no other type is ever zero.
    bool is_value_zero() const;

  private:
    [[gnu::noinline]] void enlarge_block(unsigned int size);
    [[gnu::cold]] void free_block();
    // The text of what is neither a text nor plain.
    bool print_to(std::string_view& out, scratch_t& scratch) const;
    int64_t signed_number() const {
        switch (type_) {
        case DRV_INT8:
            return stored<int8_t>();
        case DRV_INT16:
            return stored<int16_t>();
        case DRV_INT32:
            return stored<int32_t>();
        default:
            return stored<int64_t>();
        }
    }
    template <typename T>
    T stored() const {
        T value;
        memcpy(&value, data_, sizeof value);
        return value;
    }
    template <typename T>
    int get_signed(dr_value_type_t own, T& out) const;
    template <typename T>
    int get_unsigned(dr_value_type_t own, T& out) const;

    // A longer value's block is not kept for the next one.
    static constexpr uint32_t BLOCK_KEPT = 4096;
    // A value counts as longer than this although the inline area has more room.
    static constexpr uint32_t INITIAL_CAPACITY = 4;

    char inline_[128];
    char* data_ = inline_;
    const char* text_ = inline_; // a stored text: in data_, or another's
    uint32_t capacity_ = INITIAL_CAPACITY;
    uint32_t block_size_ = 0; // of the heap block
    uint32_t text_size_ = 0;  // of a stored text, without its NUL
    bool text_is_plain_ = false;
    dr_value_type_t type_ = DRV_NONE;
};
