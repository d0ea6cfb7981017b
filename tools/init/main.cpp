// SPDX-License-Identifier: BSD-2-Clause

// drend-init: begins a definition file, from what a daemon has or what a schema says. See
// drend-init.1.
#include <algorithm>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "schema_tags.h"
#include "tools/common/standard_output.h"

namespace {

constexpr char PROGRAM[] = "drend-init";
constexpr int FAILED = 1;
constexpr int USAGE = 2;

struct options_s {
    std::vector<std::string> files;
    std::vector<std::string> folders;
    skeleton_options_s skeleton;
};

bool is_module(const std::string& file) {
    return file.ends_with(".yang") || file.ends_with(".yin");
}

// One model or any number of modules.
std::string fault_of(const std::vector<std::string>& files) {
    return files.size() == 1 || std::all_of(files.begin(), files.end(), is_module)
               ? ""
               : "several files must be YANG modules";
}

void add_options(CLI::App& app, options_s& options) {
    app.add_option("FILE", options.files,
                   "A schema dump, JSON data, or YANG modules (*.yang, *.yin)")
        ->required();
    app.add_option("--path", options.folders, "Look for imported modules in DIR, too")
        ->type_name("DIR")
        ->allow_extra_args(false);
    app.add_option("--command", options.skeleton.command,
                   "Call the commands NAME; otherwise show- and what they show")
        ->type_name("NAME");
    app.add_option("--app", options.skeleton.application, "The daemon that serves them")
        ->type_name("NAME");
    app.set_version_flag("--version", "drend-init " DREND_VERSION);
}

int run(const options_s& options) {
    const std::string text = skeleton_text(
        is_module(options.files[0]) ? read_yang_tags(options.files, options.folders)
                                    : read_model_tags(options.files[0]),
        options.skeleton);
    fputs(text.c_str(), stdout);
    return end_of_output(PROGRAM, 0, FAILED);
}

} // namespace

int main(int argc, char** argv) try {
    options_s options;
    CLI::App app("Begins a definition file, from a schema.", PROGRAM);
    add_options(app, options);
    try {
        app.parse(argc, argv);
        const std::string fault = fault_of(options.files);
        if (!fault.empty()) {
            throw CLI::ValidationError("FILE", fault);
        }
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? end_of_output(PROGRAM, 0, FAILED) : USAGE;
    }
    return run(options);
} catch (const std::exception& error) {
    fprintf(stderr, "%s: %s\n", PROGRAM, error.what());
    return FAILED;
}
