// SPDX-License-Identifier: BSD-2-Clause

// dr_str_buf_c, an owning wrapper of the platform's string buffer, and sbuf_once_c, the
// scope guard of one that lives on the stack.
//
// Texts of up to about 200 characters live inside the object; longer ones on the heap. Memory that
// runs out is std::bad_alloc, with the content as it was. Not safe for concurrent use of one
// object.
#pragma once

#include <concepts>
#include <string>

#include "frame/dr_no_memory.h"
#include "orvex_platform/sbuf.h"

// The room inside an object, in bytes, the buffer's record included.
inline constexpr unsigned DR_STR_BUF_AREA = 256;

// For the result of a platform function that writes into a buffer: no text is silently lost.
inline void dri_must_write(int status) {
    if (status != 0) {
        dri_throw_no_memory();
    }
}

// Converts from a C string and to one by itself: that is what it is for.
// NOLINTBEGIN(google-explicit-constructor)
class dr_str_buf_c {
  public:
    dr_str_buf_c() { sbuf_init_buf(&buffer_, area_, sizeof area_); }
    // Implicit, as is the way back: either kind of text goes where the other is asked for.
    // NOLINTNEXTLINE(google-explicit-constructor)
    dr_str_buf_c(const char* text) : dr_str_buf_c() { *this = text; }
    dr_str_buf_c(const dr_str_buf_c& other) : dr_str_buf_c(other.c_str()) {}
    ~dr_str_buf_c() {
        if (buffer_ != nullptr) {
            sbuf_reset(buffer_);
        }
    }

    // Assignments replace the content.
    dr_str_buf_c& operator=(const char* text);
    dr_str_buf_c& operator=(const std::string& text) { return *this = text.c_str(); }
    dr_str_buf_c& operator=(const dr_str_buf_c& other);
    dr_str_buf_c& operator=(const str_buf_s* other) { return *this = sbuf_str(other); }
    dr_str_buf_c& operator=(char c);

    dr_str_buf_c& operator+=(const char* text);
    dr_str_buf_c& operator+=(const std::string& text) { return *this += text.c_str(); }
    dr_str_buf_c& operator+=(const dr_str_buf_c& other) { return *this += other.c_str(); }
    dr_str_buf_c& operator+=(const str_buf_s* other) { return *this += sbuf_str(other); }
    dr_str_buf_c& operator+=(char c);

    // Appends (whatever its name says) at most `n` characters of `s`; all of it when `n` is
    // negative.
    void ncpy(const char* s, int n);

    bool operator==(const char* text) const;
    bool operator==(const dr_str_buf_c& other) const { return *this == other.c_str(); }

    // The content; valid until the next change.
    const char* c_str() const { return sbuf_str(buffer_); }
    // NOLINTNEXTLINE(google-explicit-constructor)
    operator const char*() const { return c_str(); }
    // The character at `index`, which is not checked.
    template <std::integral Index>
    char operator[](Index index) const {
        return c_str()[index];
    }
    // The length of the text.
    size_t size() const;
    void clear() { sbuf_reset(buffer_); }
    void strip_quotes() { sbuf_strip_quotes(buffer_); }
    // The platform's record, for functions that write into one.
    str_buf_s* buf() { return buffer_; }

  private:
    str_buf_s* buffer_ = nullptr;
    char area_[DR_STR_BUF_AREA];
};
// NOLINTEND(google-explicit-constructor)

inline bool operator==(const dr_str_buf_c& a, const std::string& b) {
    return a == b.c_str();
}

// `a` followed by `b`.
dr_str_buf_c operator+(const char* a, const dr_str_buf_c& b);

// Empties a buffer, which it does not own, on every way out of a scope.
class sbuf_once_c {
  public:
    explicit sbuf_once_c(str_buf_s* buffer) : buffer_(buffer) {}
    ~sbuf_once_c() { sbuf_reset(buffer_); }
    sbuf_once_c(const sbuf_once_c&) = delete;
    sbuf_once_c& operator=(const sbuf_once_c&) = delete;

  private:
    str_buf_s* buffer_;
};
