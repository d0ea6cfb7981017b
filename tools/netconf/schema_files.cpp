// SPDX-License-Identifier: BSD-2-Clause

// A module is not parsed: its statements of one line say enough. The files are the administrator's;
// names that clients send are compared with those of files, and never become a part of a path.
#include "schema_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <tuple>
#include <utility>

#include "regular_file.h"

namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t TEXT_MAX = 4 << 20;
constexpr const char* BLANKS = " \t\r";

// What stands behind the keyword on a line that begins with it, without quotes.
std::string argument_in(const std::string& line, const std::string& keyword) {
    const std::size_t begin = line.find_first_not_of(BLANKS);
    if (begin == std::string::npos || line.compare(begin, keyword.size(), keyword) != 0) {
        return "";
    }
    const std::size_t blank = begin + keyword.size();
    const std::size_t argument = line.find_first_not_of(BLANKS, blank);
    if (argument == blank || argument == std::string::npos) {
        return "";
    }
    const bool is_quoted = line[argument] == '"' || line[argument] == '\'';
    const std::string ends = is_quoted ? std::string(1, line[argument]) : " \t\r;{";
    const std::size_t from = argument + (is_quoted ? 1 : 0);
    return line.substr(from, line.find_first_of(ends, from) - from);
}

void take(std::string& text, const std::string& line, const char* keyword) {
    text = text.empty() ? argument_in(line, keyword) : text;
}

// Until all is known: what is included stands in front of revisions.
void read_statements(schema_file_s& file) {
    const std::string named = std::exchange(file.version, "");
    std::ifstream in(file.path);
    std::string line;
    while ((file.version.empty() || (file.xmlns.empty() && file.module.empty())) &&
           std::getline(in, line)) {
        take(file.xmlns, line, "namespace");
        take(file.module, line, "belongs-to");
        take(file.version, line, "revision");
        const std::string included = argument_in(line, "include");
        if (!included.empty()) {
            file.includes.push_back(included);
        }
    }
    file.version = named.empty() ? file.version : named;
    if (in.bad() || !in.is_open()) {
        throw std::runtime_error("cannot read " + file.path);
    }
}

bool is_readable(const fs::path& path) {
    std::error_code failure;
    return path.extension() == ".yang" && fs::is_regular_file(path, failure) &&
           fs::file_size(path, failure) <= TEXT_MAX && !failure;
}

schema_file_s file_of(const fs::path& path) {
    const std::string stem = path.stem().string();
    const std::size_t at = std::min(stem.find('@'), stem.size());
    return {stem.substr(0, at), stem.substr(std::min(at + 1, stem.size())), "",
            path.string()};
}

std::vector<schema_file_s> named_files(const std::string& directory) {
    std::vector<schema_file_s> files;
    std::vector<fs::path> paths;
    const std::error_code failure = list_directory(directory, paths);
    if (failure && failure != std::errc::no_such_file_or_directory) {
        throw std::system_error(failure, "cannot read " + directory);
    }
    for (const fs::path& path : paths) {
        if (is_readable(path)) {
            files.push_back(file_of(path));
        }
    }
    std::sort(files.begin(), files.end(),
              [](const schema_file_s& a, const schema_file_s& b) {
                  return std::tie(a.identifier, a.path) < std::tie(b.identifier, b.path);
              });
    return files;
}

} // namespace

std::vector<schema_file_s> schema_files(const std::string& directory) {
    std::vector<schema_file_s> files = named_files(directory);
    std::for_each(files.begin(), files.end(), read_statements);
    for (schema_file_s& part : files) {
        const auto module =
            std::find_if(files.begin(), files.end(), [&](const schema_file_s& file) {
                return part.is_submodule() && file.identifier == part.module;
            });
        part.xmlns = module == files.end() ? part.xmlns : module->xmlns;
    }
    const auto is_none = [](const schema_file_s& file) { return file.xmlns.empty(); };
    files.erase(std::remove_if(files.begin(), files.end(), is_none), files.end());
    const auto is_same = [](const schema_file_s& a, const schema_file_s& b) {
        return a.identifier == b.identifier && a.version == b.version;
    };
    files.erase(std::unique(files.begin(), files.end(), is_same), files.end());
    return files;
}

std::vector<schema_file_s> schema_files_of(const std::string& directory,
                                           const std::string& identifier,
                                           const std::string& version) {
    std::vector<schema_file_s> found;
    for (schema_file_s& file : named_files(directory)) {
        if (file.identifier != identifier) {
            continue;
        }
        read_statements(file);
        if (version.empty() || version == file.version) {
            found.push_back(file);
        }
    }
    return found;
}

std::optional<std::string> schema_text(const schema_file_s& file) {
    std::ifstream in(file.path, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(in), {});
    return in.good() || in.eof() ? std::optional(text) : std::nullopt;
}
