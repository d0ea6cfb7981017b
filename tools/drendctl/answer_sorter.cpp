// SPDX-License-Identifier: BSD-2-Clause

#include "answer_sorter.h"

#include <algorithm>

namespace {

constexpr std::string_view ERROR = "error: ";
constexpr std::string_view BROKEN_OFF = "\nerror: ";
constexpr std::string_view NOTHING = "210\n";

bool could_become(std::string_view held, std::string_view text) {
    return text.starts_with(held.substr(0, text.size()));
}

} // namespace

void answer_sorter_c::chunk_begins() {
    if (state_ == state_e::last_chunk) {
        release(); // it was not the last one
    }
    if (state_ == state_e::text) {
        state_ = state_e::last_chunk;
    }
}

void answer_sorter_c::data(std::string_view bytes) {
    while (!bytes.empty() && state_ != state_e::text) {
        hold(bytes.front());
        bytes.remove_prefix(1);
    }
    if (!bytes.empty()) {
        text_(bytes);
    }
}

void answer_sorter_c::hold(char c) {
    if (state_ == state_e::refused) {
        if (held_.size() < HELD_MAX) {
            held_ += c;
        }
        return;
    }
    held_ += c;
    if (!may_hold()) {
        release();
    } else if (state_ == state_e::beginning && held_ == ERROR) {
        state_ = state_e::refused;
    }
}

// Whether the held bytes may still turn out to be no text.
bool answer_sorter_c::may_hold() const {
    if (state_ == state_e::beginning) {
        return could_become(held_, ERROR) ||
               (held_.size() <= NOTHING.size() && could_become(held_, NOTHING));
    }
    // One line, with or without a line feed at its end.
    const std::size_t next_line = held_.find('\n', 1);
    return could_become(held_, BROKEN_OFF) && held_.size() <= HELD_MAX &&
           (next_line == std::string::npos || next_line == held_.size() - 1);
}

void answer_sorter_c::release() {
    state_ = state_e::text;
    if (!held_.empty()) {
        text_(held_);
        held_.clear();
    }
}

answer_e answer_sorter_c::end() {
    if (state_ == state_e::beginning && held_ == NOTHING) {
        return answer_e::nothing;
    }
    const bool is_broken_off =
        state_ == state_e::last_chunk && held_.starts_with(BROKEN_OFF);
    if (state_ != state_e::refused && !is_broken_off) {
        release();
        return answer_e::answered;
    }
    if (held_.ends_with('\n')) {
        held_.pop_back();
    }
    held_.erase(0, is_broken_off ? 1 : 0);
    return is_broken_off ? answer_e::broken_off : answer_e::refused;
}
