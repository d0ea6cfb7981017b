// SPDX-License-Identifier: BSD-2-Clause

// Names from a map instead of from a daemon.

#include "expr/drend_value_lookup.h"

bool drend_env_value_lookup_c::get_value(const char* name, dr_str_buf_c& out) {
    const auto found = values.find(name);
    out = found == values.end() ? "" : found->second.c_str();
    return found != values.end();
}

bool drend_env_value_lookup_c::find_value(const std::string& name, unsigned /*slot*/,
                                          dr_xp_value_c& out) {
    const auto found = values.find(name);
    if (found == values.end()) {
        return false;
    }
    out.set_passing(found->second);
    return true;
}

void drend_env_value_lookup_c::get_local_name(dr_str_buf_c& out) {
    get_value("__local_name__", out);
}

bool drend_env_value_lookup_c::get_meta_name(const char* name, dr_str_buf_c& out) {
    out = "mt-";
    out += name;
    return true;
}
