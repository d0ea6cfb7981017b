// SPDX-License-Identifier: BSD-2-Clause

#include "answer.h"

#include <assert.h>
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "orvex_platform/sbuf.h"

/* The ends as the protocol spells them. */
static const char* const END_WORDS[] = {
    [DREND_ANSWER_COMPLETE] = "complete",
    [DREND_ANSWER_REFUSED] = "refused",
    [DREND_ANSWER_GIVEN_UP] = "given-up",
    [ANSWER_INTERRUPTED] = "interrupted",
};

/* For programs and for people; NULL where the words depend on the request. */
static const struct {
    int end;
    const char* code;
    const char* text;
} REFUSALS[] = {
    [REFUSAL_UNKNOWN_ENTRY] = {DREND_ANSWER_REFUSED, "unknown-entry", NULL},
    [REFUSAL_AMBIGUOUS_ENTRY] = {DREND_ANSWER_REFUSED, "ambiguous-entry", NULL},
    [REFUSAL_INCOMPLETE_ENTRY] = {DREND_ANSWER_REFUSED, "incomplete-entry", NULL},
    [REFUSAL_NO_HANDLER] = {DREND_ANSWER_REFUSED, "no-handler",
                            "this entry of the menu cannot be run"},
    [REFUSAL_FAILED] = {DREND_ANSWER_REFUSED, "failed", "the request failed"},
    [REFUSAL_UNAVAILABLE] = {DREND_ANSWER_GIVEN_UP, "unavailable", NULL},
    [REFUSAL_TOO_LONG] = {DREND_ANSWER_REFUSED, "too-long",
                          "a request has at most 65536 bytes"},
    [REFUSAL_NUL_BYTE] = {DREND_ANSWER_REFUSED, "nul-byte", "a request holds no NUL bytes"},
    [REFUSAL_UNKNOWN_PROTOCOL] = {DREND_ANSWER_REFUSED, "unknown-protocol",
                                  "there are the protocols 1 and 2"},
    [REFUSAL_INTERRUPTED] = {ANSWER_INTERRUPTED, "interrupted", "interrupted"},
};

int answer_begin(struct answer_s* answer, struct framed_output_s* output,
                 const char* media_type) {
    if (answer->protocol != PROTOCOL_STATUS || answer->has_begun || answer->has_ended)
        return 0;
    answer->has_begun = true;
    return framed_output_note(output, 't', media_type, strlen(media_type));
}

int answer_add(struct answer_s* answer, struct framed_output_s* output, const char* text,
               size_t length) {
    if (length == 0 || answer->has_ended)
        return 0;
    if (answer_begin(answer, output, "text/plain") != 0)
        return -1;
    answer->has_begun = true;
    return framed_output_add(output, text, length);
}

/* Appends a line of the status; whatever could end it early is a blank. */
static int append_line(str_buf_s* status, const char* name, const char* value) {
    int result = value == NULL ? 0 : sbuf_append(status, "%s: ", name);
    for (; value != NULL && *value != '\0' && result == 0; ++value)
        result = sbuf_append(status, "%c", (unsigned char)*value < ' ' ? ' ' : *value);
    return value == NULL || result != 0 ? result : sbuf_append(status, "\n");
}

int answer_end(struct answer_s* answer, struct framed_output_s* output,
               const drend_answer_end_s* end) {
    assert(0 <= end->end && end->end <= ANSWER_INTERRUPTED);
    if (answer->protocol != PROTOCOL_STATUS || answer->has_ended)
        return 0;
    answer->has_ended = true;
    char area[512];
    char rows[24];
    snprintf(rows, sizeof rows, "%" PRIu64, end->rows);
    str_buf_s* status;
    sbuf_init_buf(&status, area, sizeof area);
    const bool is_whole = append_line(status, "end", END_WORDS[end->end]) == 0 &&
                          append_line(status, "code", end->code) == 0 &&
                          append_line(status, "text", end->text) == 0 &&
                          append_line(status, "cursor", end->cursor) == 0 &&
                          append_line(status, "rows", end->has_rows ? rows : NULL) == 0;
    const int result =
        is_whole ? framed_output_note(output, 's', sbuf_str(status), sbuf_len(status)) : -1;
    sbuf_reset(status);
    return result;
}

static int add_line(struct answer_s* answer, struct framed_output_s* output,
                    const char* text) {
    const char* error = answer->has_begun ? "\nerror: " : "error: ";
    return answer_add(answer, output, error, strlen(error)) == 0 &&
                   answer_add(answer, output, text, strlen(text)) == 0 &&
                   answer_add(answer, output, "\n", 1) == 0
               ? 0
               : -1;
}

int answer_refuse(struct answer_s* answer, struct framed_output_s* output,
                  enum refusal_e refusal, const char* text) {
    const char* words = REFUSALS[refusal].text == NULL ? text : REFUSALS[refusal].text;
    int end = REFUSALS[refusal].end;
    if (end == DREND_ANSWER_REFUSED && answer->has_begun)
        end = DREND_ANSWER_GIVEN_UP;
    const drend_answer_end_s how = {
        .end = end, .code = REFUSALS[refusal].code, .text = words};
    return answer->protocol == PROTOCOL_STATUS ? answer_end(answer, output, &how)
                                               : add_line(answer, output, words);
}

int answer_finish(struct answer_s* answer, struct framed_output_s* output) {
    const drend_answer_end_s complete = {.end = DREND_ANSWER_COMPLETE};
    const int result = answer_end(answer, output, &complete);
    answer->has_begun = false;
    answer->has_ended = false;
    return result == 0 ? framed_output_end(output) : -1;
}
