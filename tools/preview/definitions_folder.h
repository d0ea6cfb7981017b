// SPDX-License-Identifier: BSD-2-Clause

// definitions_folder_c: a file or directory of definitions where the library looks for some.
//
// The library reads "usr/lib/render" below a prefix. A folder of this program's own stands for that
// prefix, with links to what the user named; it goes with the object.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

class definitions_folder_c {
  public:
    // Throws std::runtime_error when there is nothing to be read.
    explicit definitions_folder_c(const std::filesystem::path& named);
    ~definitions_folder_c();
    definitions_folder_c(const definitions_folder_c&) = delete;
    definitions_folder_c& operator=(const definitions_folder_c&) = delete;

    std::string prefix() const { return own_.string(); }
    const std::vector<std::filesystem::path>& files() const { return files_; }

    // Calls what loads definitions; what standard error is told of them names the user's files.
    void load(const std::function<void()>& function) const;

  private:
    void link();

    const std::filesystem::path named_;
    std::vector<std::filesystem::path> files_;
    std::filesystem::path own_;
    std::string place_; // what the library calls what the user named
};
