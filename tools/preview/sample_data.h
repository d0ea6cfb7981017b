// SPDX-License-Identifier: BSD-2-Clause

// Data for definitions that come without any: every source of theirs has a value of its tag's type.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// The text of a data set. The same files and seed give the same one. What is no definition in a
// file is passed over: loading it says so.
std::string make_sample_data(const std::vector<std::filesystem::path>& files,
                             uint32_t seed);
