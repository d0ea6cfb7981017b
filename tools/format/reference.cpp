// SPDX-License-Identifier: BSD-2-Clause

// The tables of docs/render-files.md.
#include "definitions/dr_findings.h"
#include "definitions/dr_format.h"
#include "generated.h"

namespace {

std::string_view kind_words(dr_json_kind_e kind) {
    switch (kind) {
    case dr_json_kind_e::TEXT:
        return "text";
    case dr_json_kind_e::INTEGER:
        return "integer";
    case dr_json_kind_e::TEXTS:
        return "array of texts";
    case dr_json_kind_e::PAIRS:
        return "array of pairs";
    case dr_json_kind_e::TAG:
        return "tag";
    default:
        return "array of tags";
    }
}

using cells_t = std::initializer_list<std::string_view>;

std::string row_of(const cells_t& cells) {
    std::string row = "|";
    for (const std::string_view cell : cells) {
        row += cell.empty() ? "" : " ";
        row.append(cell).append(" |");
    }
    return row + "\n";
}

std::string code(std::string_view text) {
    return "`" + std::string(text) + "`";
}

template <size_t Count>
std::string members_of(const dr_member_s (&members)[Count]) {
    std::string text = "| Member | Type | When absent | Meaning |\n|---|---|---|---|\n";
    for (const dr_member_s& member : members) {
        text += row_of(
            {code(member.name), kind_words(member.kind), member.absent, member.meaning});
    }
    return text;
}

std::string kinds() {
    std::string text = "| `dts_type` | Element |\n|---|---|\n";
    for (const dr_type_word_s& row : DR_TYPE_WORDS) {
        text += row_of({"\"" + std::string(row.word) + "\"", row.meaning});
    }
    return text;
}

std::string rows() {
    std::string text = "| `dts_rows` | Rows |\n|---|---|\n";
    for (const dr_rows_word_s& row : DR_ROWS_WORDS) {
        text += row_of({"\"" + std::string(row.word) + "\"", row.meaning});
    }
    return text;
}

std::string data_types() {
    std::string text;
    for (const dr_data_type_word_s& row : DR_DATA_TYPE_WORDS) {
        text += text.empty() ? "\"" : ", \"";
        text.append(row.word).append("\"");
    }
    return text + "\n";
}

std::string needs() {
    std::string text = "| A tag with | needs | Without it |\n|---|---|---|\n";
    for (const dr_need_s& need : DR_NEEDS) {
        text += row_of(
            {code(DR_TAG_MEMBERS[need.when].name) + " \"" + std::string(need.is) + "\"",
             code(DR_TAG_MEMBERS[need.needs].name), need.otherwise});
    }
    return text;
}

std::string findings() {
    std::string text = "| Identifier | Severity | What is wrong |\n|---|---|---|\n";
    for (const dr_finding_rule_s& rule : DR_RULES) {
        text += row_of({code(rule.id),
                        rule.severity == dr_severity_e::ERROR ? "error" : "warning",
                        rule.meaning});
    }
    return text;
}

} // namespace

std::string reference_part(std::string_view name) {
    if (name == "command") {
        return members_of(DR_COMMAND_MEMBERS);
    }
    if (name == "notification") {
        return members_of(DR_NOTIFICATION_MEMBERS);
    }
    if (name == "notification-leaf") {
        return members_of(DR_NOTIFICATION_LEAF_MEMBERS);
    }
    if (name == "tag") {
        return members_of(DR_TAG_MEMBERS);
    }
    if (name == "kinds") {
        return kinds();
    }
    if (name == "rows") {
        return rows();
    }
    if (name == "data-types") {
        return data_types();
    }
    if (name == "needs") {
        return needs();
    }
    return name == "findings" ? findings() : "";
}
