// SPDX-License-Identifier: BSD-2-Clause

#include "definitions/dr_row_texts.h"

#include "definitions/dr_xml_text.h"
#include "definitions/drend_tag.h"
#include "frame/escape.h"

namespace {

void append_blanks(std::string& out, int level) {
    out.append(2 * static_cast<size_t>(level), ' ');
}

bool is_leaf(const drend_tag_c& tag) {
    return tag.dt_type == DT_TYPE_LEAF;
}

// Whether the tag's own text is a value, in its row or in one of several.
bool is_value(const drend_tag_c& tag) {
    return is_leaf(tag) || tag.dt_type == DT_TYPE_LEAF_LIST;
}

// --- XML and JSON of texts --------------------------------------------------------------------

void append_xml_opening(std::string& out, const drend_tag_c& tag, int level) {
    append_blanks(out, level);
    out.append(is_leaf(tag) ? tag.open_text() : tag.open_line());
    out.append(is_leaf(tag) ? tag.dt_prefix : "");
}

void append_xml_closing(std::string& out, const drend_tag_c& tag, int level) {
    append_blanks(out, is_leaf(tag) ? 0 : level);
    out.append(tag.close_text());
}

void append_json_opening(std::string& out, const drend_tag_c& tag, int level) {
    out.append(",\n");
    append_blanks(out, level);
    out.append(tag.member_text());
    out.append(is_leaf(tag) ? "\"" : tag.dt_type == DT_TYPE_CONT ? "{" : "[");
}

void append_json_closing(std::string& out, const drend_tag_c& tag, int level) {
    if (is_leaf(tag)) {
        out.append("\"");
        return;
    }
    out.append("\n");
    append_blanks(out, tag.dt_type == DT_TYPE_CONT ? level : level + 1);
    out.append("}");
}

// --- the IETF's -------------------------------------------------------------------------------

// Begins a line, or nothing in a text without lines.
void append_line(std::string& out, const dr_row_shape_s& shape) {
    if (!shape.is_compact) {
        append_blanks(out.append("\n"), shape.level);
    }
}

void append_ietf_xml_opening(std::string& out, const drend_tag_c& tag,
                             const dr_row_shape_s& shape) {
    append_blanks(out, shape.is_compact ? 0 : shape.level);
    out.append("<").append(tag.name());
    const dr_scope_c* scope = tag.scope(shape.scope);
    out.append(scope == shape.scope ? "" : scope->attributes());
    out.append(is_value(tag) || shape.is_compact ? ">" : ">\n");
}

void append_ietf_xml_closing(std::string& out, const drend_tag_c& tag,
                             const dr_row_shape_s& shape) {
    append_blanks(out, is_value(tag) || shape.is_compact ? 0 : shape.level);
    out.append("</").append(tag.name()).append(shape.is_compact ? ">" : ">\n");
}

// The name of a member: that of the tag without an XML prefix, behind its module where another one
// begins.
void append_member(std::string& out, const drend_tag_c& tag, const dr_row_shape_s& shape) {
    const std::string_view module = dri_module_begun(tag.scope(shape.scope), shape.scope);
    const std::string_view name = tag.name();
    const size_t colon = name.find(':');
    std::string member(module);
    member.append(module.empty() ? "" : ":");
    member.append(name.substr(colon == std::string_view::npos ? 0 : colon + 1));
    out.append("\"");
    dri_json_escaper.append(out, member, std::string::npos);
    out.append(shape.is_compact ? "\":" : "\": ");
}

void append_ietf_json_opening(std::string& out, const drend_tag_c& tag,
                              const dr_row_shape_s& shape) {
    out.append(",");
    append_line(out, shape);
    append_member(out, tag, shape);
    out.append(is_leaf(tag) || tag.dt_type == DT_TYPE_CONT ? "" : "[");
    out.append(is_value(tag) ? "" : "{");
}

void append_ietf_json_closing(std::string& out, const drend_tag_c& tag,
                              const dr_row_shape_s& shape) {
    if (is_value(tag)) {
        out.append("\"");
        return;
    }
    append_line(out, shape);
    out.append("}");
}

} // namespace

void dri_append_opening(std::string& out, const drend_tag_c& tag, dr_row_shape_s shape) {
    switch (shape.format) {
    case dr_text_format_e::XML:
        return append_xml_opening(out, tag, shape.level);
    case dr_text_format_e::JSON:
        return append_json_opening(out, tag, shape.level);
    case dr_text_format_e::IETF_XML:
        return append_ietf_xml_opening(out, tag, shape);
    case dr_text_format_e::IETF_JSON:
        return append_ietf_json_opening(out, tag, shape);
    case dr_text_format_e::NONE:
        break;
    }
}

void dri_append_ietf_prefix(std::string& out, const drend_tag_c& tag,
                            dr_text_format_e format) {
    if (format == dr_text_format_e::IETF_XML) {
        out.append(tag.dt_prefix);
        return;
    }
    out.append("\"");
    dri_json_escaper.append(out, dri_xml_content_text(tag.dt_prefix), std::string::npos);
}

void dri_append_closing(std::string& out, const drend_tag_c& tag, dr_row_shape_s shape) {
    switch (shape.format) {
    case dr_text_format_e::XML:
        return append_xml_closing(out, tag, shape.level);
    case dr_text_format_e::JSON:
        return append_json_closing(out, tag, shape.level);
    case dr_text_format_e::IETF_XML:
        return append_ietf_xml_closing(out, tag, shape);
    case dr_text_format_e::IETF_JSON:
        return append_ietf_json_closing(out, tag, shape);
    case dr_text_format_e::NONE:
        break;
    }
}
