// SPDX-License-Identifier: BSD-2-Clause

// Texts of data sets, of any bytes.
//
// Asserted: a refused text is said to be so with a place, on one line; one that is taken can be
// taken again, and has the same values. (After 65,536 different paths a text with a new one is
// refused.)
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>

#include "drend.h"
#include "fuzz_target.h"
#include "model/drend_meta_tree.h"

namespace {

std::string sent;

int collect(void* /*peer*/, const char* format, ...) {
    va_list args;
    va_start(args, format);
    sent += strcmp(format, "%s") == 0 ? va_arg(args, const char*) : format;
    va_end(args);
    return 0;
}

std::string values() {
    drend_dump(nullptr);
    return std::exchange(sent, "");
}

// "fuzz:LINE:COLUMN: " and a sentence.
bool is_fault(const char* line) {
    char* end = nullptr;
    const bool is_named = strncmp(line, "fuzz:", 5) == 0;
    const bool has_line = is_named && strtoul(line + 5, &end, 10) > 0 && *end == ':';
    const bool has_column = has_line && strtoul(end + 1, &end, 10) > 0;
    return has_column && strncmp(end, ": ", 2) == 0 && strchr(line, '\n') == nullptr;
}

bool can_be_taken_again(const char* text) {
    char error[256];
    const std::string before = values();
    return dr_ops_load_from_json("fuzz", text, error, sizeof error) == 0 &&
           values() == before && dr_ops_drop("fuzz") == 0 && values() == "\n\n";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t INPUT_MAX = 4096;
    const std::string text = text_of(data, size, INPUT_MAX);
    drend_set_send_method_w_return(collect);
    char error[256];
    const int status = dr_ops_load_from_json("fuzz", text.c_str(), error, sizeof error);
    require(status == 0 ? can_be_taken_again(text.c_str()) : is_fault(error));
    dmn_reset_root(); // another text may have other kinds
    return 0;
}
