// SPDX-License-Identifier: BSD-2-Clause

// Says whether its standard input is a document that others can read: parse_output xml|json
//
// XML is read with libxml2, prefixes that nobody declared being errors too; JSON with jansson,
// members of the same name in one object likewise. The reason goes to standard error, and the
// exit status is 1.

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include <jansson.h>
#include <libxml/parser.h>

namespace {

std::string read_all(FILE* file) {
    std::string text;
    char block[4096];
    for (size_t got; (got = fread(block, 1, sizeof block, file)) > 0;) {
        text.append(block, got);
    }
    return text;
}

bool is_xml(const std::string& text) {
    const std::unique_ptr<xmlParserCtxt, void (*)(xmlParserCtxt*)> parser(
        xmlNewParserCtxt(), xmlFreeParserCtxt);
    const std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> document(
        xmlCtxtReadMemory(parser.get(), text.data(), static_cast<int>(text.size()),
                          "standard input", nullptr, XML_PARSE_NONET),
        xmlFreeDoc);
    return document != nullptr && parser->wellFormed == 1 && parser->nsWellFormed == 1;
}

bool is_json(const std::string& text) {
    json_error_t error;
    const std::unique_ptr<json_t, void (*)(json_t*)> document(
        json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &error), json_decref);
    if (document == nullptr) {
        fprintf(stderr, "%d:%d: %s\n", error.line, error.column, error.text);
    }
    return document != nullptr;
}

} // namespace

int main(int argc, char** argv) {
    if (argc == 2 && strcmp(argv[1], "xml") == 0) {
        return is_xml(read_all(stdin)) ? 0 : 1;
    }
    if (argc == 2 && strcmp(argv[1], "json") == 0) {
        return is_json(read_all(stdin)) ? 0 : 1;
    }
    fprintf(stderr, "usage: parse_output xml|json\n");
    return 2;
}
