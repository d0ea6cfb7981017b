// SPDX-License-Identifier: BSD-2-Clause
/*
 * shelfd: a daemon in C whose data is no flat table. Shelves hold cards; a request for one shelf
 * goes straight to it; a card's fault is there or not; a card names its counters itself.
 *
 *     shelfd DIRECTORY [COMMAND [ARGUMENT]]
 *     shelfd DIRECTORY faults
 *
 * The definitions are in DIRECTORY/usr/lib/render. docs/accessors.md shows the parts.
 */
#include <drend.h>
#include <string.h>

struct counter {
    const char* name; /* NULL behind the last */
    uint64_t value;
};

struct card {
    uint32_t slot;
    unsigned char mac[6];
    const char* fault; /* NULL: none */
    struct counter counters[4];
};

struct shelf {
    const char* name;
    const struct card* cards;
    size_t card_count;
};

static const struct card left_cards[] = {
    {1, {0x02, 0, 0x5e, 0, 0, 1}, NULL, {{"in-frames", 10}, {"out-frames", 20}}},
    {2, {0x02, 0, 0x5e, 0, 0, 2}, "no power", {{"crc-errors", 3}, {"in-frames", 7}}},
};
static const struct card right_cards[] = {{1, {0x02, 0, 0x5e, 0, 1, 1}, NULL, {{NULL, 0}}}};
static const struct shelf shelves[] = {
    {"left", left_cards, 2}, {"right", right_cards, 1}, {"spare", NULL, 0}};
static const struct shelf* const shelves_end = shelves + sizeof shelves / sizeof shelves[0];

/* [list] */
/* What a list procedure does last: hand over a row, or say that there are no more. */
static int give(dr_meta_context_s* ctx, const void* row) {
    drend_set_element_ref(ctx, row);
    return row == NULL ? DREND_NO_EL : DREND_OK;
}

static int next_card(dr_meta_context_s* ctx, const void* data) {
    const struct shelf* shelf = drend_get_element_ref_offset(ctx, 1);
    const struct card* card = drend_get_element_ref(ctx);
    (void)data;
    if (shelf == NULL)
        return DREND_ERR; /* a definition led here without a shelf */
    const size_t next = card == NULL ? 0 : (size_t)(card - shelf->cards) + 1;
    return give(ctx, next < shelf->card_count ? &shelf->cards[next] : NULL);
}
/* [end] */

static const struct shelf* shelf_of_name(const char* name) {
    const struct shelf* shelf = shelves;
    while (shelf < shelves_end && strcmp(shelf->name, name) != 0)
        ++shelf;
    return shelf < shelves_end ? shelf : NULL;
}

static int next_shelf(dr_meta_context_s* ctx, const void* data) {
    const struct shelf* shelf = drend_get_element_ref(ctx);
    const char* wanted = drend_get_filter_name(ctx, "name");
    (void)data;
    if (wanted != NULL)
        return give(ctx, shelf == NULL ? shelf_of_name(wanted) : NULL);
    shelf = shelf == NULL ? shelves : shelf + 1;
    return give(ctx, shelf < shelves_end ? shelf : NULL);
}

static int read_name(dr_meta_context_s* ctx, const void* data) {
    const struct shelf* shelf = drend_get_element_ref(ctx);
    (void)data;
    return shelf == NULL ? DREND_ERR : drend_set_string_value(ctx, shelf->name);
}

static int read_slot(dr_meta_context_s* ctx, const void* data) {
    const struct card* card = drend_get_element_ref(ctx);
    (void)data;
    return card == NULL ? DREND_ERR : drend_set_uint32_value(ctx, card->slot);
}

static int read_mac(dr_meta_context_s* ctx, const void* data) {
    const struct card* card = drend_get_element_ref(ctx);
    (void)data;
    return card == NULL ? DREND_ERR : drend_set_mac_value(ctx, card->mac);
}

/* [presence] */
static int has_fault(dr_meta_context_s* ctx, const void* data) {
    const struct card* card = drend_get_element_ref(ctx);
    (void)data;
    return card == NULL ? DREND_ERR : drend_set_boolean_value(ctx, card->fault != NULL);
}

static int read_reason(dr_meta_context_s* ctx, const void* data) {
    const struct card* card = drend_get_element_ref(ctx);
    (void)data;
    return card == NULL ? DREND_ERR : drend_set_string_value(ctx, card->fault);
}

static void add_fault(void) {
    drend_add_boolean_leaf("/shelves/shelf/card/fault", has_fault, NULL);
    drend_add_str_leaf("/shelves/shelf/card/fault/reason", read_reason, NULL);
}
/* [end] */

/* [dynamic] */
/* Names the counters that the card has, in its order. */
static int next_counter(dr_meta_context_s* ctx, const void* data) {
    const struct card* card = drend_get_element_ref(ctx);
    void* reached = NULL;
    (void)data;
    if (card == NULL)
        return DREND_ERR;
    drend_get_attribute_ref(ctx, &reached);
    const struct counter* next =
        reached == NULL ? card->counters : (const struct counter*)reached + 1;
    if (next->name == NULL) {
        drend_set_attribute_ref(ctx, NULL);
        return DREND_NO_EL;
    }
    drend_set_attribute_name(ctx, next->name);
    drend_set_attribute_ref(ctx, (void*)next);
    return DREND_OK;
}

/* `data` is the counter's name. A card that does not name it is asked at the end, too. */
static int read_counter(dr_meta_context_s* ctx, const void* data) {
    const struct card* card = drend_get_element_ref(ctx);
    if (card == NULL)
        return DREND_ERR;
    for (const struct counter* counter = card->counters; counter->name != NULL; ++counter) {
        if (strcmp(counter->name, data) == 0)
            return drend_set_uint64_value(ctx, counter->value);
    }
    return DREND_SKIP_LEAF;
}

static void add_counters(void) {
    drend_add_cont_cb("/shelves/shelf/card/counters", next_counter, NULL);
    drend_add_uint64_leaf("/shelves/shelf/card/counters/in-frames", read_counter,
                          "in-frames");
    drend_add_uint64_leaf("/shelves/shelf/card/counters/out-frames", read_counter,
                          "out-frames");
    drend_add_uint64_leaf("/shelves/shelf/card/counters/crc-errors", read_counter,
                          "crc-errors");
}
/* [end] */

/* [access] */
/* Prints what is faulty, from the values that show-shelves shows. */
static int print_faults(void) {
    drx_context_s* context = NULL;
    const char* card;
    drx_value_s reason;
    if (drx_create_context("show-shelves", &context) != DREND_OK ||
        drx_push_path(context, "/shelves/shelf") != DREND_OK) {
        fprintf(stderr, "shelfd: %s\n", drx_get_error());
        drx_destroy_context(context);
        return 1;
    }
    while (drx_get_next_element(context) == DREND_OK) {
        if (drx_push_path(context, "card") != DREND_OK)
            continue;
        while (drx_get_next_element(context) == DREND_OK) {
            if (drx_get_path(context, &card) == DREND_OK &&
                drx_get_leaf_value(context, "fault/reason", &reason) == DREND_OK)
                printf("%s: %s\n", card, reason.text);
        }
        drx_pop_path(context);
    }
    drx_destroy_context(context);
    return 0;
}
/* [end] */

int main(int argc, char** argv) {
    drend_add_list("/shelves/shelf", next_shelf, NULL);
    drend_add_str_leaf("/shelves/shelf/name", read_name, NULL);
    drend_add_list("/shelves/shelf/card", next_card, NULL);
    drend_add_uint32_leaf("/shelves/shelf/card/slot", read_slot, NULL);
    drend_add_str_leaf("/shelves/shelf/card/mac", read_mac, NULL);
    add_fault();
    add_counters();
    drend_set_prefix(argc > 1 ? argv[1] : ".");
    drend_set_strict(1); /* who asks is told what is wrong */
    if (drend_dir_init() < 1)
        return 1;
    if (argc > 2 && strcmp(argv[2], "faults") == 0)
        return print_faults();
    return drend_dump_rpc(NULL, argc > 2 ? argv[2] : "show-shelves",
                          argc > 3 ? argv[3] : NULL);
}
