// SPDX-License-Identifier: BSD-2-Clause

// The tags of schemas. What leads from one to the next is the element's own name: a daemon that has
// its data yet to write registers the paths that the schema has.
//
// Throws std::runtime_error with one line when there are none.
#pragma once

#include <string>
#include <vector>

#include "skeleton.h"

// How deep a schema may be; what is deeper is no schema of a daemon.
inline constexpr size_t SCHEMA_LEVELS_MAX = 256;

// Of a daemon's schema dump, or of JSON data. Keys and types are in neither, but for whole numbers
// in data.
std::vector<skeleton_tag_s> read_model_tags(const std::string& file);

// Of the data of YANG modules, with all their features and with what they add to each other.
// Imported modules are looked for beside them and in `folders`. Deprecated and obsolete nodes are
// left out, and so are operations, notifications and data of any form.
std::vector<skeleton_tag_s> read_yang_tags(const std::vector<std::string>& files,
                                           const std::vector<std::string>& folders);
