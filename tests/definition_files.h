// SPDX-License-Identifier: BSD-2-Clause

// Definitions for tests: files in a directory of their own, and sets read from them.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "definitions/drend_load.h"

// A directory for files, removed at the end.
class definition_files_c {
  public:
    definition_files_c() {
        std::string pattern = testing::TempDir() + "drendXXXXXX";
        directory_ = mkdtemp(pattern.data());
    }
    ~definition_files_c() { std::filesystem::remove_all(directory_); }

    const std::string& directory() const { return directory_; }
    // Writes the file `name` and returns its path. In `text` ` stands for a double quote.
    std::string write(const std::string& name, std::string text) const {
        std::replace(text.begin(), text.end(), '`', '"');
        const std::string path = directory_ + "/" + name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << text;
        return path;
    }
    // Writes and reads one more file into `set`; the status.
    int read(const std::string& text, dr_daemon_context_c& set) const {
        const int status = dri_load_file(write("one.json", text).c_str(), set);
        set.index_names();
        return status;
    }

  private:
    std::string directory_;
};

// The tag tree as dri_dump_render_tree prints it.
inline std::string dump_of(const drend_tag_c* tag) {
    dr_str_buf_c text;
    tag->dump(text.buf(), 0);
    return text.c_str();
}

// name(kid, kid(kid)): the names alone, "*" behind combined ones.
inline std::string names_of(const drend_tag_c* tag) {
    std::string text = tag->name() + (tag->is_combined() ? "*" : "");
    std::string separator = "(";
    for (const drend_tag_c* kid : tag->dt_kids) {
        text += separator + names_of(kid);
        separator = ", ";
    }
    return tag->dt_kids.empty() ? text : text + ")";
}
