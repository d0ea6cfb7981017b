// SPDX-License-Identifier: BSD-2-Clause

// What a management socket sends, of any bytes: unframed, sorted, made safe and coloured.
//
// Asserted: whatever the bytes are cut into, the same comes out; nothing but the text of chunks is
// handed on, nothing of it is lost, and what is shown has no control character but colours.
#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include "fuzz_target.h"
#include "tools/drendctl/answer_sorter.h"
#include "tools/drendctl/answer_status.h"
#include "tools/drendctl/chunk_decoder.h"
#include "tools/drendctl/control_escaper.h"
#include "tools/drendctl/highlighter.h"

namespace {

constexpr size_t INPUT_MAX = 16384;

// What became of the bytes: the answers' kinds, errors and texts, and what was not framed.
struct result_s {
    std::string data; // of all chunks
    std::string text;
    std::string kinds;
    std::string errors;
    bool operator==(const result_s&) const = default;
};

class reader_c {
  public:
    void add(std::string_view bytes) {
        for (std::string_view data; !is_malformed_;) {
            switch (decoder_.next(bytes, data)) {
            case chunk_event_e::need_more:
                require(bytes.empty());
                return;
            case chunk_event_e::chunk_begins:
                sorter_->chunk_begins();
                break;
            case chunk_event_e::note_begins:
                result_.errors += decoder_.tag();
                break;
            case chunk_event_e::data:
                take(data);
                break;
            case chunk_event_e::answer_ends:
                finish_answer();
                break;
            case chunk_event_e::malformed:
                result_.errors += decoder_.error();
                is_malformed_ = true;
            }
        }
    }

    const result_s& result() const { return result_; }

  private:
    void take(std::string_view data) {
        if (decoder_.tag() == '\0') {
            result_.data += data;
            sorter_->data(data);
        } else {
            note_ += data;
        }
    }

    std::unique_ptr<answer_sorter_c> new_sorter() {
        return std::make_unique<answer_sorter_c>(
            [this](std::string_view part) { result_.text += part; });
    }

    void finish_answer() {
        const answer_e kind = sorter_->end();
        result_.kinds += static_cast<char>('0' + static_cast<int>(kind));
        require(kind == answer_e::answered || kind == answer_e::nothing ||
                sorter_->error().starts_with("error: "));
        result_.errors += kind == answer_e::answered ? "" : sorter_->error();
        sorter_ = new_sorter();
        const answer_status_s status = read_status(std::exchange(note_, {}));
        result_.errors += status.end + status.code + status.text + status.cursor;
        require(status.end.find('\n') == std::string::npos);
    }

    std::string note_;
    result_s result_;
    chunk_decoder_c decoder_;
    std::unique_ptr<answer_sorter_c> sorter_ = new_sorter();
    bool is_malformed_ = false;
};

result_s read_in_pieces(std::string_view bytes, size_t size) {
    reader_c reader;
    in_pieces(bytes, size, [&](std::string_view piece) { reader.add(piece); });
    return reader.result();
}

void require_safe(const std::string& text) {
    const std::string safe = escaped_controls(text);
    require(std::all_of(safe.begin(), safe.end(), [](char c) {
        return c == '\n' || c == '\t' || (c != 0x7f && static_cast<unsigned char>(c) >= 32);
    }));
    std::string coloured;
    highlighter_c highlighter;
    highlighter.add(safe, coloured);
    highlighter.finish(coloured);
    std::string plain;
    for (size_t i = 0; i < coloured.size(); ++i) {
        if (coloured[i] == '\033') {
            i = coloured.find('m', i);
        } else {
            plain += coloured[i];
        }
    }
    require(plain == safe);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string bytes = text_of(data, size, INPUT_MAX);
    const result_s whole = read_in_pieces(bytes, bytes.size());
    require(whole == read_in_pieces(bytes, 1) && whole == read_in_pieces(bytes, 7));
    require(whole.text.size() <= whole.data.size());
    const bool has_errors = whole.kinds.find_first_not_of('0') != std::string::npos;
    require(has_errors || whole.data.starts_with(whole.text));
    require_safe(whole.text);
    return 0;
}
