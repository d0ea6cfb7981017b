// SPDX-License-Identifier: BSD-2-Clause

// dr_ietf_json_cwalker_c: JSON as RFC 7951 has it.
//
//     {
//       "ietf-interfaces:interfaces": {
//         "interface": [{
//           "name": "lo",
//           "if-index": 1,
//           "higher-layer-if": ["tun0", "tun1"],
//           "ietf-ip:ipv4": {
//             "mtu": 65535
//           }
//         }, {
//           ...
//
//  1. The answer is one object. A member's name has that of its module in front where another
//     module begins than around it.
//  2. Values are numbers, truths and strings as dr_json_typing_c says; a leaf of the type "empty"
//     is [null].
//  3. An array stays open until something else is printed in its object: rows of one list that come
//     from several rows of an internal one stand in one array.
#pragma once

#include "render/dr_nested_cwalker.h"

class dr_ietf_json_cwalker_c : public dr_nested_cwalker_c {
  public:
    dr_ietf_json_cwalker_c(dr_tags_access_context_c& context, void* peer, dr_look_s look);

    void leaf(const dr_row_kid_s& leaf, const dr_value_c& value) override;

  protected:
    void print_opening(const open_s& opened, const open_s& outer) override;
    void print_closing(const open_s& closed, const open_s& outer) override;
    void print_cursor_alone() override;

    // Prints the brace of an object, or begins one whose brace is printed.
    void open_object();
    void begin_object() {
        outer_.push_back(object_);
        object_ = {};
    }
    // Prints where the answer goes on, if it does.
    void print_cursor();
    // Ends the array of the object; whether anything stands in that, which is over then.
    bool close_object();
    // Prints a value of `tag` behind opening_.
    void print_value(const drend_tag_c& tag, dr_value_type_t type, std::string_view text);
    // Whether the object that is open last has a member, and has one from now on.
    bool begin_member() {
        const bool had_members = object_.has_members;
        object_.has_members = true;
        return had_members;
    }

  private:
    // What an object that is open has seen so far.
    struct object_s {
        const drend_tag_c* array =
            nullptr; // whose elements are being printed; null: none are
        bool has_members = false;
    };

    void print_key(const dr_list_key_val& key, const open_s& row) override;
    void print_leaf(const drend_tag_c& named, const drend_tag_c& tag,
                    const dr_value_c& value) override;

    void end_array() {
        if (object_.array != nullptr) {
            object_.array = nullptr;
            output_.add("]");
        }
    }
    void make_opening(const drend_tag_c& named, const open_s& place);
    void print_member(const drend_tag_object_c& tobj, const drend_tag_c& named,
                      const open_s& outer);

    object_s object_;             // the one that is open last
    std::vector<object_s> outer_; // those around it
};
