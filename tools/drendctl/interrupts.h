// SPDX-License-Identifier: BSD-2-Clause

// The signals that drendctl follows, in a form that can be waited for.
//
// SIGINT is counted and does not end the process; SIGWINCH and SIGCONT are noted, for the prompt to
// be drawn anew. Each makes the file descriptor of interrupt_fd readable, so that a poll that
// watches it misses none. SIGPIPE is ignored: writing says that nobody reads.
#pragma once

void install_interrupts();

// How many SIGINT there were since the last forget_interrupts.
int interrupt_count();
void forget_interrupts();

// Whether the terminal changed since this was asked last.
bool take_terminal_change();

// Readable after a signal, until it is drained.
int interrupt_fd();
void drain_interrupt_fd();
