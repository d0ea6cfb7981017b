// SPDX-License-Identifier: BSD-2-Clause

// What is made of the table of the format of definition files.
#pragma once

#include <string>
#include <string_view>

// The JSON Schema (2020-12) of a definition file.
std::string schema_text();

// The part called `name` of the reference, in Markdown; empty when there is none such.
std::string reference_part(std::string_view name);
