// SPDX-License-Identifier: BSD-2-Clause

// Doing something again whenever a file changes.
#pragma once

#include <filesystem>
#include <functional>
#include <vector>

// Runs `function` in a process of its own, now and after each change of the JSON files in, or the
// files at, `places`; what it returns is that process's status. Throws std::system_error; otherwise
// a signal ends it.
[[noreturn]] void run_on_changes(const std::vector<std::filesystem::path>& places,
                                 const std::function<int()>& function);
