// SPDX-License-Identifier: BSD-2-Clause

// drend-preview: shows what definitions make of data, without a daemon. See drend-preview.1.

#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "definitions_folder.h"
#include "drend.h"
#include "orvex_platform/mgmt_sock.h"
#include "sample_data.h"
#include "serving.h"
#include "tools/common/standard_output.h"
#include "watching.h"

namespace {

constexpr char PROGRAM[] = "drend-preview";
constexpr int FAILED = 1;
constexpr int NOTHING_SHOWN = 4;
constexpr int USAGE = 2;

struct options_s {
    std::string definitions;
    std::string command;
    std::vector<std::string> arguments;
    std::string data;
    uint32_t seed = 1;
    const CLI::Option* given_data = nullptr; // not to be looked up, which takes memory
    bool is_json = false;
    bool is_table = false;
    bool prints_data = false;
    bool is_watching = false;
    std::string filter;
    std::string socket;
};

void add_options(CLI::App& app, options_s& options) {
    app.add_option("DIR|FILE", options.definitions,
                   "Definitions: a file, or all of a directory")
        ->required();
    app.add_option("COMMAND", options.command,
                   "The command to show; without it all are listed");
    app.add_option("ARGUMENT", options.arguments, "Arguments of the command");
    CLI::Option* data =
        app.add_option("--data", options.data, "Take the data from the JSON file FILE")
            ->type_name("FILE");
    options.given_data = data;
    app.add_option("--seed", options.seed, "Make up other data, the same for the same N")
        ->type_name("N")
        ->excludes(data);
    app.add_flag("--print-data", options.prints_data, "Print the data that is made up")
        ->excludes(data);
    auto* as_json = app.add_flag("--json", options.is_json, "Show JSON");
    app.add_flag("--table", options.is_table, "Show a table")->excludes(as_json);
    app.add_option("--filter", options.filter, "Show what the filter EXPR fits")
        ->type_name("EXPR");
    auto* watch =
        app.add_flag("--watch", options.is_watching, "Show it again after each change");
    app.add_option("--serve", options.socket, "Serve it on the management socket PATH")
        ->type_name("PATH")
        ->excludes(watch);
    app.set_version_flag("--version", "drend-preview " DREND_VERSION);
}

// The filter in the quotes of argument texts; what is quoted cannot end in a backslash.
std::string quoted(const std::string& value) {
    if (value.ends_with('\\')) {
        throw std::runtime_error("a filter cannot end in a backslash");
    }
    std::string text = "\"";
    for (const char c : value) {
        text += c == '"' ? "\\\"" : std::string(1, c);
    }
    return text + "\"";
}

std::string argument_text(const options_s& options) {
    std::string text;
    for (const std::string& argument : options.arguments) {
        text += argument + " ";
    }
    text += options.is_json ? "as-json " : "";
    text += options.is_table ? "as-table " : "";
    text += options.filter.empty() ? "" : "filter=" + quoted(options.filter);
    return text;
}

int list_commands(FILE* stream) {
    // The fixed commands stand behind those of definitions, with other help.
    for (unsigned n = 0; n < drend_menu_get_count(); ++n) {
        const char* help = drend_menu_get_command_help(n);
        fprintf(stream, "%-32s %s\n", drend_menu_get_command_string(n),
                help == nullptr ? "" : help);
    }
    return 0;
}

bool is_command(const std::string& name) {
    for (unsigned n = 0; n < drend_menu_get_count(); ++n) {
        if (name == drend_menu_get_command_string(n)) {
            return true;
        }
    }
    return false;
}

int show(const options_s& options) {
    if (options.command.empty()) {
        return list_commands(stdout);
    }
    if (!is_command(options.command)) {
        fprintf(stderr, "drend-preview: no command '%s'; there are:\n",
                options.command.c_str());
        list_commands(stderr);
        return 1;
    }
    drend_chars_sent_reset();
    const std::string argument = argument_text(options);
    if (drend_dump_rpc(nullptr, options.command.c_str(),
                       argument.empty() ? nullptr : argument.c_str()) != 0) {
        return 1;
    }
    const bool is_shown = drend_chars_sent_reset() > 0;
    if (!is_shown) {
        fprintf(stderr, "drend-preview: there is nothing to show\n");
    }
    return is_shown ? 0 : NOTHING_SHOWN;
}

int load_data(const options_s& options, const definitions_folder_c& definitions) {
    char error[512];
    const int status =
        options.given_data->count() > 0
            ? dr_ops_load_from_json_file("preview", options.data.c_str(), error,
                                         sizeof error)
            : dr_ops_load_from_json(
                  "preview", make_sample_data(definitions.files(), options.seed).c_str(),
                  error, sizeof error);
    if (status != DREND_OK) {
        fprintf(stderr, "%s\n", error);
    }
    return status;
}

int run(const options_s& options) {
    const definitions_folder_c definitions(options.definitions);
    if (options.prints_data) {
        puts(make_sample_data(definitions.files(), options.seed).c_str());
        return 0;
    }
    if (load_data(options, definitions) != DREND_OK) {
        return 1;
    }
    drend_set_prefix(definitions.prefix().c_str());
    drend_set_strict(1); // who asks is told what is wrong
    if (!options.socket.empty()) {
        drend_set_send_method_w_return(mgmt_sock_send);
        return serve(definitions, options.socket);
    }
    definitions.load([] { drend_dir_init(); });
    return show(options);
}

} // namespace

int main(int argc, char** argv) try {
    options_s options;
    CLI::App app("Shows what definitions make of data, without a daemon.", PROGRAM);
    add_options(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? end_of_output(PROGRAM, 0, FAILED) : USAGE;
    }
    if (!options.is_watching) {
        return end_of_output(PROGRAM, run(options), FAILED);
    }
    std::vector<std::filesystem::path> places{options.definitions};
    if (options.given_data->count() > 0) {
        places.emplace_back(options.data);
    }
    run_on_changes(places, [&] { return run(options); });
} catch (const std::exception& error) {
    fprintf(stderr, "drend-preview: %s\n", error.what());
    return 1;
}
