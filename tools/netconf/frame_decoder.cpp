// SPDX-License-Identifier: BSD-2-Clause

#include "frame_decoder.h"

namespace {

constexpr std::string_view END_MARK = "]]>]]>";
// Of so many characters of the mark that were found before another one, these may still begin it.
constexpr std::size_t STILL_MATCHED[] = {0, 0, 1, 0, 1, 2};

} // namespace

frame_event_e frame_decoder_c::next(std::string_view& bytes, std::string_view& text) {
    return is_chunked_ ? next_chunked(bytes, text) : next_marked(bytes, text);
}

frame_event_e frame_decoder_c::next_chunked(std::string_view& bytes,
                                            std::string_view& text) {
    while (!is_malformed_) {
        switch (chunks_.next(bytes, text)) {
        case chunk_event_e::need_more:
            return frame_event_e::need_more;
        case chunk_event_e::chunk_begins:
            break;
        case chunk_event_e::data:
            return frame_event_e::text;
        case chunk_event_e::answer_ends:
            return frame_event_e::message_ends;
        default: // malformed, or what only daemons send
            is_malformed_ = true;
        }
    }
    return frame_event_e::malformed;
}

frame_event_e frame_decoder_c::next_marked(std::string_view& bytes,
                                           std::string_view& text) {
    while (!bytes.empty()) {
        const std::size_t plain = matched_ > 0 ? 0 : bytes.find(END_MARK.front());
        if (plain != 0) {
            text = bytes.substr(0, plain);
            bytes.remove_prefix(text.size());
            return frame_event_e::text;
        }
        const frame_event_e event = marked_byte(bytes.front(), bytes, text);
        if (event != frame_event_e::need_more) {
            return event;
        }
    }
    return frame_event_e::need_more;
}

// What was held of a mark that is none is text: the mark's own characters. The byte that says so
// is left to be looked at again.
frame_event_e frame_decoder_c::marked_byte(char c, std::string_view& bytes,
                                           std::string_view& text) {
    if (c != END_MARK[matched_]) {
        const std::size_t held = STILL_MATCHED[matched_];
        text = END_MARK.substr(0, matched_ - held);
        matched_ = held;
        return frame_event_e::text;
    }
    bytes.remove_prefix(1);
    if (++matched_ < END_MARK.size()) {
        return frame_event_e::need_more;
    }
    matched_ = 0;
    return frame_event_e::message_ends;
}
