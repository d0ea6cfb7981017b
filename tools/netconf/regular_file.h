// SPDX-License-Identifier: BSD-2-Clause

// Files in directories where others may put whatever they like: a pipe would be waited for, and a
// device has no end.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

// Adds what is in a directory to `files`. The reason when it cannot be read, which file_too_large
// is, too: there are more than those that were added.
std::error_code list_directory(const std::string& directory,
                               std::vector<std::filesystem::path>& files);

// Opens a regular file for reading, by no symbolic link. -1, with errno, when it cannot.
int open_regular_file(const std::string& path);

// Reads a regular file to its end into `text`. The reason when it cannot, which file_too_large is,
// too: more than `most` bytes.
std::error_code read_regular_file(const std::string& path, std::size_t most,
                                  std::string& text);
