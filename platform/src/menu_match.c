// SPDX-License-Identifier: BSD-2-Clause

#include "menu_match.h"

#include <stdbool.h>
#include <string.h>

/* How many names an error line lists, and how much of a strange word it repeats. */
enum { NAMES_MAX = 16, REPEATED_MAX = 64 };

struct word_s {
    const char* text;
    size_t length;
};

/* --- candidates: the entries that a word could mean -------------------------------- */

/* Steps through the entries that `word` begins, in a menu or in all of its sub-menus. */
struct candidates_s {
    struct word_s word;
    const drend_menu_entry_s* next;
    const drend_menu_entry_s* outer;     /* whose sub-menu `next` is in, or NULL */
    const drend_menu_entry_s* unvisited; /* the next outer entry, or NULL */
};

static bool begins(const drend_menu_entry_s* entry, struct word_s word) {
    return strncmp(entry->command, word.text, word.length) == 0;
}

static struct candidates_s in_menu(const drend_menu_entry_s* menu, struct word_s word) {
    const struct candidates_s list = {.word = word, .next = menu};
    return list;
}

static struct candidates_s in_submenus(const drend_menu_entry_s* menu, struct word_s word) {
    const struct candidates_s list = {.word = word, .unvisited = menu};
    return list;
}

/* Everything at the top of `menu` and in its sub-menus. */
static struct candidates_s everywhere(const drend_menu_entry_s* menu) {
    const struct candidates_s list = {.word = {"", 0}, .next = menu, .unvisited = menu};
    return list;
}

static const drend_menu_entry_s* next_candidate(struct candidates_s* list) {
    for (;;) {
        while (list->next != NULL && list->next->command != NULL) {
            const drend_menu_entry_s* entry = list->next++;
            if (begins(entry, list->word))
                return entry;
        }
        if (list->unvisited == NULL || list->unvisited->command == NULL)
            return NULL;
        list->outer = list->unvisited++;
        list->next = list->outer->submenu;
    }
}

/* What `word` could mean where `menu` stands; `is_first`: as the first word of a request. */
static struct candidates_s candidates_for(const drend_menu_entry_s* menu,
                                          struct word_s word, bool is_first) {
    struct candidates_s trial = in_menu(menu, word);
    const bool looks_deeper = is_first && next_candidate(&trial) == NULL;
    return looks_deeper ? in_submenus(menu, word) : in_menu(menu, word);
}

/* The entry that the word spells out or the only one that it begins; their number in `count`. */
static const drend_menu_entry_s* choose(struct candidates_s list, unsigned* count) {
    const drend_menu_entry_s* chosen = NULL;
    const drend_menu_entry_s* entry;
    *count = 0;
    while ((entry = next_candidate(&list)) != NULL) {
        if (entry->command[list.word.length] == '\0') {
            *count = 1;
            return entry;
        }
        chosen = entry;
        ++*count;
    }
    return *count == 1 ? chosen : NULL;
}

/* --- texts ------------------------------------------------------------------------- */

/* Appends a word that a peer sent, so that it cannot be mistaken for anything else. */
static void append_strange(str_buf_s* text, struct word_s word) {
    for (size_t i = 0; i < word.length && i < REPEATED_MAX; ++i) {
        const unsigned char byte = (unsigned char)word.text[i];
        const bool is_plain = byte >= ' ' && byte < 0x7f;
        sbuf_append(text, is_plain ? "%c" : "\\x%02x", byte);
    }
    if (word.length > REPEATED_MAX)
        sbuf_append(text, "...");
}

static void append_names(str_buf_s* text, struct candidates_s list) {
    const drend_menu_entry_s* entry;
    for (unsigned number = 0; (entry = next_candidate(&list)) != NULL; ++number) {
        if (number == NAMES_MAX) {
            sbuf_append(text, ", ...");
            break;
        }
        sbuf_append(text, "%s%s", number == 0 ? "" : ", ", entry->command);
    }
}

static enum menu_match_e refuse(str_buf_s* text, struct menu_match_s* found,
                                struct candidates_s meant, unsigned count,
                                struct candidates_s known) {
    sbuf_append(text, "'");
    found->refusal = count > 1 ? REFUSAL_AMBIGUOUS_ENTRY : REFUSAL_UNKNOWN_ENTRY;
    append_strange(text, meant.word);
    if (count > 1) {
        sbuf_append(text, "' is ambiguous: ");
        append_names(text, meant);
    } else {
        sbuf_append(text, "' is no command; there are: ");
        append_names(text, known);
    }
    return MENU_MATCH_REFUSED;
}

static enum menu_match_e refuse_incomplete(str_buf_s* text, struct menu_match_s* found,
                                           const char* way,
                                           const drend_menu_entry_s* menu) {
    const struct word_s any = {"", 0};
    found->refusal = REFUSAL_INCOMPLETE_ENTRY;
    sbuf_append(text, "'%s' needs one more word: ", way);
    append_names(text, in_menu(menu, any));
    return MENU_MATCH_REFUSED;
}

static void append_entry(str_buf_s* text, const char* way, const drend_menu_entry_s* outer,
                         const drend_menu_entry_s* entry) {
    if (*way != '\0')
        sbuf_append(text, "%s ", way);
    if (outer != NULL)
        sbuf_append(text, "%s ", outer->command);
    sbuf_append(text, "%s\t%s\n", entry->command, entry->help == NULL ? "" : entry->help);
}

/* Answers a question: entries that can be run with their ways, and what is below the others. */
static enum menu_match_e answer(str_buf_s* text, struct menu_match_s* found,
                                const char* way, const drend_menu_entry_s* menu,
                                struct word_s word, bool is_first) {
    struct candidates_s list = candidates_for(menu, word, is_first);
    const struct word_s any = {"", 0};
    const drend_menu_entry_s* meant;
    unsigned count = 0;
    for (; (meant = next_candidate(&list)) != NULL; ++count) {
        if (meant->handler != NULL || meant->submenu == NULL) {
            append_entry(text, way, list.outer, meant);
            continue;
        }
        struct candidates_s below = in_menu(meant->submenu, any);
        const drend_menu_entry_s* inner;
        while ((inner = next_candidate(&below)) != NULL) {
            append_entry(text, way, meant, inner);
        }
    }
    return count == 0 ? refuse(text, found, list, 0,
                               is_first ? everywhere(menu) : in_menu(menu, any))
                      : MENU_MATCH_ANSWER;
}

/* --- the words of a request -------------------------------------------------------- */

static const char* skip_blanks(const char* at) {
    return at + strspn(at, " \t");
}

static struct word_s word_at(const char* at) {
    const struct word_s word = {at, strcspn(at, " \t")};
    return word;
}

static bool is_question(struct word_s word) {
    return word.length > 0 && word.text[word.length - 1] == '?' &&
           *skip_blanks(word.text + word.length) == '\0';
}

/* Whether the last word of an argument is a "?" of its own, and no part of a value. */
static bool ends_in_question(const char* argument) {
    struct word_s word = {argument, 0};
    for (const char* at = argument; *at != '\0'; at = skip_blanks(at + word.length))
        word = word_at(at);
    return word.length == 1 && *word.text == '?';
}

static bool goes_deeper(const drend_menu_entry_s* entry, const char* rest) {
    if (entry->submenu == NULL)
        return false;
    struct word_s word = word_at(rest);
    word.length -= is_question(word) ? 1 : 0;
    struct candidates_s list = in_menu(entry->submenu, word);
    return entry->handler == NULL || (*rest != '\0' && next_candidate(&list) != NULL);
}

static enum menu_match_e match_from(const drend_menu_entry_s* menu, const char* rest,
                                    str_buf_s* way, struct menu_match_s* found,
                                    str_buf_s* text) {
    const struct word_s any = {"", 0};
    for (bool is_first = true;; is_first = false) {
        struct word_s word = word_at(rest);
        if (is_question(word)) {
            --word.length;
            return answer(text, found, sbuf_str(way), menu, word, is_first);
        }
        if (word.length == 0)
            return refuse_incomplete(text, found, sbuf_str(way), menu);
        unsigned count;
        const struct candidates_s meant = candidates_for(menu, word, is_first);
        const drend_menu_entry_s* entry = choose(meant, &count);
        if (entry == NULL)
            return refuse(text, found, meant, count,
                          is_first ? everywhere(menu) : in_menu(menu, any));
        rest = skip_blanks(word.text + word.length);
        if (!goes_deeper(entry, rest)) {
            found->entry = entry;
            found->argument = *rest == '\0' ? NULL : rest;
            return ends_in_question(rest) ? MENU_MATCH_QUESTION : MENU_MATCH_ENTRY;
        }
        sbuf_append(way, *sbuf_str(way) == '\0' ? "%s" : " %s", entry->command);
        menu = entry->submenu;
    }
}

enum menu_match_e menu_match(const drend_menu_entry_s* menu, const char* request,
                             struct menu_match_s* found, str_buf_s* text) {
    char area[256];
    str_buf_s* way;
    sbuf_init_buf(&way, area, sizeof area);
    const enum menu_match_e result =
        match_from(menu, skip_blanks(request), way, found, text);
    sbuf_reset(way);
    return result;
}
