// SPDX-License-Identifier: BSD-2-Clause

// What a NETCONF client sends, of any bytes: unframed, and each message read.
//
// Asserted: whatever the bytes are cut into, the same messages come out, in both framings; what of
// a message goes on to a daemon, or back to the client, is well-formed, and nothing in it ends the
// argument of a request.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "fuzz_target.h"
#include "tools/netconf/frame_decoder.h"
#include "tools/netconf/rpc_reader.h"

namespace {

constexpr size_t INPUT_MAX = 16384;

// The messages, what came of the last one, and why no more came.
std::vector<std::string> messages_of(std::string_view bytes, size_t size, bool is_chunked) {
    frame_decoder_c decoder;
    if (is_chunked) {
        decoder.use_chunks();
    }
    std::vector<std::string> messages(1);
    for (; !bytes.empty(); bytes.remove_prefix(std::min(size, bytes.size()))) {
        std::string_view piece = bytes.substr(0, size);
        frame_event_e event{};
        for (std::string_view text;
             (event = decoder.next(piece, text)) != frame_event_e::need_more;) {
            if (event == frame_event_e::malformed) {
                messages.push_back(decoder.error());
                return messages;
            }
            if (event == frame_event_e::message_ends) {
                messages.emplace_back();
            } else {
                messages.back() += text;
            }
        }
        require(piece.empty());
    }
    return messages;
}

// Whether what is made of a message is XML again.
bool is_xml(const std::string& text) {
    const std::optional<rpc_error_s> fault = read_message(text).fault;
    return !fault.has_value() || std::string_view(fault->tag) != "malformed-message";
}

void require_argument(const std::string& text) {
    require(std::all_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) >= ' ' && c != '\'' && c != '\\';
    }));
}

void read_one(const std::string& text) {
    const client_message_s message = read_message(text);
    require(message.root.has_value() || message.fault.has_value());
    require(is_xml("<r" + message.attributes + "/>"));
    if (message.fault.has_value()) {
        require(is_xml(to_xml(*message.fault)));
        return;
    }
    for (const parameter_s& parameter : message.parameters) {
        for (const filter_element_s& element : parameter.filter) {
            require_argument(element.text);
            require(is_xml(element.text));
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes = text_of(data, size, INPUT_MAX);
    for (const bool is_chunked : {false, true}) {
        const std::vector<std::string> whole = messages_of(bytes, bytes.size(), is_chunked);
        require(whole == messages_of(bytes, 1, is_chunked));
        require(whole == messages_of(bytes, 5, is_chunked));
        std::for_each(whole.begin(), whole.end(), read_one);
    }
    return 0;
}
