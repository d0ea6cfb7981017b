// SPDX-License-Identifier: BSD-2-Clause

#include "chunk_decoder.h"

#include <algorithm>

namespace {

constexpr std::uint64_t LENGTH_MAX = 4294967295;

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

} // namespace

chunk_event_e chunk_decoder_c::next(std::string_view& bytes, std::string_view& data) {
    while (state_ != state_e::failed && !bytes.empty()) {
        if (state_ == state_e::data) {
            return take_data(bytes, data);
        }
        const chunk_event_e event = control(bytes.front());
        if (event != chunk_event_e::malformed) {
            bytes.remove_prefix(1);
            ++offset_;
        }
        if (event != chunk_event_e::need_more) {
            return event;
        }
    }
    return state_ == state_e::failed ? chunk_event_e::malformed : chunk_event_e::need_more;
}

chunk_event_e chunk_decoder_c::control(char c) {
    switch (state_) {
    case state_e::line_feed:
        state_ = state_e::hash;
        return c == '\n' ? chunk_event_e::need_more : fail("a line feed");
    case state_e::hash:
        state_ = state_e::length;
        tag_ = '\0';
        return c == '#' ? chunk_event_e::need_more : fail("'#'");
    case state_e::end_line_feed:
        state_ = state_e::line_feed;
        return c == '\n' ? chunk_event_e::answer_ends : fail("a line feed");
    default:
        return length_digit(c);
    }
}

chunk_event_e chunk_decoder_c::length_digit(char c) {
    const bool is_first = state_ != state_e::more_length;
    if (state_ == state_e::length && (c == '#' || c == 't' || c == 's')) {
        state_ = c == '#' ? state_e::end_line_feed : state_e::note_length;
        tag_ = c;
        return chunk_event_e::need_more;
    }
    if (!is_first && c == '\n') {
        state_ = state_e::data;
        return tag_ == '\0' ? chunk_event_e::chunk_begins : chunk_event_e::note_begins;
    }
    if (!is_digit(c) || (is_first && c == '0')) {
        return fail(is_first ? "a length or '#'" : "a digit or a line feed");
    }
    const auto digit = static_cast<std::uint64_t>(c - '0');
    length_ = is_first ? digit : length_ * 10 + digit;
    state_ = state_e::more_length;
    return length_ <= LENGTH_MAX ? chunk_event_e::need_more : fail("a length below 2^32");
}

chunk_event_e chunk_decoder_c::take_data(std::string_view& bytes, std::string_view& data) {
    const auto size =
        static_cast<std::size_t>(std::min<std::uint64_t>(length_, bytes.size()));
    data = bytes.substr(0, size);
    bytes.remove_prefix(size);
    offset_ += size;
    length_ -= size;
    if (length_ == 0) {
        state_ = state_e::line_feed;
    }
    return chunk_event_e::data;
}

chunk_event_e chunk_decoder_c::fail(const char* expected) {
    state_ = state_e::failed;
    error_ = "malformed answer: byte " + std::to_string(offset_) + " is not " + expected;
    return chunk_event_e::malformed;
}
