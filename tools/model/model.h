// SPDX-License-Identifier: BSD-2-Clause

// The data that definitions are checked against, from a file.
#pragma once

#include <string>

// The leaf of an array's values that are no objects.
inline constexpr char MODEL_SCALAR[] = "value";

// Registers the paths of a file: a daemon's schema dump (a path and its kind on each line) or JSON
// data, where objects are containers, arrays of objects lists, other arrays lists with the leaf
// "value", and everything else leaves. Empty, or why that could not be done.
std::string register_model(const std::string& path);
