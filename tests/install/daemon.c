// SPDX-License-Identifier: BSD-2-Clause

#include <drend.h>

static int load = 42;

int main(void) {
    drend_add_int32_leaf("/host/load", drend_get_int32_cb, &load);
    drend_set_prefix("."); /* definitions in ./usr/lib/render */
    return drend_dir_init() < 1 || drend_dump_rpc(NULL, "show-host", NULL) != DREND_OK;
}
