// SPDX-License-Identifier: BSD-2-Clause

// How findings become lines. What a file holds is untrusted, so a line shows no control character.
#include "definitions/dr_findings.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "drend.h"

namespace {

// Printed without memory.
constexpr char NO_MEMORY[] = "render definitions: out of memory\n";

// One line, its end included: files may hold line ends and what a terminal obeys.
std::string line_of(const dr_finding_s& finding) {
    std::string line =
        finding.kind == dr_finding_e::SKIPPED_ENTRY
            ? "json parse error in " + finding.place + ": " + finding.sentence
            : "json load error: " + finding.place + " - " + finding.sentence;
    std::replace_if(
        line.begin(), line.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return line + "\n";
}

} // namespace

void dr_findings_c::add(dr_finding_e kind, std::string place, std::string sentence) {
    is_incomplete_ = is_incomplete_ || kind == dr_finding_e::UNREADABLE;
    if (findings_.size() < MOST) {
        findings_.push_back({kind, std::move(place), std::move(sentence)});
    } else {
        ++more_;
    }
}

void dr_findings_c::note_no_memory() {
    findings_.clear();
    more_ = 0;
    no_memory_ = true;
}

// Calls `print` with each line, until that returns false.
template <typename Print>
void dr_findings_c::for_each_line(Print print) const {
    for (const dr_finding_s& finding : findings_) {
        if (!print(line_of(finding).c_str(), finding.kind)) {
            return;
        }
    }
    if (more_ > 0) {
        print(("json load error: " + std::to_string(more_) + " more\n").c_str(),
              dr_finding_e::LEFT_OUT);
    }
    if (no_memory_) {
        print(NO_MEMORY, dr_finding_e::UNREADABLE);
    }
}

void dr_findings_c::print(FILE* stream) const {
    for_each_line([stream](const char* line, dr_finding_e kind) {
        const size_t end = kind == dr_finding_e::SKIPPED_ENTRY ? 1 : 0;
        return fwrite(line, strlen(line) - end, 1, stream) == 1;
    });
}

void dr_findings_c::send(void* peer) const {
    for_each_line([peer](const char* line, dr_finding_e) {
        return drend_send(peer, "%s", line) >= 0;
    });
}
