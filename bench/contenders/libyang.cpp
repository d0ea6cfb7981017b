// SPDX-License-Identifier: BSD-2-Clause

// libyang: the whole tree built and printed, and one route at a time.

#include "bench/contenders/contender.h"
#include "bench/contenders/yang_routes.h"

namespace {

void prepare(routes_t, bool) {
    yang_module();
}

template <LYD_FORMAT format>
void print_whole(routes_t routes) {
    lyd_node* tree = new_yang_routes();
    for (const route_s* row = next_route(routes, nullptr); row != nullptr;
         row = next_route(routes, row)) {
        add_yang_route(tree, *row);
    }
    print_yang(tree, format, true);
    lyd_free_all(tree);
}

template <LYD_FORMAT format>
void print_each(routes_t routes) {
    lyd_node* tree = new_yang_routes();
    for (const route_s* row = next_route(routes, nullptr); row != nullptr;
         row = next_route(routes, row)) {
        lyd_node* node = add_yang_route(tree, *row);
        print_yang(node, format, false);
        lyd_free_tree(node);
    }
    lyd_free_all(tree);
}

} // namespace

const contender_s LIBYANG_TREE_CONTENDER = {"libyang tree", layout_e::SAME_DOCUMENT,
                                            prepare, print_whole<LYD_XML>,
                                            print_whole<LYD_JSON>};
const contender_s LIBYANG_ROUTE_CONTENDER = {"libyang by route", layout_e::ROW_BY_ROW,
                                             prepare, print_each<LYD_XML>,
                                             print_each<LYD_JSON>};
