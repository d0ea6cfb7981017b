// SPDX-License-Identifier: BSD-2-Clause
/*
 * One answer on its way into a connection's output, in the protocol that its peer has asked for.
 *
 *     protocol 1   text ... [a line "error: ..."]     how it ended is a part of the text
 *     protocol 2   [media type, text ...] status      it is not
 *
 *  1. In protocol 2 a media type precedes the first text and a status ends the answer: what its
 *     handler or the library has said, else "text/plain" and "complete".
 *  2. What a handler sends behind the status of its answer is no part of it and dropped.
 */
#ifndef ORVEX_PLATFORM_ANSWER_H
#define ORVEX_PLATFORM_ANSWER_H

#include <stdbool.h>
#include <stddef.h>

#include "drend.h"
#include "framed_output.h"

enum protocol_e { PROTOCOL_TEXT = 1, PROTOCOL_STATUS = 2 };

/* Beside those of the library. */
enum { ANSWER_INTERRUPTED = DREND_ANSWER_GIVEN_UP + 1 };

/* Why the server itself refuses a request or gives its answer up. */
enum refusal_e {
    REFUSAL_UNKNOWN_ENTRY,
    REFUSAL_AMBIGUOUS_ENTRY,
    REFUSAL_INCOMPLETE_ENTRY,
    REFUSAL_NO_HANDLER,
    REFUSAL_FAILED,
    REFUSAL_UNAVAILABLE,
    REFUSAL_TOO_LONG,
    REFUSAL_NUL_BYTE,
    REFUSAL_UNKNOWN_PROTOCOL,
    REFUSAL_INTERRUPTED,
};

struct answer_s {
    enum protocol_e protocol; /* 0 as 1 */
    bool has_begun;           /* something of it was sent */
    bool has_ended;           /* its status was */
};

/* Each: 0, or -1 when memory ran out. */

/* Says what the text is. Once; later calls do nothing. */
int answer_begin(struct answer_s* answer, struct framed_output_s* output,
                 const char* media_type);
int answer_add(struct answer_s* answer, struct framed_output_s* output, const char* text,
               size_t length);
/* Says in protocol 2 how it ended. The first end counts. */
int answer_end(struct answer_s* answer, struct framed_output_s* output,
               const drend_answer_end_s* end);
/* Ends it because of a refusal, with the refusal's own words or, where it has none, with `text`, a
 * line without its end: in protocol 1 a line of it. */
int answer_refuse(struct answer_s* answer, struct framed_output_s* output,
                  enum refusal_e refusal, const char* text);
/* Ends its framing, as complete unless it was said otherwise; the next one may begin. */
int answer_finish(struct answer_s* answer, struct framed_output_s* output);

#endif
