// SPDX-License-Identifier: BSD-2-Clause

// Takes the framing of RFC 6242 off what a NETCONF client sends, however the bytes arrive.
//
//     text "]]>]]>"                              a message as every session begins with
//     LF "#" length LF data ... LF "##" LF       and in chunks, when both sides announce them
//
// The decoder is asked for one event after the other and takes from the front of the caller's
// bytes what the event covers; texts are never copied, and no more of a message is held than how
// far its end mark has come. Broken framing is final.
//
// No state but its own; one thread at a time.
#pragma once

#include <string>
#include <string_view>

#include "tools/drendctl/chunk_decoder.h"

enum class frame_event_e {
    need_more, // all bytes are taken, no event is complete
    text,      // a part of the message, in `text`
    message_ends,
    malformed, // now and for ever; error() says why
};

class frame_decoder_c {
  public:
    // The next event. `text` is set for text alone, and valid as long as the bytes taken are.
    frame_event_e next(std::string_view& bytes, std::string_view& text);

    // Messages are in chunks from here on; between two messages.
    void use_chunks() { is_chunked_ = true; }

    const std::string& error() const { return chunks_.error(); }

  private:
    frame_event_e next_chunked(std::string_view& bytes, std::string_view& text);
    frame_event_e next_marked(std::string_view& bytes, std::string_view& text);
    frame_event_e marked_byte(char c, std::string_view& bytes, std::string_view& text);

    bool is_chunked_ = false;
    std::size_t matched_ = 0; // characters of the end mark
    chunk_decoder_c chunks_;
    bool is_malformed_ = false;
};
