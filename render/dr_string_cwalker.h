// SPDX-License-Identifier: BSD-2-Clause

// dr_string_cwalker_c: text output, one line for each value, labelled with the names of the tags
// that lead to it:
//
//     interfaces interface name lo
//     interfaces interface mtu 65536
//
// Lines are separated, not terminated. The text is collected in a string; nothing is sent.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "render/drend_context_walker.h"

class dr_string_cwalker_c : public dr_context_walker_c {
  public:
    // Appends to the caller's string, or to one of its own.
    dr_string_cwalker_c(dr_tags_access_context_c& context, std::string* output)
        : dr_context_walker_c(context), output_(output) {}
    explicit dr_string_cwalker_c(dr_tags_access_context_c& context)
        : dr_context_walker_c(context), own_(std::make_unique<std::string>()),
          output_(own_.get()) {}

    const std::string& text() const { return *output_; }

    void push(const drend_tag_object_c* tobj) override;
    void push_value(const drend_tag_object_c* tobj, const dr_value_c& value) override;
    void pop(const drend_tag_object_c* tobj) override;

  private:
    std::vector<std::string> paths_; // the label at each open tag
    std::unique_ptr<std::string> own_;
    std::string* output_;
};
