// SPDX-License-Identifier: BSD-2-Clause

// The library as a daemon uses it: paths registered, definitions loaded, answers sent to the sink.
//
// Every failure ends the program with a message: a measure of something else would be worse.
#ifndef BENCH_LIBRARY_H
#define BENCH_LIBRARY_H

#include <string>

#include "bench/routes.h"
#include "drend.h"

// How the library sends: each text by itself, or collected where the library has a setter for it.
enum class sends_e { SINGLE, COLLECTED };
bool can_collect_sends();

// Installs the sink. To be called first.
void start_library(sends_e sends);

// Loads the entries of one definition file and expects `count` commands.
void load_definitions(const std::string& entries, unsigned count);

// The rows of every list of routes.
void set_routes(routes_t routes);
const route_s* route_of(dr_meta_context_s* ctx);

// A list procedure that steps through all the routes.
int step_routes(dr_meta_context_s* ctx, const void* data);

// Registers a list of routes at `path` with its eight leaves.
void register_routes(const std::string& path, drend_proc_t step);

// The definition of a list "route" at the source "route", with the eight leaves.
std::string route_list_tag(bool has_key);
// A command that shows the routes below `source`.
std::string routes_command(const std::string& name, const std::string& source,
                           bool has_key);

// Runs a command to its end, continuing it as often as it suspends.
void run_command(const char* name, const char* argument);

#endif
