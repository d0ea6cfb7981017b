// SPDX-License-Identifier: BSD-2-Clause

#include "daemon_registry.h"

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <system_error>

#include "regular_file.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t ENTRY_MAX = 1 << 20; // bytes of a file

void take_line(const std::string& line, daemon_s& daemon) {
    const std::size_t blank = line.find(' ');
    const std::string word = line.substr(0, blank);
    const std::string value = blank == std::string::npos ? "" : line.substr(blank + 1);
    if (word == "socket") {
        daemon.socket = value;
    } else if (word == "module") {
        daemon.modules.push_back(value);
    }
}

daemon_s daemon_of(const fs::path& file, const std::string& text) {
    daemon_s daemon{file.stem().string(), "", {}};
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        take_line(line, daemon);
    }
    return daemon;
}

// A daemon that has ended since its file was seen is none.
std::error_code take_entry(const fs::path& file, std::vector<daemon_s>& daemons) {
    std::string text;
    const std::error_code failure = read_regular_file(file.string(), ENTRY_MAX, text);
    if (!failure) {
        daemons.push_back(daemon_of(file, text));
    }
    return failure == std::errc::no_such_file_or_directory ? std::error_code() : failure;
}

std::string namespace_of(const std::string& module) {
    return module.substr(0, module.find('?'));
}

} // namespace

bool read_registry(const std::string& run_dir, std::vector<daemon_s>& daemons,
                   std::string& error) {
    std::vector<fs::path> files;
    std::string place = run_dir;
    std::error_code failure = list_directory(run_dir, files);
    daemons.clear();
    for (auto file = files.begin(); !failure && file != files.end(); ++file) {
        if (file->extension() == ".daemon") {
            place = file->string();
            failure = take_entry(*file, daemons);
        }
    }
    std::sort(daemons.begin(), daemons.end(),
              [](const daemon_s& a, const daemon_s& b) { return a.name < b.name; });
    error = failure ? "cannot read " + place + ": " + failure.message() : "";
    return !failure;
}

bool has_namespace(const daemon_s& daemon, const std::string& xmlns) {
    return std::any_of(
        daemon.modules.begin(), daemon.modules.end(),
        [&](const std::string& module) { return namespace_of(module) == xmlns; });
}

bool is_concerned(const daemon_s& daemon, const filter_t* filter) {
    const auto may_select = [&](const filter_element_s& element) {
        return element.name.xmlns.empty() || daemon.modules.empty() ||
               has_namespace(daemon, element.name.xmlns);
    };
    return filter == nullptr || std::any_of(filter->begin(), filter->end(), may_select);
}
