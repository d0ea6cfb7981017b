// SPDX-License-Identifier: BSD-2-Clause

// dr_output_c: the way of a walker's text to its peer.
//
//     walker -> add... -> [ collected ] -> drend_send -> the daemon's send method
//
//  1. Each text is one send. With a send buffer (drend_set_send_buffer) texts are collected instead
//     and sent when the buffer is full and when the walk says so: the bytes are the same.
//  2. A daemon's own formatter sees every text as it is added; nothing is collected meanwhile.
//  3. Once a send has failed nothing is sent any more.
//
// Belongs to one walker.
#pragma once

#include <cassert>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "definitions/drend_tag.h"
#include "frame/dr_copy.h"
#include "frame/dr_plain_text.h"
#include "frame/escape.h"
#include "frame/str_util.h"

class dr_output_c {
  public:
    explicit dr_output_c(void* peer);

    // Adds a text that ends in a NUL behind its size.
    void add(std::string_view text) {
        if (text.size() <= limit_) {
            take(dri_copy_text(place(text.size()), text));
        } else {
            add_long(text);
        }
    }
    // The same with a padded text.
    void add_padded(std::string_view text) {
        if (text.size() <= limit_) {
            take(dri_copy_padded(place(text.size()), text));
        } else {
            add(std::string(text));
        }
    }
    // Adds a text behind two blanks for each level, as one text.
    void add_line(int level, std::string_view text);
    // Adds `opening`, the value as the escaper writes the text that `tag` shows for it, and
    // `closing` as one text. A value that would take the text over the limit of a send is cut
    // itself, so that what follows it stays.
    void add_leaf(std::string_view opening, const dri_escaper_s& escaper,
                  const drend_tag_c& tag, const dr_value_c& value,
                  std::string_view closing);
    // The same with the texts of a row, of which the opening's first `skipped` bytes are left out,
    // and the quotes in which they end and begin where there are `Quotes` to leave out. Values of
    // the usual kinds, where they fit in, take no other way.
    template <size_t Quotes = 0>
    [[gnu::always_inline]] void add_row_leaf(const dr_row_kid_s& leaf, size_t skipped,
                                             const dri_escaper_s& escaper,
                                             const dr_value_c& value) {
        const bool is_text = value.type() == DRV_STRING;
        const size_t room = is_text ? value.stored_text().size() : DRI_DIGITS_ROOM;
        const bool is_usual =
            is_text ? value.is_plain_text() : value.is_plain() && !leaf.tag->is_decimal64();
        if (!is_usual || leaf.texts_size() + room > static_cast<size_t>(limit_at_ - at_)) {
            add_other_row_leaf(leaf, skipped, Quotes, escaper, value);
            return;
        }
        std::string_view opening = leaf.opening;
        std::string_view closing = leaf.closing;
        opening.remove_prefix(skipped);
        opening.remove_suffix(Quotes);
        closing.remove_prefix(Quotes);
        char* const at = dri_copy_padded(at_, opening);
        char* const end =
            is_text ? dri_copy_text(at, value.stored_text()) : value.write_plain(at);
        take(dri_copy_padded(end, closing));
    }
    // The same with the value's text.
    void add_value(std::string_view opening, const dri_escaper_s& escaper,
                   std::string_view value, std::string_view closing);
    // Sends what is collected, and gives its memory back.
    void release();

    void* peer() const { return peer_; }
    // 0, or DREND_PEER_LOST once a send has failed.
    int status() const { return status_; }
    // The number of successful sends.
    unsigned sends() const { return sends_; }
    // Ends the output as a failed send would.
    void peer_is_lost();

  private:
    // `buffer_size` 0: each text is sent by itself.
    dr_output_c(void* peer, size_t buffer_size);

    // Where up to `size` bytes of the next text, at most the limit, go. Throws std::bad_alloc.
    char* place(size_t size) {
        return size <= static_cast<size_t>(limit_at_ - at_) ? at_ : make_room(size);
    }
    // Takes the text from its place to `end`.
    [[gnu::always_inline]] void take(char* end) {
        assert(at_ <= end && end <= limit_at_);
        at_ = end;
        if (!is_collecting_ || !str_formatter_is_system()) {
            send_taken();
        }
    }
    char* make_room(size_t size);
    [[gnu::noinline]] void add_other_row_leaf(const dr_row_kid_s& leaf, size_t skipped,
                                              size_t quotes, const dri_escaper_s& escaper,
                                              const dr_value_c& value);
    void send_taken();
    void send(const char* text, size_t size);
    void add_long(std::string_view text);
    void add_long_value(std::string_view opening, const dri_escaper_s& escaper,
                        std::string_view value, std::string_view closing);

    void* const peer_;
    const bool is_collecting_;
    const size_t limit_;             // of a text that is put together in the buffer
    std::unique_ptr<char[]> buffer_; // with room for padding behind its capacity
    char* at_ = nullptr;             // where the next text goes
    char* limit_at_ = nullptr;       // the end of the buffer's capacity
    int status_ = 0;
    unsigned sends_ = 0;
};
