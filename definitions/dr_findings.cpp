// SPDX-License-Identifier: BSD-2-Clause

// How findings become lines. What a file holds is untrusted, so a line shows no control character.
#include "definitions/dr_findings.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "drend.h"
#include "frame/escape.h"

namespace {

// Printed without memory.
constexpr char NO_MEMORY[] = "render definitions: out of memory\n";

constexpr size_t SHOWN = 64; // bytes of a text

const char* severity_word(dr_severity_e severity) {
    return severity == dr_severity_e::ERROR ? "error" : "warning";
}

std::string on_one_line(std::string line) {
    std::replace_if(
        line.begin(), line.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return line;
}

// "command 'c', tag a/b: ", as far as they are known.
std::string owner_of(const dr_finding_s& finding) {
    std::string owner;
    if (!finding.command.empty()) {
        owner = (finding.is_notification ? "notification '" : "command '") +
                dri_shown(finding.command) + "'";
    }
    if (!finding.path.empty()) {
        owner += (owner.empty() ? "tag " : ", tag ") + finding.path;
    }
    return owner.empty() ? owner : owner + ": ";
}

// As standard error has always had two of them; one of these has no line end.
std::string error_line_of(const dr_finding_s& finding) {
    if (finding.rule == dr_rule_e::SYNTAX) {
        return on_one_line("json load error: " + finding.file + " : " +
                           std::to_string(finding.place.line) + ":" +
                           std::to_string(finding.place.column) + " - " +
                           finding.sentence) +
               "\n";
    }
    if (finding.rule == dr_rule_e::NOT_AN_ENTRY) {
        return on_one_line("json parse error in " + finding.file + " at entry " +
                           std::to_string(finding.entry) + ": " + finding.sentence);
    }
    return dri_finding_line(finding) + "\n";
}

void append_text(std::string& json, const char* name, std::string_view text) {
    json.append(json.ends_with('{') ? "\"" : ", \"").append(name).append("\": \"");
    dri_json_escaper.append(json, text, std::string::npos);
    json += '"';
}

void append_number(std::string& json, const char* name, uint32_t number) {
    json.append(", \"").append(name).append("\": ").append(std::to_string(number));
}

std::string json_of(const dr_finding_s& finding) {
    std::string json = "{";
    append_text(json, "file", finding.file);
    append_number(json, "line", finding.place.line);
    append_number(json, "column", finding.place.column);
    append_text(json, "severity", severity_word(finding.severity));
    append_text(json, "id", finding.of().id);
    append_text(json, finding.is_notification ? "notification" : "command",
                finding.command);
    append_text(json, "tag", finding.path);
    append_text(json, "sentence", finding.sentence);
    append_text(json, "nearest", finding.nearest);
    return json + "}";
}

bool send_line(void* peer, const std::string& line) {
    return drend_send(peer, "%s", line.c_str()) >= 0;
}

} // namespace

std::string dri_shown(std::string_view text) {
    size_t size = std::min(text.size(), SHOWN);
    while (size < text.size() && size > 0 && (text[size] & 0xC0) == 0x80) {
        --size; // not half a character
    }
    return std::string(text.substr(0, size)) + (size < text.size() ? "..." : "");
}

std::string dri_finding_line(const dr_finding_s& finding) {
    std::string line = finding.file;
    if (finding.place.line > 0) {
        line += ":" + std::to_string(finding.place.line) + ":" +
                std::to_string(finding.place.column);
    }
    line.append(": ").append(severity_word(finding.severity)).append(": ");
    line += owner_of(finding) + finding.sentence;
    if (!finding.nearest.empty()) {
        line += "; did you mean '" + finding.nearest + "'?";
    }
    line.append(" [").append(finding.of().id).append("]");
    return on_one_line(std::move(line));
}

std::string dri_findings_json(const std::vector<dr_finding_s>& findings) {
    std::string json = "[";
    for (const dr_finding_s& finding : findings) {
        json += json.size() > 1 ? ",\n " : "\n ";
        json += json_of(finding);
    }
    return json + "\n]\n";
}

void dr_findings_c::add(dr_finding_s finding) {
    is_incomplete_ = is_incomplete_ || finding.rule == dr_rule_e::UNREADABLE;
    errors_ += finding.severity == dr_severity_e::ERROR ? 1 : 0;
    if (findings_.size() < MOST) {
        findings_.push_back(std::move(finding));
    } else {
        ++more_;
    }
}

void dr_findings_c::add(dr_finding_s finding, dr_rule_e rule, dr_severity_e severity,
                        dr_text_place_s place, std::string sentence,
                        std::string_view nearest) {
    finding.rule = rule;
    finding.severity = severity;
    finding.place = place;
    finding.sentence = std::move(sentence);
    finding.nearest = nearest;
    add(std::move(finding));
}

void dr_findings_c::add(dr_rule_e rule, std::string file, std::string sentence) {
    dr_finding_s finding{rule, DR_RULES[static_cast<size_t>(rule)].severity};
    finding.file = std::move(file);
    finding.sentence = std::move(sentence);
    add(std::move(finding));
}

void dr_findings_c::append(const dr_findings_c& others) {
    for (const dr_finding_s& finding : others.findings_) {
        add(finding);
    }
    more_ += others.more_;
}

void dr_findings_c::note_no_memory() {
    findings_.clear();
    more_ = 0;
    no_memory_ = true;
}

// Calls `print` with each finding, and with what else there is to say in a line, until that returns
// false.
template <typename Print>
void dr_findings_c::for_each_line(Print print) const {
    for (const dr_finding_s& finding : findings_) {
        if (!print(&finding, "")) {
            return;
        }
    }
    if (more_ > 0) {
        print(nullptr, (std::to_string(more_) + " more findings\n").c_str());
    }
    if (no_memory_) {
        print(nullptr, NO_MEMORY);
    }
}

void dr_findings_c::print(FILE* stream) const {
    for_each_line([stream](const dr_finding_s* finding, const char* other) {
        return fputs(finding == nullptr ? other : error_line_of(*finding).c_str(),
                     stream) != EOF;
    });
}

void dr_findings_c::send_errors(void* peer) const {
    for_each_line([peer](const dr_finding_s* finding, const char* other) {
        if (finding == nullptr) {
            return send_line(peer, other);
        }
        return finding->severity != dr_severity_e::ERROR ||
               send_line(peer, dri_finding_line(*finding) + "\n");
    });
}

void dr_findings_c::send_all(void* peer) const {
    for_each_line([peer](const dr_finding_s* finding, const char* other) {
        return send_line(peer,
                         finding == nullptr ? other : dri_finding_line(*finding) + "\n");
    });
}
