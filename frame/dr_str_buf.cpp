// SPDX-License-Identifier: BSD-2-Clause

// The platform's functions report memory that runs out by their result; this class throws instead,
// so that no caller can lose a text by not looking.
#include "frame/dr_str_buf.h"

#include <cstring>

dr_str_buf_c& dr_str_buf_c::operator=(const char* text) {
    dri_must_write(sbuf_cpy(buffer_, text));
    return *this;
}

dr_str_buf_c& dr_str_buf_c::operator=(const dr_str_buf_c& other) {
    if (this != &other) {
        dri_must_write(sbuf_cpy(buffer_, other.c_str()));
    }
    return *this;
}

dr_str_buf_c& dr_str_buf_c::operator=(char c) {
    dri_must_write(sbuf_printf(buffer_, "%c", c));
    return *this;
}

dr_str_buf_c& dr_str_buf_c::operator+=(const char* text) {
    dri_must_write(sbuf_append(buffer_, "%s", text));
    return *this;
}

dr_str_buf_c& dr_str_buf_c::operator+=(char c) {
    dri_must_write(sbuf_append(buffer_, "%c", c));
    return *this;
}

void dr_str_buf_c::ncpy(const char* s, int n) {
    for (unsigned left = static_cast<unsigned>(n); left > 0 && *s != '\0'; --left) {
        *this += *s++;
    }
}

bool dr_str_buf_c::operator==(const char* text) const {
    return strcmp(c_str(), text) == 0;
}

size_t dr_str_buf_c::size() const {
    return strlen(c_str());
}

dr_str_buf_c operator+(const char* a, const dr_str_buf_c& b) {
    dr_str_buf_c sum(a);
    sum += b;
    return sum;
}
