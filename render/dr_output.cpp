// SPDX-License-Identifier: BSD-2-Clause

// A text is put together where it is sent from. Only what exceeds a buffer takes another way, in
// which the limit of a single send cuts the value, never the text behind it.

#include "render/dr_output.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "frame/drend_hooks.h"

namespace {

// What is collected must itself be sent uncut.
constexpr unsigned SEND_BUFFER_MAX = STR_LIMIT / 2;
// Longer texts that are sent by themselves take the slow way, whose memory is that of the text.
constexpr size_t TEXT_MAX_SIZE = 65536;
constexpr size_t TEXT_FIRST_SIZE = 512;

std::atomic<unsigned> send_buffer_size{0};

} // namespace

void drend_set_send_buffer(unsigned int size) {
    send_buffer_size.store(std::min(size, SEND_BUFFER_MAX), std::memory_order_relaxed);
}

dr_output_c::dr_output_c(void* peer, size_t buffer_size)
    : peer_(peer), is_collecting_(buffer_size > 0),
      limit_(is_collecting_ ? buffer_size : TEXT_MAX_SIZE) {}

dr_output_c::dr_output_c(void* peer)
    : dr_output_c(peer, send_buffer_size.load(std::memory_order_relaxed)) {}

void dr_output_c::peer_is_lost() {
    status_ = DREND_PEER_LOST;
    at_ = buffer_.get();
}

void dr_output_c::send(const char* text, size_t size) {
    if (status_ != 0) {
        return;
    }
    const int sent = dri_send_text(peer_, text, size);
    sends_ += sent == 0;
    if (sent < 0) {
        peer_is_lost();
    }
}

void dr_output_c::send_taken() {
    char* const end = std::exchange(at_, buffer_.get());
    if (end != at_) {
        *end = '\0';
        send(at_, static_cast<size_t>(end - at_));
    }
}

void dr_output_c::release() {
    send_taken();
    buffer_.reset();
    at_ = limit_at_ = nullptr;
}

char* dr_output_c::make_room(size_t size) {
    send_taken();
    if (size > static_cast<size_t>(limit_at_ - at_)) {
        const size_t wanted =
            is_collecting_ ? limit_ : std::clamp(2 * size, TEXT_FIRST_SIZE, TEXT_MAX_SIZE);
        buffer_ = std::make_unique_for_overwrite<char[]>(wanted + DRI_PADDING);
        at_ = buffer_.get();
        limit_at_ = at_ + wanted;
    }
    return at_;
}

void dr_output_c::add_line(int level, std::string_view text) {
    const size_t width = 2 * static_cast<size_t>(level);
    if (width + text.size() <= limit_) {
        char* const begin = place(width + text.size());
        memset(begin, ' ', width);
        take(dri_copy_text(begin + width, text));
    } else {
        add(std::string(width, ' ').append(text));
    }
}

void dr_output_c::add_long(std::string_view text) {
    send_taken();
    send(text.data(), text.size());
}

void dr_output_c::add_leaf(std::string_view opening, const dri_escaper_s& escaper,
                           const drend_tag_c& tag, const dr_value_c& value,
                           std::string_view closing) {
    dr_value_c::scratch_t scratch;
    add_value(opening, escaper, tag.value_text(value, scratch), closing);
}

void dr_output_c::add_other_row_leaf(const dr_row_kid_s& leaf, size_t skipped,
                                     size_t quotes, const dri_escaper_s& escaper,
                                     const dr_value_c& value) {
    std::string_view opening = leaf.opening.substr(skipped);
    opening.remove_suffix(quotes);
    add_leaf(opening, escaper, *leaf.tag, value, leaf.closing.substr(quotes));
}

void dr_output_c::add_value(std::string_view opening, const dri_escaper_s& escaper,
                            std::string_view value, std::string_view closing) {
    const size_t longest = opening.size() + escaper.most * value.size() + closing.size();
    if (longest <= limit_) {
        char* const end = escaper.write(dri_copy_text(place(longest), opening), value);
        take(dri_copy_text(end, closing));
    } else {
        add_long_value(opening, escaper, value, closing);
    }
}

void dr_output_c::add_long_value(std::string_view opening, const dri_escaper_s& escaper,
                                 std::string_view value, std::string_view closing) {
    static constexpr size_t longest = STR_LIMIT - 1;
    static constexpr size_t marker_size = sizeof STR_CUT_MARKER - 1;
    std::string text(opening);
    const size_t head = std::min(opening.size(), longest);
    const size_t limit = longest - std::min(longest - head, closing.size());
    if (!escaper.append(text, value, std::max(head, limit))) {
        text.resize(head);
        escaper.append(text, value, std::max(head, limit - std::min(limit, marker_size)));
        text += STR_CUT_MARKER;
    }
    text += closing;
    add(text);
}
