// SPDX-License-Identifier: BSD-2-Clause

// The text is cut at line ends and at the marks of fields before anything else is done, and what is
// between them is made safe piece by piece: no piece can reach into the next one.
#include "watched_frame.h"

#include <algorithm>
#include <utility>

#include "control_escaper.h"

namespace {

constexpr char FIELD = '\x1f';
constexpr char BETWEEN[] = "\n"; // parts of an identity: in no line
constexpr char ESCAPE = '\033';

std::string safe(std::string_view text) {
    std::string out;
    control_escaper_c escaper(true);
    escaper.add(text, out);
    escaper.finish(out);
    return out;
}

std::string without_colours(std::string_view shown) {
    std::string text;
    for (std::size_t i = 0; i < shown.size(); ++i) {
        if (shown[i] == ESCAPE) {
            i = std::min(shown.find('m', i), shown.size());
        } else {
            text += shown[i];
        }
    }
    return text;
}

// The text alone: without blanks around it and without colours.
std::string bare(std::string_view shown) {
    std::string text = without_colours(shown);
    text.erase(0, text.find_first_not_of(' '));
    text.erase(text.find_last_not_of(' ') + 1); // npos + 1 is 0
    return text;
}

std::vector<watched_field_s> fields_of(std::string_view line) {
    std::vector<watched_field_s> fields(1);
    fields[0].kind = '\0';
    fields[0].text = safe(line.substr(0, line.find(FIELD)));
    for (std::size_t at = line.find(FIELD); at != std::string_view::npos;) {
        const std::size_t next = line.find(FIELD, at + 1);
        const std::string_view piece = line.substr(at + 1, next - at - 1);
        watched_field_s field;
        field.kind = piece.empty() ? 'v' : piece.front();
        field.text = safe(piece.substr(piece.empty() ? 0 : 1));
        if (field.kind == 'h' || field.kind == 't') { // who shows them has a look for them
            field.text = without_colours(field.text);
        }
        field.value = bare(field.text);
        fields.push_back(std::move(field));
        at = next;
    }
    return fields;
}

} // namespace

const watched_field_s* watched_line_s::find(std::string_view name) const {
    const auto found =
        std::find_if(fields.begin(), fields.end(), [&](const watched_field_s& field) {
            return field.is_cell() && field.name == name;
        });
    return found == fields.end() ? nullptr : &*found;
}

std::string watched_line_s::text() const {
    std::string text;
    for (const watched_field_s& field : fields) {
        text += field.text;
    }
    return text;
}

bool watched_frame_c::add(std::string_view part) {
    bytes_ += part.size();
    is_cut_ = is_cut_ || bytes_ > BYTES_MAX;
    while (!is_cut_ && !part.empty()) {
        const std::size_t end = part.find('\n');
        begun_ += part.substr(0, end);
        if (end != std::string_view::npos) {
            take_line(std::exchange(begun_, {}));
        }
        part.remove_prefix(end == std::string_view::npos ? part.size() : end + 1);
    }
    return bytes_ <= BYTES_MAX;
}

void watched_frame_c::finish() {
    if (!begun_.empty()) {
        take_line(std::exchange(begun_, {}));
    }
}

void watched_frame_c::take_line(std::string_view text) {
    is_cut_ = is_cut_ || lines_.size() == lines_max_;
    if (is_cut_) {
        return;
    }
    watched_line_s line;
    line.fields = fields_of(text);
    const std::size_t indent =
        std::min(text.find_first_not_of(' '), text.size()); // in front of any mark
    if (line.fields.size() > 1) {
        identify(line, indent);
        unsigned& times = times_[line.identity];
        line.identity += times++ == 0 ? "" : BETWEEN + std::to_string(times);
    }
    lines_.push_back(std::move(line));
}

// --- identities ---------------------------------------------------------------------------------

void watched_frame_c::leave(std::size_t level) {
    while (!places_.empty() && places_.back().level >= level) {
        places_.pop_back();
    }
}

std::string watched_frame_c::way() const {
    std::string way;
    for (const place_s& place : places_) {
        way += place.text + BETWEEN;
    }
    return way;
}

void watched_frame_c::identify(watched_line_s& line, std::size_t indent) {
    const char kind = line.fields[1].kind;
    const std::size_t level = 3 * indent;
    if (kind == 'n') {
        identify_pair(line, level);
        return;
    }
    is_in_keys_ = false;
    line.is_heading = kind == 'h' || kind == 't';
    leave(level + (kind == 't' ? 1 : 2));
    if (kind == 't') {
        places_.push_back({level + 1, line.fields[1].value});
    } else if (kind == 'h') {
        auto& headings = headings_[indent];
        headings.clear();
        for (const watched_field_s& field : line.fields) {
            headings.push_back(field.value);
        }
        line.identity = way() + BETWEEN;
        return;
    } else {
        name_cells(line, indent);
        std::string keys = "row";
        for (const watched_field_s& field : line.fields) {
            keys += field.kind == 'k' ? "\t" + field.value : "";
        }
        places_.push_back({level + 2, keys});
    }
    line.identity = way();
}

// A name and its value. The keys of a section are what the lines below them are in.
void watched_frame_c::identify_pair(watched_line_s& line, std::size_t level) {
    const bool is_key = line.fields.size() > 2 && line.fields[2].kind == 'k';
    leave(is_key && !is_in_keys_ ? level : level + 1);
    if (is_key && is_in_keys_) {
        places_.back().text += "\t" + line.fields[2].value;
    } else if (is_key) {
        places_.push_back({level, line.fields[2].value});
    }
    is_in_keys_ = is_key;
    line.identity = way() + line.fields[1].value;
    name_cells(line, level / 3);
}

// By the heading above them, or by the name in front.
void watched_frame_c::name_cells(watched_line_s& line, std::size_t indent) {
    const std::vector<std::string>& headings = headings_[indent];
    for (std::size_t i = 1; i < line.fields.size(); ++i) {
        watched_field_s& field = line.fields[i];
        const bool has_name = line.fields[i - 1].kind == 'n';
        field.name = has_name              ? line.fields[i - 1].value
                     : i < headings.size() ? headings[i]
                                           : std::to_string(i);
    }
}
