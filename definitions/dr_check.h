// SPDX-License-Identifier: BSD-2-Clause

// Checks of definitions beyond single tags: what commands are to each other, and to the data.
#pragma once

#include "definitions/drend_load.h"

// Of a set that was read and is not merged yet: parts of a merged schema.
void dri_check_commands(const dr_daemon_context_c& set, dr_findings_c& findings);

// Looks sources up in the registered data; no-op while there is none.
void dri_check_model(const dr_daemon_context_c& set, dr_findings_c& findings);

// All findings for what is loaded, or for files and the files of directories.
void dri_check_loaded(dr_findings_c& findings);
void dri_check_files(const std::vector<std::string>& paths, dr_findings_c& findings);
