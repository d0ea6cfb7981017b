// dr_output_c: the way of a walker's text to its peer.
//
//     walker -> add, add_value -> [ collected ] -> drend_send -> the daemon's send method
//
//  1. Each text is one send. With a send buffer (drend_set_send_buffer) texts are collected instead
//     and sent when the buffer is full and when the walk says so: the bytes are the same.
//  2. A daemon's own formatter sees every text as it is added; nothing is collected meanwhile.
//  3. Once a send has failed nothing is sent any more.
//
// Belongs to one walker.
#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "frame/dr_copy.h"
#include "frame/escape.h"
#include "frame/str_util.h"

inline constexpr char DRI_BLANKS[] =
    "                                                                "
    "                                                                ";

class dr_output_c {
  public:
    explicit dr_output_c(void* peer);

    // Adds a finished text, which ends in a NUL behind its size.
    void add(std::string_view text) {
        if (text.size() <= room() && str_formatter_is_system()) {
            dri_copy_text(collected_.get() + used_, text);
            used_ += text.size();
        } else {
            add_slowly(text);
        }
    }
    void add(char c) {
        if (room() > 0 && str_formatter_is_system()) {
            collected_[used_++] = c;
        } else {
            const char text[2] = {c, '\0'};
            add_slowly({text, 1});
        }
    }
    // Adds a comma and a line feed, or only one of them.
    void add_separator(bool comma, bool line_feed) {
        if (room() < 2 || !str_formatter_is_system()) {
            if (comma) {
                add(',');
            }
            if (line_feed) {
                add('\n');
            }
            return;
        }
        collected_[used_] = ',';
        used_ += comma;
        collected_[used_] = '\n';
        used_ += line_feed;
    }
    // Adds two blanks for each level.
    void add_indent(int level) {
        const size_t width = 2 * static_cast<size_t>(level);
        // Copying more blanks than that is one move.
        if (width <= SHORT_INDENT && SHORT_INDENT <= room() && str_formatter_is_system()) {
            memcpy(collected_.get() + used_, DRI_BLANKS, SHORT_INDENT);
            used_ += width;
        } else {
            add_long_indent(width);
        }
    }
    // Adds `before`, the value as the escaper writes it, and `after` as one text. A value that
    // would take the text over the limit of a send is cut itself, so that what follows it stays.
    void add_value(const dri_escaper_s& escaper, std::string_view before,
                   std::string_view value, std::string_view after);
    // add_indent, add(opening) and add_value in one.
    void add_element(int level, std::string_view opening, const dri_escaper_s& escaper,
                     std::string_view before, std::string_view value,
                     std::string_view after) {
        const size_t width = 2 * static_cast<size_t>(level);
        const size_t longest = SHORT_INDENT + opening.size() + before.size() +
                               DRI_ESCAPED_MAX * value.size() + after.size();
        if (width > SHORT_INDENT || longest > room() || !str_formatter_is_system()) {
            add_indent(level);
            if (!opening.empty()) {
                add(opening);
            }
            add_value(escaper, before, value, after);
            return;
        }
        char* out = collected_.get() + used_;
        memcpy(out, DRI_BLANKS, SHORT_INDENT);
        out = dri_copy_text(out + width, opening);
        out = write_value(out, escaper, before, value, after);
        used_ = static_cast<size_t>(out - collected_.get());
    }
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
    static constexpr size_t SHORT_INDENT = 32;

    size_t room() const { return limit_ - used_; }
    bool may_collect(size_t size);
    void add_slowly(std::string_view text);
    // Kept out of the way of single sends.
    [[gnu::noinline]] void collect(std::string_view text);
    void add_long_indent(size_t width);
    void send(std::string_view text);
    void send_collected();
    static char* write_value(char* out, const dri_escaper_s& escaper,
                             std::string_view before, std::string_view value,
                             std::string_view after) {
        out = escaper.write(dri_copy_text(out, before), value);
        return dri_copy_text(out, after);
    }
    void add_long_value(const dri_escaper_s& escaper, std::string_view before,
                        std::string_view value, std::string_view after);

    void* const peer_;
    const size_t buffer_size_; // 0: texts are not collected
    std::unique_ptr<char[]> collected_;
    size_t limit_ = 0; // of what is collected: 0 while there is no buffer
    size_t used_ = 0;
    std::unique_ptr<char[]> line_; // where a text with a value is put together
    size_t line_size_ = 0;
    int status_ = 0;
    unsigned sends_ = 0;
};
