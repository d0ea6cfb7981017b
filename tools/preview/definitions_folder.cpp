// SPDX-License-Identifier: BSD-2-Clause

#include "definitions_folder.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> files_of(const fs::path& named) {
    std::vector<fs::path> files;
    if (!fs::is_directory(named)) {
        if (!fs::exists(named)) {
            throw std::runtime_error(named.string() + ": No such file or directory");
        }
        return {named};
    }
    for (const fs::directory_entry& entry : fs::directory_iterator(named)) {
        if (entry.path().extension() == ".json") {
            files.push_back(entry.path());
        }
    }
    if (files.empty()) {
        throw std::runtime_error(named.string() + ": no file is called *.json");
    }
    std::sort(files.begin(), files.end());
    return files;
}

void replace_all(std::string& text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

} // namespace

definitions_folder_c::definitions_folder_c(const fs::path& named)
    : named_(named), files_(files_of(named)) {
    std::string pattern = (fs::temp_directory_path() / "drend-preview-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    own_ = pattern;
    link();
}

void definitions_folder_c::link() {
    const fs::path folder = own_ / "usr/lib/render";
    fs::create_directories(folder.parent_path());
    if (fs::is_directory(named_)) {
        fs::create_directory_symlink(fs::absolute(named_), folder);
        place_ = folder.string();
        return;
    }
    fs::create_directory(folder);
    const fs::path link = folder / (named_.stem().string() + ".json");
    fs::create_symlink(fs::absolute(named_), link);
    place_ = link.string();
}

definitions_folder_c::~definitions_folder_c() {
    std::error_code error; // nobody would know what to do about it
    fs::remove_all(own_, error);
}

void definitions_folder_c::load(const std::function<void()>& function) const {
    fflush(stderr);
    FILE* told = tmpfile();
    const int standard_error = dup(STDERR_FILENO);
    if (told == nullptr || standard_error == -1) {
        throw std::system_error(errno, std::generic_category(), "standard error");
    }
    dup2(fileno(told), STDERR_FILENO);
    function();
    fflush(stderr);
    dup2(standard_error, STDERR_FILENO);
    close(standard_error);
    std::string text;
    rewind(told);
    for (int c = fgetc(told); c != EOF; c = fgetc(told)) {
        text += static_cast<char>(c);
    }
    fclose(told);
    replace_all(text, place_, named_.string());
    fputs(text.c_str(), stderr);
}
