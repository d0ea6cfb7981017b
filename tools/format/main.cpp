// SPDX-License-Identifier: BSD-2-Clause

// Compares the JSON Schema and the reference of definition files with the table that they are made
// of, or writes them anew: drend_format --check|--write ROOT
//
// In the reference a part stands between two lines:
//
//     [//]: # (part: tag)
//     [//]: # (end of part)
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

#include "generated.h"

namespace {

constexpr char REFERENCE[] = "docs/render-files.md";
constexpr char SCHEMA[] = "docs/render-definitions.schema.json";
constexpr std::string_view BEGIN = "[//]: # (part: ";
constexpr std::string_view BEGIN_END = ")\n\n";
constexpr std::string_view END = "\n[//]: # (end of part)\n";
constexpr int PARTS = 9;

std::string read(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A document with its parts made anew; empty, with a line, when one of them is not known or there
// are not as many as there should be.
std::string with_parts(const std::string& document) {
    std::string made;
    int parts = 0;
    size_t at = 0;
    for (size_t begin = document.find(BEGIN); begin != std::string::npos;
         begin = document.find(BEGIN, at)) {
        const size_t name = begin + BEGIN.size();
        const size_t name_end = document.find(BEGIN_END, name);
        const size_t end = document.find(END, name_end);
        const std::string part = reference_part(document.substr(name, name_end - name));
        if (part.empty() || end == std::string::npos) {
            return "";
        }
        made += document.substr(at, name_end + BEGIN_END.size() - at) + part;
        at = end;
        ++parts;
    }
    return parts == PARTS ? made + document.substr(at) : "";
}

// False, with a line, when `path` does not hold `text`, unless it could be written.
bool settle(const std::string& path, const std::string& text, bool writes) {
    if (!text.empty() && writes) {
        std::ofstream(path) << text;
    }
    const bool is_settled = !text.empty() && read(path) == text;
    if (!is_settled) {
        fprintf(stderr, "%s is not what the table says: drend_format --write\n",
                path.c_str());
    }
    return is_settled;
}

} // namespace

int main(int argc, char** argv) {
    const bool writes = argc == 3 && strcmp(argv[1], "--write") == 0;
    if (!writes && (argc != 3 || strcmp(argv[1], "--check") != 0)) {
        fputs("usage: drend_format --check|--write ROOT\n", stderr);
        return 2;
    }
    const std::string root = std::string(argv[2]) + "/";
    const std::string reference = root + REFERENCE;
    const bool is_reference = settle(reference, with_parts(read(reference)), writes);
    return settle(root + SCHEMA, schema_text(), writes) && is_reference ? 0 : 1;
}
