// SPDX-License-Identifier: BSD-2-Clause

// Findings in the format of code reviews: SARIF 2.1.0.
#pragma once

#include <string>
#include <vector>

#include "definitions/dr_findings.h"

std::string sarif_text(const std::vector<dr_finding_s>& findings, const char* version);
