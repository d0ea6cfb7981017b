// SPDX-License-Identifier: BSD-2-Clause

#include "container_joiner.h"

#include <algorithm>
#include <utility>

namespace {

constexpr std::size_t TAG_MAX = 4096; // bytes of a tag that is held
constexpr const char* BLANKS = " \t\r\n";
constexpr const char* NAME_ENDS = " \t\r\n/>";

using attribute_t = std::pair<std::string, std::string>; // name; value in its quotes

bool is_prefix(const attribute_t& attribute) {
    return attribute.first.starts_with("xmlns:");
}

// Whatever the quotes are.
bool has(const std::vector<attribute_t>& attributes, const attribute_t& wanted) {
    return std::any_of(attributes.begin(), attributes.end(), [&](const attribute_t& one) {
        return one.first == wanted.first &&
               one.second.substr(1, one.second.size() - 2) ==
                   wanted.second.substr(1, wanted.second.size() - 2);
    });
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
    } else if (first_ == '!' || first_ == '?') {
        fail("shows what is no element"); // whose end is not that of a tag
    } else if (!is_in_tag_) {
        end_tag(last_ == '/');
    }
    return size;
}

void container_joiner_c::end_tag(bool is_empty) {
    const bool closes = first_ == '/';
    if (depth_ == 0) {
        closes ? fail("closes what is not open") : begin_element(is_empty);
        return;
    }
    if (closes && depth_ == 1) {
        closing_ = std::exchange(tag_, "");
    } else if (is_tag_kept()) {
        closes ? out_(tag_) : begin_kid();
    }
    depth_ += closes ? std::size_t(-1) : is_empty ? 0 : 1;
}

// "<NAME ATTRIBUTE="VALUE" ...>", or with a slash at its end. Of what is none, as far as it goes.
container_joiner_c::tag_s container_joiner_c::parse(const std::string& tag) {
    std::size_t at = tag.find_first_of(NAME_ENDS);
    tag_s parsed{tag.substr(1, at - 1), {}};
    for (;;) {
        const std::size_t begin = tag.find_first_not_of(BLANKS, at);
        const std::size_t sign = tag.find('=', at);
        const std::size_t open = tag.find_first_of("\"'", at);
        const std::size_t close =
            open == std::string::npos ? open : tag.find(tag[open], open + 1);
        if (sign == std::string::npos || close == std::string::npos) {
            return parsed;
        }
        at = close + 1;
        const std::string name = tag.substr(begin, sign - begin);
        parsed.attributes.emplace_back(name.substr(0, name.find_first_of(BLANKS)),
                                       tag.substr(open, at - open));
    }
}

void container_joiner_c::begin_element(bool is_empty) {
    if (is_empty) {
        tag_.erase(tag_.size() - 2, 1);
    }
    const tag_s tag = parse(tag_);
    if (element_.name.empty()) {
        element_ = tag;
        out_(tag_);
    } else {
        begin_again(tag);
    }
    if (is_empty) {
        closing_ = "</" + tag.name + ">";
    } else {
        depth_ = 1;
    }
}

void container_joiner_c::begin_again(const tag_s& tag) {
    missing_ = tag.attributes;
    std::erase_if(missing_, [&](const attribute_t& attribute) {
        return has(element_.attributes, attribute);
    });
    if (tag.name != element_.name) {
        fail("shows '" + tag.name + "' where it was asked for '" + element_.name + "'");
    } else if (!std::all_of(missing_.begin(), missing_.end(), is_prefix)) {
        fail("begins '" + tag.name + "' in another way than another daemon");
    }
}

void container_joiner_c::begin_kid() {
    const std::vector<attribute_t> own =
        missing_.empty() ? std::vector<attribute_t>() : parse(tag_).attributes;
    std::string declared;
    for (const attribute_t& attribute : missing_) {
        const bool is_own =
            std::any_of(own.begin(), own.end(), [&](const attribute_t& other) {
                return other.first == attribute.first;
            });
        declared += is_own ? "" : " " + attribute.first + "=" + attribute.second;
    }
    out_(tag_.insert(tag_.find_first_of(NAME_ENDS), declared));
}

bool container_joiner_c::end_answer() {
    if (depth_ > 0 || is_in_tag_) {
        fail("its XML is not whole");
    }
    return error_.empty();
}

void container_joiner_c::fail(const std::string& why) {
    error_ = error_.empty() ? why : error_;
}
