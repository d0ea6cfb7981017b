// SPDX-License-Identifier: BSD-2-Clause
/*
 * Finds the menu entry that a request means.
 *
 *     request   drend show-i name=lo
 *               ----- ------ -------
 *     menu      "drend" -> "show-interfaces", run with the argument "name=lo"
 *
 *  1. A word is the entry that it spells out, or the only one that it begins.
 *  2. A first word that no entry of the menu begins with is looked for in its sub-menus.
 *  3. A last word that ends in "?" asks for what could stand there. In an argument it is the end of
 *     a value, but for a "?" of its own.
 *
 * Plain functions over the menu; nothing is kept.
 */
#ifndef ORVEX_PLATFORM_MENU_MATCH_H
#define ORVEX_PLATFORM_MENU_MATCH_H

#include "answer.h"
#include "drend.h"
#include "orvex_platform/sbuf.h"

#ifdef __cplusplus
extern "C" {
#endif

enum menu_match_e {
    MENU_MATCH_ENTRY,    /* an entry is to be run */
    MENU_MATCH_ANSWER,   /* the request was a question, and this is its answer */
    MENU_MATCH_QUESTION, /* what could follow an entry that no other can follow */
    MENU_MATCH_REFUSED,  /* no entry, or more than one; a sentence says which */
};

struct menu_match_s {
    const drend_menu_entry_s* entry; /* to be run, or asked about */
    const char* argument;            /* its argument text within the request, or NULL */
    enum refusal_e refusal;
};

/*
 * Matches `request`, a line without its end. What belongs to the result is set in `found`; an
 * answer's lines, or the sentence of a refusal, are appended to `text`.
 */
enum menu_match_e menu_match(const drend_menu_entry_s* menu, const char* request,
                             struct menu_match_s* found, str_buf_s* text);

#ifdef __cplusplus
}
#endif

#endif
