// SPDX-License-Identifier: BSD-2-Clause

// The prompt: one request after the other, typed with history and completion.
//
// Tab completes the word at the cursor, "?" shows what could stand there; both ask the daemon.
// SIGINT drops the line that is being typed. The history outlives the program in a file, if that
// can be written.
#pragma once

#include "client.h"

// Runs until "exit", "quit" or the end of the input. Zero, or the outcome of a daemon that cannot
// be reached from the beginning.
outcome_e run_prompt(client_c& client);
