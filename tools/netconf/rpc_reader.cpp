// SPDX-License-Identifier: BSD-2-Clause

// The one source here that uses libxml2. Messages are short, so their trees are small; libxml2
// itself bounds their depth, to 256. A text that breaks off is read as far as it goes: the reply
// that says so can then have its "message-id", without which clients wait for another one.
#include "rpc_reader.h"

#include <algorithm>
#include <memory>
#include <new>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include "ascii_text.h"

namespace {

struct free_document_s {
    void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
using document_t = std::unique_ptr<xmlDoc, free_document_s>;

std::string text_of(const xmlChar* text) {
    return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

std::string xmlns_of(const xmlNode* node) {
    return node->ns == nullptr ? "" : text_of(node->ns->href);
}

qualified_name_s name_of(const xmlNode* node) {
    return {xmlns_of(node), text_of(node->name)};
}

bool is_base(const xmlNode* node, std::string_view name) {
    return xmlns_of(node) == NETCONF_BASE && text_of(node->name) == name;
}

std::vector<const xmlNode*> elements_of(const xmlNode* parent) {
    std::vector<const xmlNode*> elements;
    for (const xmlNode* kid = parent->children; kid != nullptr; kid = kid->next) {
        if (kid->type == XML_ELEMENT_NODE) {
            elements.push_back(kid);
        }
    }
    return elements;
}

// The text of the element, without white space around it.
std::string trimmed_text(const xmlNode* element) {
    std::string text;
    for (const xmlNode* kid = element->children; kid != nullptr; kid = kid->next) {
        text += kid->type == XML_TEXT_NODE ? text_of(kid->content) : "";
    }
    constexpr const char* blanks = " \t\r\n";
    const std::size_t begin = text.find_first_not_of(blanks);
    return begin == std::string::npos
               ? ""
               : text.substr(begin, text.find_last_not_of(blanks) + 1 - begin);
}

std::string value_of(const xmlAttr* attribute) {
    std::string value;
    for (const xmlNode* part = attribute->children; part != nullptr; part = part->next) {
        value += text_of(part->content);
    }
    return value;
}

// --- the document ---

void refuse_document_type(void* context, const xmlChar*, const xmlChar*, const xmlChar*) {
    xmlStopParser(static_cast<xmlParserCtxt*>(context));
}

struct parsed_s {
    document_t document; // null when there is not even a root
    bool is_well_formed;
};

// What the XML library would take for another encoding begins otherwise, or has bytes of 0.
bool is_ascii_or_utf8(std::string_view text) {
    return (text.starts_with('<') || text.starts_with("\xEF\xBB\xBF")) &&
           text.find('\0') == std::string_view::npos;
}

parsed_s parse(std::string_view text) {
    if (!is_ascii_or_utf8(text)) {
        return {nullptr, false};
    }
    // UTF-8, whatever the message says of itself. To name it would have the library convert it, and
    // crash when memory runs out there.
    constexpr int options = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING |
                            XML_PARSE_NOCDATA | XML_PARSE_RECOVER | XML_PARSE_IGNORE_ENC;
    xmlParserCtxt* context = xmlNewParserCtxt();
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    context->sax->internalSubset = refuse_document_type;
    document_t document(xmlCtxtReadMemory(
        context, text.data(), static_cast<int>(text.size()), nullptr, nullptr, options));
    const bool is_well_formed = context->wellFormed != 0 && context->nsWellFormed != 0;
    const bool has_no_memory = context->errNo == XML_ERR_NO_MEMORY;
    xmlFreeParserCtxt(context);
    if (has_no_memory) {
        throw std::bad_alloc();
    }
    return {std::move(document), is_well_formed};
}

// --- the subtree filter ---

// What is shown has no attributes: one is enough to say that the element is not meant.
bool has_attributes(const xmlNode* element) {
    return element->properties != nullptr;
}

// As `inherited` it was left out.
std::string filter_xmlns(const xmlNode* element, const std::string& inherited) {
    const std::string xmlns = xmlns_of(element);
    return xmlns == inherited ? "" : xmlns;
}

void append_filter(const xmlNode* element, const std::string& inherited,
                   const std::string& around, std::string& out) {
    const std::string xmlns = filter_xmlns(element, inherited);
    const std::string name = text_of(element->name);
    out += "<" + name;
    out += xmlns == around ? "" : " xmlns=\"" + escaped(xmlns) + "\"";
    out += has_attributes(element) ? " attribute=\"\"" : "";
    const std::vector<const xmlNode*> kids = elements_of(element);
    const std::string text = escaped(trimmed_text(element));
    if (kids.empty() && text.empty()) {
        out += "/>";
        return;
    }
    out += ">" + text;
    for (const xmlNode* kid : kids) {
        append_filter(kid, inherited, xmlns, out);
    }
    out += "</" + name + ">";
}

bool is_content_match(const xmlNode* element) {
    return elements_of(element).empty() && !trimmed_text(element).empty();
}

// Of what the element selects: itself, unless it asks for some of its kids.
unsigned level_of(const xmlNode* element, unsigned own) {
    unsigned found = own;
    bool is_found = false;
    for (const xmlNode* kid : elements_of(element)) {
        if (is_content_match(kid)) {
            continue;
        }
        const unsigned level = level_of(kid, own + 1);
        if (level == 0 || (is_found && level != found)) {
            return 0;
        }
        found = level;
        is_found = true;
    }
    return found;
}

filter_t filter_of(const xmlNode* filter) {
    const std::string inherited = xmlns_of(filter);
    filter_t read;
    for (const xmlNode* element : elements_of(filter)) {
        read.push_back({{filter_xmlns(element, inherited), text_of(element->name)},
                        "",
                        level_of(element, 1)});
        append_filter(element, inherited, "", read.back().text);
    }
    return read;
}

// --- requests ---

// "PREFIX:NAME" as namespaces are declared where it stands, or "NAME" in that of the element.
qualified_name_s resolved(const xmlNode* element, const std::string& text) {
    const std::size_t colon = text.find(':');
    if (colon == std::string::npos) {
        return {xmlns_of(element), text};
    }
    const std::string prefix = text.substr(0, colon);
    const xmlNs* ns = xmlSearchNs(element->doc, const_cast<xmlNode*>(element),
                                  reinterpret_cast<const xmlChar*>(prefix.c_str()));
    return {ns == nullptr ? "" : text_of(ns->href), text.substr(colon + 1)};
}

parameter_s parameter_of(const xmlNode* element) {
    parameter_s parameter{
        name_of(element), std::nullopt, trimmed_text(element), {}, filter_of(element)};
    parameter.value = resolved(element, parameter.text);
    for (const xmlAttr* a = element->properties; a != nullptr; a = a->next) {
        if (text_of(a->name) == "type") {
            parameter.type = value_of(a);
        }
    }
    return parameter;
}

// There are clients that declare no namespace for what is NETCONF's.
void put_into_base(qualified_name_s& name) {
    name.xmlns = name.xmlns.empty() ? NETCONF_BASE : name.xmlns;
}

std::optional<rpc_error_s> read_operation(const xmlNode* rpc, client_message_s& message) {
    const std::vector<const xmlNode*> operations = elements_of(rpc);
    if (operations.empty()) {
        return bad_element("rpc", "missing-element", "operation", "there is no operation");
    }
    if (operations.size() > 1) {
        return bad_element("rpc", "unknown-element", text_of(operations[1]->name),
                           "there is more than one operation");
    }
    message.operation = name_of(operations[0]);
    put_into_base(message.operation);
    for (const xmlNode* parameter : elements_of(operations[0])) {
        message.parameters.push_back(parameter_of(parameter));
        if (message.operation.xmlns == NETCONF_BASE) {
            put_into_base(message.parameters.back().name);
        }
    }
    return std::nullopt;
}

// --- the root ---

std::string prefix_of(const xmlNs* ns) {
    return ns == nullptr || ns->prefix == nullptr ? "" : text_of(ns->prefix) + ":";
}

// A name cannot be written with references.
std::string attribute(const std::string& name, const std::string& value) {
    return " " + name + "=\"" + escaped(value) + "\"";
}

// The prefixes that attributes have are declared in the reply as they were.
std::string attributes_of(const xmlNode* rpc) {
    std::string attributes;
    for (const xmlNs* ns = rpc->nsDef; ns != nullptr; ns = ns->next) {
        if (ns->prefix != nullptr) {
            attributes += attribute("xmlns:" + text_of(ns->prefix), text_of(ns->href));
        }
    }
    for (const xmlAttr* a = rpc->properties; a != nullptr; a = a->next) {
        attributes += attribute(prefix_of(a->ns) + text_of(a->name), value_of(a));
    }
    return attributes;
}

const xmlAttr* message_id_of(const xmlNode* rpc) {
    const xmlAttr* a = rpc->properties;
    while (a != nullptr && (a->ns != nullptr || text_of(a->name) != "message-id")) {
        a = a->next;
    }
    return a;
}

void read_rpc(const xmlNode* rpc, client_message_s& message) {
    message.fault = message_id_of(rpc) == nullptr
                        ? bad_attribute("rpc", "missing-attribute", "message-id", "rpc",
                                        "an rpc needs the attribute \"message-id\"")
                        : read_operation(rpc, message);
}

void read_hello(const xmlNode* hello, client_message_s& message) {
    for (const xmlNode* kid : elements_of(hello)) {
        message.has_session_id = message.has_session_id || is_base(kid, "session-id");
        for (const xmlNode* capability : elements_of(kid)) {
            if (is_base(kid, "capabilities") && is_base(capability, "capability")) {
                message.capabilities.push_back(trimmed_text(capability));
            }
        }
    }
}

void read_root(const xmlNode* root, client_message_s& message) {
    message.root = name_of(root);
    if (message.root->name == "rpc") {
        message.attributes = attributes_of(root);
    }
    if (message.root->xmlns != NETCONF_BASE) {
        message.fault = bad_namespace("rpc", message.root->name, message.root->xmlns);
    } else if (message.root->name == "rpc") {
        read_rpc(root, message);
    } else if (message.root->name == "hello") {
        read_hello(root, message);
    } else {
        message.fault =
            bad_element("rpc", "unknown-element", message.root->name, "it is no rpc");
    }
}

} // namespace

client_message_s read_message(std::string_view text) {
    // Blanks in front of an XML declaration are forgiven: there are clients that send a line feed.
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    const parsed_s parsed = parse(text);
    client_message_s message;
    const xmlNode* root =
        parsed.document == nullptr ? nullptr : xmlDocGetRootElement(parsed.document.get());
    if (root != nullptr) {
        read_root(root, message);
    }
    if (!parsed.is_well_formed || root == nullptr) {
        const xmlAttr* id = root == nullptr ? nullptr : message_id_of(root);
        message.attributes = id == nullptr ? "" : attribute("message-id", value_of(id));
        message.fault = {"rpc", "malformed-message", "the message is no well-formed XML"};
    }
    return message;
}
