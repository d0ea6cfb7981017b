// SPDX-License-Identifier: BSD-2-Clause
/*
 * A daemon without an event loop, and what it asks of one.
 *
 * The daemon has a table of ports. It reads requests from standard input, one to a line, and
 * answers them on standard output, one at a time:
 *
 *     show-ports [ARGUMENT]   the table; refused while an answer is under way
 *     cancel                  gives up the answer that is under way
 *
 * poll_loop.c and uv_loop.c are two loops for it. Everything runs on the one thread.
 */
#ifndef PORTS_H
#define PORTS_H

/* The loop. */

/* Has the suspended `walk` continued when the loop is idle: a reschedule handler. */
void continue_later(void* arg, void* walk);

/* Takes `walk` out of what is to be continued. */
void forget(void* walk);

/* The daemon. */

/*
 * Registers the ports and loads the definitions below the prefix argv[1]. With a number argv[2]
 * an answer is suspended after each so many rows. 0 when the daemon is ready.
 */
int ports_start(int argc, char** argv);

/* Reads and answers what has come in. 0 at the end of the input. */
int ports_read(void);

/* The answer that was under way is complete, or has been given up. */
void ports_answer_is_over(void);

/* Says on standard error in how many slices the answers were given. */
void ports_end(void);

#endif
