// SPDX-License-Identifier: BSD-2-Clause

// The YANG modules that clients may fetch: files NAME@REVISION.yang, or NAME.yang, of a directory.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct schema_file_s {
    std::string identifier;
    std::string version; // the revision; empty: none
    std::string xmlns;   // of a submodule that of its module, if that is there; else empty
    std::string path;
    std::string module{}; // that a submodule belongs to; empty: it is a module
    std::vector<std::string> includes{}; // the names of submodules

    bool is_submodule() const { return !module.empty(); }
};

// In the order of their names, each revision once; none without a namespace. None at all when the
// directory cannot be read.
std::vector<schema_file_s> schema_files(const std::string& directory);

// Those of a module, of each revision unless one is named. Names that are none of a module find
// nothing, wherever they would lead.
std::vector<schema_file_s> schema_files_of(const std::string& directory,
                                           const std::string& identifier,
                                           const std::string& version);

// Nothing when it cannot be read, or is too long.
std::optional<std::string> schema_text(const schema_file_s& file);
