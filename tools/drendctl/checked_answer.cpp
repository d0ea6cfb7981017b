// SPDX-License-Identifier: BSD-2-Clause

// Whose files they are is not known here, so a name may lead anywhere: only regular files of a
// modest size are read, and of those one line is shown, or a part of it.
#include "checked_answer.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <utility>

#include <sys/stat.h>

#include "caret.h"

namespace {

constexpr std::size_t LINE_MAX_SIZE = 65536; // of the answer; no finding is that long
constexpr off_t FILE_MAX = 16 << 20;
// Bytes of a source line that are shown on either side of the place.
constexpr std::size_t SHOWN_BEFORE = 100;
constexpr std::size_t SHOWN_BEHIND = 60;

struct place_s {
    std::string file;
    std::size_t line = 0;
    std::size_t column = 0;
};

// Takes ":NUMBER" from the end of `text`; 0 when there is none.
std::size_t take_number(std::string_view& text) {
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        return 0;
    }
    const char* const end = text.data() + text.size();
    std::size_t number = 0;
    const auto read = std::from_chars(text.data() + colon + 1, end, number);
    text.remove_suffix(text.size() - colon);
    return read.ec == std::errc() && read.ptr == end ? number : 0;
}

// The place of a finding that has one. A sentence may hold the words that end a place, too, so the
// first ones count.
std::optional<place_s> place_of(std::string_view line) {
    std::string_view text =
        line.substr(0, std::min(line.find(": error: "), line.find(": warning: ")));
    place_s place;
    if (text.size() < line.size()) {
        place.column = take_number(text);
        place.line = take_number(text);
        place.file = text;
    }
    return place.line > 0 && place.column > 0 ? std::optional(place) : std::nullopt;
}

// None of an empty text, which is that of a file that cannot be read, too.
std::optional<std::string_view> line_of(std::string_view text, std::size_t number) {
    if (text.empty()) {
        return std::nullopt;
    }
    for (; number > 1; --number) {
        const std::size_t end = text.find('\n');
        if (end == std::string_view::npos) {
            return std::nullopt;
        }
        text.remove_prefix(end + 1);
    }
    text = text.substr(0, text.find('\n'));
    return text.substr(0, text.find_last_not_of('\r') + 1); // npos + 1 is 0
}

std::string shown(std::string_view line, std::size_t offset, std::size_t number) {
    const std::size_t begin =
        next_character(line, offset > SHOWN_BEFORE ? offset - SHOWN_BEFORE : 0);
    const std::size_t end = next_character(line, offset + SHOWN_BEHIND);
    const std::string margin = std::to_string(number);
    return with_caret(line.substr(begin, end - begin), offset - begin,
                      "  " + margin + " | ",
                      "  " + std::string(margin.size(), ' ') + " | ");
}

// "N errors, M warnings" behind the findings, or an error as JSON: a text in it would have its
// quotes escaped.
bool tells_errors(std::string_view line) {
    const std::size_t digits = line.find_first_not_of("0123456789");
    return line.find("\"severity\": \"error\"") != std::string_view::npos ||
           (digits > 0 && line[0] != '0' && digits != std::string_view::npos &&
            line.substr(digits).starts_with(" errors, "));
}

} // namespace

bool is_check(std::string_view request) {
    constexpr std::string_view words[] = {"drend", "check"};
    const auto take = [&request](std::string_view word) {
        request.remove_prefix(std::min(request.find_first_not_of(' '), request.size()));
        const std::string_view first = request.substr(0, request.find(' '));
        request.remove_prefix(first == word ? word.size() : 0);
        return first == word;
    };
    take(words[0]);
    return take(words[1]);
}

bool checked_answer_c::add(std::string_view part) {
    for (std::size_t end = part.find('\n'); end != std::string_view::npos;
         end = part.find('\n')) {
        begun_.append(part.substr(0, end));
        part.remove_prefix(end + 1);
        if (!take_line(std::exchange(begun_, {}))) {
            return false;
        }
    }
    begun_ += part;
    return begun_.size() <= LINE_MAX_SIZE || text_(std::exchange(begun_, {}));
}

void checked_answer_c::finish() {
    text_(begun_);
}

bool checked_answer_c::take_line(std::string_view line) {
    has_errors_ = has_errors_ || tells_errors(line);
    return text_(std::string(line) + "\n" + source_of(line));
}

std::string checked_answer_c::source_of(std::string_view line) {
    const std::optional<place_s> place = place_of(line);
    const std::optional<std::string_view> source =
        place ? line_of(text_of(place->file), place->line) : std::nullopt;
    const std::optional<std::size_t> offset =
        source ? offset_of(place->column, *source) : std::nullopt;
    return offset ? shown(*source, *offset, place->line) : std::string();
}

const std::string& checked_answer_c::text_of(const std::string& path) {
    if (path != path_) {
        path_ = path;
        file_.clear();
        struct stat found {};
        if (stat(path.c_str(), &found) == 0 && S_ISREG(found.st_mode) &&
            found.st_size <= FILE_MAX) {
            std::ifstream file(path);
            file_.assign(std::istreambuf_iterator<char>(file), {});
        }
    }
    return file_;
}
