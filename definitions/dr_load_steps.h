// SPDX-License-Identifier: BSD-2-Clause

// The steps of a load: finding files, reading one, understanding its text. What is wrong with a
// file is a finding; memory that runs out is std::bad_alloc, wherever it does.
#pragma once

#include <string>
#include <vector>

#include "definitions/dr_findings.h"
#include "definitions/drend_load.h"

// The directories that a load looks into: `directory`, or the render directories when it is null.
std::vector<std::string> dri_directories(const char* directory);
// The shell pattern of the files of application `name`; null: of all files.
std::string dri_pattern(const char* name);
// Appends the paths of the files in `directory` that match, in its order. One that is missing has
// none; one that cannot be read is a finding.
void dri_append_matches(const std::string& directory, const char* pattern,
                        std::vector<std::string>& out, dr_findings_c& findings);

// The text of a regular file. False when there is none at `path`, and with a finding when what is
// there is something else or cannot be read. Waits for nobody.
bool dri_read_text(const char* path, std::string& text, dr_findings_c& findings);

// Adds what a file's text defines to a set. 0, or -1 when it is no list of entries.
int dri_read_definitions(const char* path, const std::string& text,
                         dr_daemon_context_c& set, dr_findings_c& findings);
