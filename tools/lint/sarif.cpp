// SPDX-License-Identifier: BSD-2-Clause

// SARIF names the rules once and has a result for each finding.
#include "sarif.h"

#include "frame/escape.h"

namespace {

std::string quoted(std::string_view text) {
    std::string json = "\"";
    dri_json_escaper.append(json, text, std::string::npos);
    return json + "\"";
}

const char* level_of(dr_severity_e severity) {
    return severity == dr_severity_e::ERROR ? "\"error\"" : "\"warning\"";
}

// A path as the reference of a URI: what has a meaning in one is escaped.
std::string uri_of(const std::string& path) {
    static constexpr char plain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                    "0123456789-._~/";
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string uri;
    for (const char c : path) {
        if (std::string_view(plain).find(c) != std::string_view::npos) {
            uri += c;
        } else {
            const auto byte = static_cast<unsigned char>(c);
            uri.append(1, '%').append(1, digits[byte / 16]).append(1, digits[byte % 16]);
        }
    }
    return uri;
}

std::string rule_of(const dr_finding_rule_s& rule) {
    return "{\"id\": " + quoted(rule.id) +
           ", \"shortDescription\": {\"text\": " + quoted(rule.meaning) +
           "}, \"defaultConfiguration\": {\"level\": " + level_of(rule.severity) + "}}";
}

// The line without its place, which has a member of its own.
std::string message_of(dr_finding_s finding) {
    finding.file.clear();
    finding.place = {};
    const std::string line = dri_finding_line(finding);
    const size_t begin = line.find(": ", 2) + 2;
    return line.substr(begin, line.rfind(" [") - begin);
}

std::string result_of(const dr_finding_s& finding) {
    const std::string region =
        finding.place.line == 0
            ? ""
            : ", \"region\": {\"startLine\": " + std::to_string(finding.place.line) +
                  ", \"startColumn\": " +
                  std::to_string(finding.place.column == 0 ? 1 : finding.place.column) +
                  "}";
    return "{\"ruleId\": " + quoted(finding.of().id) +
           ", \"level\": " + level_of(finding.severity) +
           ", \"message\": {\"text\": " + quoted(message_of(finding)) +
           "}, \"locations\": [{\"physicalLocation\": {\"artifactLocation\": {\"uri\": " +
           quoted(uri_of(finding.file)) + "}" + region + "}}]}";
}

template <typename List, typename Text>
std::string joined(const List& list, Text text) {
    std::string all;
    for (const auto& element : list) {
        all += (all.empty() ? "\n    " : ",\n    ") + text(element);
    }
    return all;
}

} // namespace

std::string sarif_text(const std::vector<dr_finding_s>& findings, const char* version) {
    return "{\"$schema\": \"https://json.schemastore.org/sarif-2.1.0.json\",\n"
           " \"version\": \"2.1.0\",\n \"runs\": [{\n"
           "  \"tool\": {\"driver\": {\"name\": \"drend-lint\", \"version\": " +
           quoted(version) + ", \"rules\": [" + joined(DR_RULES, rule_of) + "]}},\n" +
           "  \"columnKind\": \"unicodeCodePoints\",\n  \"results\": [" +
           joined(findings, result_of) + "]\n }]}\n";
}
