// SPDX-License-Identifier: BSD-2-Clause

// drend-lint: what is wrong with definition files, without a daemon. See drend-lint.1.
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "definitions/dr_check.h"
#include "sarif.h"
#include "tools/common/standard_output.h"
#include "tools/model/model.h"

namespace {

constexpr char PROGRAM[] = "drend-lint";

enum status_e : int { CLEAN = 0, HAS_FINDINGS = 1, FAILED = 2 };

struct options_s {
    std::vector<std::string> paths;
    std::string model;
    std::string format = "text";
    bool is_strict = false;
};

void add_options(CLI::App& app, options_s& options) {
    app.add_option("PATH", options.paths, "Files, or directories of *.json files")
        ->required();
    app.add_option("--model", options.model,
                   "Check sources against FILE: a schema dump or JSON data")
        ->type_name("FILE");
    app.add_option("--format", options.format, "Print text, json or sarif")
        ->type_name("FORMAT")
        ->check(CLI::IsMember({"text", "json", "sarif"}))
        ->capture_default_str();
    app.add_flag("--strict", options.is_strict, "Fail on warnings, too");
    app.set_version_flag("--version", "drend-lint " DREND_VERSION);
}

std::string text_of(const dr_findings_c& findings) {
    std::string text;
    for (const dr_finding_s& finding : findings.all()) {
        text += dri_finding_line(finding) + "\n";
    }
    return findings.more() == 0
               ? text
               : text + std::to_string(findings.more()) + " more findings\n";
}

std::string printed(const dr_findings_c& findings, const std::string& format) {
    if (format == "json") {
        return dri_findings_json(findings.all());
    }
    return format == "sarif" ? sarif_text(findings.all(), DREND_VERSION)
                             : text_of(findings);
}

int run(const options_s& options) {
    if (!options.model.empty()) {
        const std::string fault = register_model(options.model);
        if (!fault.empty()) {
            fprintf(stderr, "%s: %s: %s\n", PROGRAM, options.model.c_str(), fault.c_str());
            return FAILED;
        }
    }
    dr_findings_c findings;
    dri_check_files(options.paths, findings);
    const std::string text = printed(findings, options.format);
    fputs(text.c_str(), stdout);
    const bool fails =
        findings.errors() > 0 || (options.is_strict && !findings.all().empty());
    return end_of_output(PROGRAM, fails ? HAS_FINDINGS : CLEAN, FAILED);
}

} // namespace

int main(int argc, char** argv) try {
    options_s options;
    CLI::App app("Says what is wrong with definition files.", PROGRAM);
    add_options(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? end_of_output(PROGRAM, CLEAN, FAILED) : FAILED;
    }
    return run(options);
} catch (const std::exception& error) {
    fprintf(stderr, "%s: %s\n", PROGRAM, error.what());
    return FAILED;
}
