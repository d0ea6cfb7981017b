// SPDX-License-Identifier: BSD-2-Clause

#include "expr/drend_value_lookup.h"

bool drend_env_value_lookup_c::get_value(const char* name, dr_str_buf_c& out) {
    std::string_view text;
    const bool found = view_value(name, text);
    out = std::string(text);
    return found;
}

bool drend_env_value_lookup_c::view_value(const std::string& name, std::string_view& out) {
    const auto found = values.find(name);
    out = found == values.end() ? std::string_view() : found->second;
    return found != values.end();
}

void drend_env_value_lookup_c::get_local_name(dr_str_buf_c& out) {
    get_value("__local_name__", out);
}

bool drend_env_value_lookup_c::get_meta_name(const char* name, dr_str_buf_c& out) {
    out = "mt-";
    out += name;
    return true;
}
