// SPDX-License-Identifier: BSD-2-Clause
/*
 * The public header as a C daemon uses it: alone, in strict C11, linked with the shared library.
 * A model of two fans, one of which cannot be read, is registered, defined and rendered.
 */
#include "drend.h"

#include <stdlib.h>
#include <string.h>

struct fan {
    const char* slot;
    int speed; /* -1: not readable */
};

static struct fan fans[] = {{"left", 1200}, {"right", -1}};

static int failures;

static void check(int holds, const char* what) {
    if (!holds) {
        fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

static int step_fans(dr_meta_context_s* ctx, const void* data) {
    struct fan* fan = drend_get_element_ref(ctx);
    (void)data;
    fan = fan ? fan + 1 : fans;
    if (fan == fans + sizeof(fans) / sizeof(fans[0]))
        fan = NULL;
    drend_set_element_ref(ctx, fan);
    return fan ? DREND_OK : DREND_NO_EL;
}

static int read_slot(dr_meta_context_s* ctx, const void* data) {
    const struct fan* fan = drend_get_element_ref(ctx);
    (void)data;
    return drend_set_string_value(ctx, fan->slot);
}

static int read_speed(dr_meta_context_s* ctx, const void* data) {
    const struct fan* fan = drend_get_element_ref(ctx);
    return fan->speed < 0
               ? DREND_ERR
               : drend_set_str_value(ctx, "%d %s", fan->speed, (const char*)data);
}

/* The second fan's speed is left out. */
static const char answer[] = "<fans>\n"
                             "  <fan>\n"
                             "    <slot>left</slot>\n"
                             "    <speed>1200 rpm</speed>\n"
                             "  </fan>\n"
                             "  <fan>\n"
                             "    <slot>right</slot>\n"
                             "  </fan>\n"
                             "</fans>\n";

static char sent[1024];

static int record(void* peer, const char* format, ...) {
    const size_t used = strlen(sent);
    va_list args;
    check(peer == sent, "methods get the peer unchanged");
    va_start(args, format);
    vsnprintf(sent + used, sizeof(sent) - used, format, args);
    va_end(args);
    return 0;
}

static int fatal_errors;

static void count_fatal(int code, int arg, const char* format, ...) {
    (void)code, (void)arg, (void)format;
    ++fatal_errors;
}

/* [data_set] */
static const char panel[] =
    "{\"panel\": {\"lamp\": [{\"name\": \"power\", \"on\": true}, {\"name\": \"alarm\"}]}}";

/* Registers the list /panel/lamp and the leaves /panel/lamp/name and /panel/lamp/on. */
static int load_panel(void) {
    char error[256];
    const int status = dr_ops_load_from_json("panel", panel, error, sizeof(error));
    if (status != DREND_OK)
        fprintf(stderr, "%s\n", error);
    return status;
}
/* [end] */

static void check_data_set(void) {
    char error[256];
    sent[0] = '\0';
    check(load_panel() == DREND_OK, "a data set is loaded");
    check(dr_ops_load_from_json_file("panel", TEST_DATA_DIR, error, sizeof(error)) ==
              DREND_ERR,
          "a folder is none");
    drend_dump_schema(sent);
    check(strstr(sent, "/panel/lamp/on  leaf \n") != NULL, sent);
    check(dr_ops_drop("panel") == DREND_OK, "and dropped");
}

int main(void) {
    char status[32];
    check(drend_set_send_method_w_return(record) == NULL, "no send method at the start");
    check(drend_add_list("/fans/fan", step_fans, NULL) == 0, "a list is registered");
    check(drend_add_str_leaf("/fans/fan/slot", read_slot, NULL) == 0,
          "a leaf is registered");
    check(drend_add_str_leaf("/fans/fan/speed", read_speed, "rpm") == 0, "a second one is");

    drend_set_err_exit_method(count_fatal);
    drend_add_str_leaf("/fans/fan/slot", read_speed, NULL);
    check(fatal_errors == 1, "a contradictory registration is a fatal error");

    drend_set_prefix(TEST_DATA_DIR "/header_c");
    check(drend_dir_init() == 1, "one command is loaded");
    check(drend_dump_rpc(sent, "show-fans", NULL) == DREND_OK, "the command runs");
    check(strcmp(sent, answer) == 0, sent);
    check(drend_chars_sent_reset() > 0, "sends are counted");
    check(strcmp(drend_status_text(DREND_NO_EL, status, sizeof(status)), "DREND_NO_EL") ==
              0,
          "statuses have names");
    check_data_set();
    return failures ? EXIT_FAILURE : EXIT_SUCCESS;
}
