// SPDX-License-Identifier: BSD-2-Clause
/*
 * A client of NETCONF made with libnetconf2: netconf_libnetconf2 DIRECTORY DESCRIPTOR [-]
 *
 * Of a session that says what standard input has and takes what is written to DESCRIPTOR the
 * library learns which modules there are, fetches those that DIRECTORY does not have, and parses
 * the whole reply to <get>, or with "-" to <get-data>, against them. Prints one line for each
 * interface: its name and admin-status.
 */
#include <libnetconf2/messages_client.h>
#include <libnetconf2/netconf.h>
#include <libnetconf2/session.h>
#include <libnetconf2/session_client.h>
#include <libyang/libyang.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

enum { PATIENCE = 60000 }; /* milliseconds */

static const char* value_of(const struct lyd_node* parent, const char* path) {
    struct lyd_node* found = NULL;
    return lyd_find_path(parent, path, 0, &found) == LY_SUCCESS ? lyd_get_value(found) : "";
}

static int show(const struct lyd_node* data) {
    struct ly_set* rows = NULL;
    if (lyd_find_xpath(data, "/ietf-interfaces:interfaces/interface", &rows) != LY_SUCCESS)
        return 1;
    for (uint32_t i = 0; i < rows->count; ++i)
        printf("%s %s\n", value_of(rows->dnodes[i], "name"),
               value_of(rows->dnodes[i], "admin-status"));
    ly_set_free(rows, NULL);
    return 0;
}

static int ask(struct nc_session* session, struct nc_rpc* rpc) {
    struct lyd_node* envelope = NULL;
    struct lyd_node* reply = NULL;
    uint64_t id;
    int status = 1;
    if (nc_send_rpc(session, rpc, PATIENCE, &id) != NC_MSG_RPC ||
        nc_recv_reply(session, rpc, id, PATIENCE, &envelope, &reply) != NC_MSG_REPLY)
        fprintf(stderr, "no reply\n");
    else if (reply == NULL || lyd_child(reply) == NULL)
        lyd_print_file(stderr, envelope, LYD_XML, 0);
    else
        status = show(((const struct lyd_node_any*)lyd_child(reply))->value.tree);
    lyd_free_all(envelope);
    lyd_free_all(reply);
    return status;
}

static struct nc_rpc* new_rpc(bool is_nmda) {
    return is_nmda ? nc_rpc_getdata("ietf-datastores:operational", NULL, NULL, NULL, 0, 0,
                                    0, 0, NC_WD_UNKNOWN, NC_PARAMTYPE_CONST)
                   : nc_rpc_get(NULL, NC_WD_UNKNOWN, NC_PARAMTYPE_CONST);
}

int main(int argc, char** argv) {
    if (argc < 3)
        return 2;
    nc_client_init();
    nc_client_set_schema_searchpath(argv[1]);
    struct nc_session* session =
        nc_connect_inout(STDIN_FILENO, (int)strtol(argv[2], NULL, 10), NULL);
    if (session == NULL)
        return 2;
    struct nc_rpc* rpc = new_rpc(argc > 3);
    const int status = ask(session, rpc);
    nc_rpc_free(rpc);
    nc_session_free(session, NULL);
    nc_client_destroy();
    return status;
}
