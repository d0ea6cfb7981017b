// SPDX-License-Identifier: BSD-2-Clause

#include "container_joiner.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t TAG_MAX = 4096; // bytes of a tag that is held
constexpr std::size_t TOPS_MAX = 1024;

std::string name_in(const std::string& opening) {
    return opening.substr(1, opening.find_first_of(" />") - 1);
}

} // namespace

bool container_joiner_c::add(std::string_view xml) {
    while (!xml.empty() && error_.empty()) {
        xml.remove_prefix(is_in_tag_ ? take_tag(xml) : take_text(xml));
    }
    return error_.empty();
}

// As far as the next tag, whose "<" is taken along.
std::size_t container_joiner_c::take_text(std::string_view xml) {
    const std::string_view text = xml.substr(0, xml.find('<'));
    if (depth_ > 0 && !text.empty()) {
        out_(text);
    } else if (text.find_first_not_of(" \t\r\n") != std::string_view::npos) {
        fail("shows text outside an element");
    }
    if (text.size() == xml.size()) {
        return text.size();
    }
    is_in_tag_ = true;
    first_ = '\0';
    tag_ = "<";
    if (!is_tag_kept()) {
        out_(tag_);
    }
    return text.size() + 1;
}

std::size_t container_joiner_c::take_tag(std::string_view xml) {
    std::size_t size = 0;
    while (size < xml.size() && is_in_tag_) {
        const char c = xml[size++];
        if (quote_ != '\0') {
            quote_ = c == quote_ ? '\0' : quote_;
        } else if (c == '"' || c == '\'') {
            quote_ = c;
        } else if (c == '>') {
            is_in_tag_ = false;
        }
        first_ = first_ == '\0' ? c : first_;
        last_ = is_in_tag_ ? c : last_;
    }
    if (is_tag_kept()) {
        tag_ += xml.substr(0, size);
    } else {
        out_(xml.substr(0, size));
    }
    if (is_tag_kept() && tag_.size() > TAG_MAX) {
        fail("a tag is too long");
    } else if (!is_in_tag_) {
        end_tag(last_ == '/');
    }
    return size;
}

void container_joiner_c::end_tag(bool is_empty) {
    const bool closes = first_ == '/';
    if (depth_ == 0) {
        closes ? fail("closes what is not open") : begin_top(is_empty);
        return;
    }
    if (closes && depth_ == 1) {
        closing_ = std::exchange(tag_, "");
    } else if (is_tag_kept()) {
        out_(tag_);
    }
    depth_ += closes ? std::size_t(-1) : is_empty ? 0 : 1;
}

void container_joiner_c::begin_top(bool is_empty) {
    if (is_empty) {
        tag_.erase(tag_.size() - 2, 1);
    }
    if (!take_top(tag_)) {
        return;
    }
    opening_ = tag_;
    if (is_empty) {
        closing_ = "</" + name_in(opening_) + ">";
    } else {
        depth_ = 1;
    }
}

// Goes on with the element whose closing tag is held, or begins one of its own.
bool container_joiner_c::take_top(const std::string& opening) {
    auto top = std::find_if(tops_.begin(), tops_.end(),
                            [&](const top_s& known) { return known.opening == opening; });
    const bool is_new = top == tops_.end();
    if (is_new && tops_.size() == TOPS_MAX) {
        fail("shows too many elements");
        return false;
    }
    if (is_new) {
        top = tops_.insert(top, {opening, true, false});
    }
    top->is_list = top->is_list || (top->is_own && !is_new);
    const bool is_shared = !top->is_own && !top->is_list;
    if (is_shared && opening != opening_) {
        fail("fills '" + name_in(opening) + "', as another daemon does: ask for it alone");
        return false;
    }
    top->is_own = true;
    if (is_shared) {
        closing_.clear();
    } else {
        release();
        out_(opening);
    }
    return true;
}

bool container_joiner_c::end_answer() {
    if (depth_ > 0 || is_in_tag_) {
        fail("its XML is not whole");
    }
    for (top_s& top : tops_) {
        top.is_own = false;
    }
    return error_.empty();
}

void container_joiner_c::release() {
    if (!closing_.empty()) {
        out_(std::exchange(closing_, ""));
    }
}

void container_joiner_c::fail(const std::string& why) {
    error_ = error_.empty() ? why : error_;
}
