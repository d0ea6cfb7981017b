// SPDX-License-Identifier: BSD-2-Clause

// The messages that a session sends: framed, held as long as the client has no room for them.
//
// What is held is bounded by whoever adds: room() says whether more may come. A chunk is what
// was added since the last one was written, at most CHUNK_MAX bytes.
#pragma once

#include <string>
#include <string_view>

class message_writer_c {
  public:
    static constexpr std::size_t CHUNK_MAX = 16384;
    static constexpr std::size_t HELD_MAX = 4 * CHUNK_MAX;

    // Nothing but names beyond ASCII, which cannot be written otherwise, is not ASCII.
    void add(std::string_view text);
    void end_message();
    // Messages are in chunks from here on; between two messages.
    void use_chunks() { is_chunked_ = true; }

    bool is_empty() const { return text_.empty() && framed_.empty(); }
    bool has_room() const { return text_.size() + framed_.size() < HELD_MAX; }
    // Writes what `fd`, which does not block, has room for. False when nobody reads it any more.
    bool write_to(int fd);

  private:
    void frame();

    bool is_chunked_ = false;
    std::string text_; // of a message, not framed yet
    std::string framed_;
};
