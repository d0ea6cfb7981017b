// SPDX-License-Identifier: BSD-2-Clause

#include "daemon_registry.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace {

namespace fs = std::filesystem;

constexpr std::size_t LINES_MAX = 1024; // of a file; what is beyond is passed over

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

daemon_s read_entry(const fs::path& file) {
    daemon_s daemon{file.stem().string(), "", {}};
    std::ifstream in(file);
    std::string line;
    for (std::size_t lines = 0; lines < LINES_MAX && std::getline(in, line); ++lines) {
        take_line(line, daemon);
    }
    return daemon;
}

std::string namespace_of(const std::string& module) {
    return module.substr(0, module.find('?'));
}

} // namespace

bool read_registry(const std::string& run_dir, std::vector<daemon_s>& daemons,
                   std::string& error) {
    std::error_code failure;
    daemons.clear();
    fs::directory_iterator files(run_dir, failure);
    for (const fs::directory_iterator end; !failure && files != end;
         files.increment(failure)) {
        if (files->path().extension() == ".daemon") {
            daemons.push_back(read_entry(files->path()));
        }
    }
    std::sort(daemons.begin(), daemons.end(),
              [](const daemon_s& a, const daemon_s& b) { return a.name < b.name; });
    error = failure ? "cannot read " + run_dir + ": " + failure.message() : "";
    return !failure;
}

bool has_namespace(const daemon_s& daemon, const std::string& xmlns) {
    return std::any_of(
        daemon.modules.begin(), daemon.modules.end(),
        [&](const std::string& module) { return namespace_of(module) == xmlns; });
}

bool is_concerned(const daemon_s& daemon, const filter_element_s& element) {
    return element.name.xmlns.empty() || daemon.modules.empty() ||
           has_namespace(daemon, element.name.xmlns);
}
