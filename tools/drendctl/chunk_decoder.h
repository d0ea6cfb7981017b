// SPDX-License-Identifier: BSD-2-Clause

// Takes the framing off the answers of a management socket, however the bytes arrive.
//
//     LF "#" length LF data  ...  LF "##" LF          an answer of chunks and its end
//     LF "#" tag length LF data                       what is no text of it: its type, its status
//
// The decoder is asked for one event after the other and takes from the front of the caller's
// bytes what the event covers; data are never copied or held. It goes on with the next answer
// after the end of one. Broken framing is final: there is no way to find the next answer.
//
// No state but its own; one thread at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

enum class chunk_event_e {
    need_more,    // all bytes are taken, no event is complete
    chunk_begins, // its data follow
    note_begins,  // a chunk of another kind; `tag` says which
    data,         // a part of either's data, in `data`
    answer_ends,
    malformed, // now and for ever; `error` says why
};

class chunk_decoder_c {
  public:
    // The next event. `data` is set for data alone, and valid as long as the bytes taken are.
    chunk_event_e next(std::string_view& bytes, std::string_view& data);

    // Of the note that has begun: 't' or 's'; '\0' in a chunk.
    char tag() const { return tag_; }
    // One line on what was malformed, with the offset of the byte since the decoder was made.
    const std::string& error() const { return error_; }

  private:
    enum class state_e {
        line_feed,
        hash,
        length,
        note_length,
        more_length,
        data,
        end_line_feed,
        failed
    };

    chunk_event_e control(char c);
    chunk_event_e length_digit(char c);
    chunk_event_e take_data(std::string_view& bytes, std::string_view& data);
    chunk_event_e fail(const char* expected);

    state_e state_ = state_e::line_feed;
    char tag_ = '\0';
    std::uint64_t length_ = 0; // while it is read; then what is left of the chunk
    std::uint64_t offset_ = 0; // of the next byte
    std::string error_;
};
