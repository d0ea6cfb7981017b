// SPDX-License-Identifier: BSD-2-Clause

// How names in expressions reach the data: the evaluator asks, whoever holds the data answers.
//
// A walk over definitions answers from the daemon; drend_env_value_lookup_c answers from a map.
// A lookup is used by one evaluation at a time.
#pragma once

#include <map>
#include <string>

#include "expr/dr_xp_value.h"
#include "frame/dr_str_buf.h"

class drend_value_lookup_c {
  public:
    // The value of a name. False when there is none; `out` does not count then.
    virtual bool get_value(const char* name, dr_str_buf_c& out) = 0;
    // The name of the current element.
    virtual void get_local_name(dr_str_buf_c& out) = 0;
    // What the daemon calls the thing that a definition shows as `name`. False when the daemon
    // cannot be asked for it by name.
    virtual bool get_meta_name(const char* name, dr_str_buf_c& out) = 0;
    // As get_value for the bare word `name`, the `slot`th of its path: who knows the path can have
    // found out before what the word leads to. `out` is an empty value and stays so when there is
    // none.
    virtual bool find_value(const std::string& name, unsigned slot, dr_xp_value_c& out) = 0;

  protected:
    // Nobody owns a lookup through this interface.
    ~drend_value_lookup_c() = default;
};

class drend_env_value_lookup_c final : public drend_value_lookup_c {
  public:
    // False, and the empty text, for a name that `values` does not hold.
    bool get_value(const char* name, dr_str_buf_c& out) override;
    // The value of "__local_name__".
    void get_local_name(dr_str_buf_c& out) override;
    // Always "mt-" and the name.
    bool get_meta_name(const char* name, dr_str_buf_c& out) override;
    bool find_value(const std::string& name, unsigned slot, dr_xp_value_c& out) override;

    std::map<std::string, std::string> values;
};
