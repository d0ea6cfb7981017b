#include "render/dr_output.h"

#include <algorithm>
#include <atomic>
#include <utility>

#include "frame/drend_hooks.h"

namespace {

constexpr size_t BLANKS_SIZE = sizeof DRI_BLANKS - 1;

// What is collected must itself be sent uncut.
constexpr unsigned SEND_BUFFER_MAX = STR_LIMIT / 2;
// Longer values take the slow way, whose memory is that of the value.
constexpr size_t LINE_MAX_SIZE = 65536;
constexpr size_t LINE_FIRST_SIZE = 512;

std::atomic<unsigned> send_buffer_size{0};

} // namespace

void drend_set_send_buffer(unsigned int size) {
    send_buffer_size.store(std::min(size, SEND_BUFFER_MAX), std::memory_order_relaxed);
}

dr_output_c::dr_output_c(void* peer)
    : peer_(peer), buffer_size_(send_buffer_size.load(std::memory_order_relaxed)) {}

void dr_output_c::peer_is_lost() {
    status_ = DREND_PEER_LOST;
    limit_ = used_ = 0;
}

void dr_output_c::send(std::string_view text) {
    const int sent = dri_send_text(peer_, text.data(), text.size());
    sends_ += sent == 0;
    if (sent < 0) {
        peer_is_lost();
    }
}

void dr_output_c::send_collected() {
    if (used_ > 0) {
        const size_t size = std::exchange(used_, 0);
        collected_[size] = '\0';
        send({collected_.get(), size});
    }
}

void dr_output_c::release() {
    send_collected();
    collected_.reset();
    limit_ = 0;
}

// Makes room for a text of that size, if it is to be collected.
bool dr_output_c::may_collect(size_t size) {
    if (status_ != 0 || size > buffer_size_ || !str_formatter_is_system()) {
        return false;
    }
    if (size > room()) {
        send_collected();
    }
    if (collected_ == nullptr && status_ == 0) {
        collected_ = std::make_unique_for_overwrite<char[]>(buffer_size_ + 1);
        limit_ = buffer_size_;
    }
    return status_ == 0;
}

// A text that is not simply put behind what is collected: because nothing is, or for want of room.
void dr_output_c::add_slowly(std::string_view text) {
    if (buffer_size_ > 0) {
        collect(text);
    } else if (status_ == 0) {
        send(text);
    }
}

void dr_output_c::collect(std::string_view text) {
    if (may_collect(text.size())) {
        memcpy(collected_.get() + used_, text.data(), text.size());
        used_ += text.size();
        return;
    }
    send_collected();
    if (status_ == 0) {
        send(text);
    }
}

void dr_output_c::add_long_indent(size_t width) {
    if (width > BLANKS_SIZE) {
        add(std::string(width, ' '));
    } else if (width > 0) {
        add({DRI_BLANKS + BLANKS_SIZE - width, width});
    }
}

void dr_output_c::add_value(const dri_escaper_s& escaper, std::string_view before,
                            std::string_view value, std::string_view after) {
    const size_t longest = before.size() + DRI_ESCAPED_MAX * value.size() + after.size();
    if (longest <= room() && str_formatter_is_system()) {
        char* end = write_value(collected_.get() + used_, escaper, before, value, after);
        used_ = static_cast<size_t>(end - collected_.get());
        return;
    }
    if (longest >= LINE_MAX_SIZE) {
        add_long_value(escaper, before, value, after);
        return;
    }
    if (longest >= line_size_) {
        line_size_ = std::max(LINE_FIRST_SIZE, 2 * longest);
        line_ = std::make_unique_for_overwrite<char[]>(line_size_);
    }
    char* end = write_value(line_.get(), escaper, before, value, after);
    *end = '\0';
    add_slowly({line_.get(), static_cast<size_t>(end - line_.get())});
}

void dr_output_c::add_long_value(const dri_escaper_s& escaper, std::string_view before,
                                 std::string_view value, std::string_view after) {
    static constexpr size_t longest = STR_LIMIT - 1;
    static constexpr size_t marker_size = sizeof STR_CUT_MARKER - 1;
    std::string line(before);
    const size_t head = std::min(before.size(), longest);
    const size_t limit = longest - std::min(longest - head, after.size());
    if (!escaper.append(line, value, std::max(head, limit))) {
        line.resize(head);
        escaper.append(line, value, std::max(head, limit - std::min(limit, marker_size)));
        line += STR_CUT_MARKER;
    }
    line += after;
    add_slowly(line);
}
