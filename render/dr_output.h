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

#include "frame/str_util.h"
#include "render/escape.h"

class dr_output_c {
  public:
    explicit dr_output_c(void* peer);

    // Adds a finished text, which ends in a NUL behind its size.
    void add(std::string_view text) {
        if (text.size() <= room() && str_formatter_is_system()) {
            memcpy(collected_.get() + used_, text.data(), text.size());
            used_ += text.size();
        } else {
            add_slowly(text);
        }
    }
    // Adds two blanks for each level.
    void add_indent(int level);
    // Adds `before`, the value as the escaper writes it, and `after` as one text. A value that would
    // take the text over the limit of a send is cut itself, so that what follows it stays.
    void add_value(const dri_escaper_s& escaper, std::string_view before, std::string_view value,
                   std::string_view after);
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
    size_t room() const { return limit_ - used_; }
    bool may_collect(size_t size);
    void add_slowly(std::string_view text);
    void send(std::string_view text);
    void send_collected();
    char* write_value(char* out, const dri_escaper_s& escaper, std::string_view before,
                      std::string_view value, std::string_view after);
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
