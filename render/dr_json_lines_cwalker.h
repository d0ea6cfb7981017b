// SPDX-License-Identifier: BSD-2-Clause

// dr_json_lines_cwalker_c: a line of JSON for each row of a list (JSON Lines), for what reads row
// after row.
//
//     {"name":"lo","if-index":1,"higher-layer-if":["tun0","tun1"]}
//     {"name":"eth0","if-index":2}
//
//  1. The list is the outermost one, or the outermost one of the name asked for. Of the lists above
//     it there are the keys, as "list/key"; of what else is outside the list there is nothing.
//  2. A line is what the row is in the array of the JSON document.
//  3. An answer that ends early has where it goes on in a last line, as "cursor".
//  4. The answer of a command without such a list is one line, the document.
#pragma once

#include <string>

#include "render/dr_ietf_json_cwalker.h"

class dr_json_lines_cwalker_c final : public dr_ietf_json_cwalker_c {
  public:
    // `list` empty: the outermost one.
    dr_json_lines_cwalker_c(dr_tags_access_context_c& context, void* peer, dr_look_s look,
                            std::string list);

    // Whether there is such a list in the tree of a command.
    static bool has_list(const drend_tag_c& top, std::string_view list);

  private:
    void begin() override;
    open_s inside_of(const drend_tag_object_c* tobj, const open_s& outer) const override;
    void print_opening(const open_s& opened, const open_s& outer) override;
    void print_closing(const open_s& closed, const open_s& outer) override;
    void print_cursor_alone() override;
    void end_line();
    void print_keys_above(const open_s& line);

    const std::string list_;
};
