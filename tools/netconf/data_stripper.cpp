// SPDX-License-Identifier: BSD-2-Clause

#include "data_stripper.h"

#include <algorithm>

namespace {

constexpr std::string_view BEGINNING = "<data>\n";
constexpr std::string_view END = "</data>\n";

} // namespace

bool data_stripper_c::add(std::string_view text, std::string& out) {
    const std::string_view beginning = text.substr(0, BEGINNING.size() - opened_);
    if (!BEGINNING.substr(opened_).starts_with(beginning)) {
        return false;
    }
    opened_ += beginning.size();
    text.remove_prefix(beginning.size());
    const std::size_t total = held_.size() + text.size();
    const std::size_t passed = total - std::min(total, END.size());
    const std::size_t of_held = std::min(passed, held_.size());
    out.append(held_, 0, of_held);
    held_.erase(0, of_held);
    out.append(text, 0, passed - of_held);
    held_.append(text, passed - of_held);
    return true;
}

bool data_stripper_c::is_whole() const {
    return opened_ == BEGINNING.size() && held_ == END;
}
