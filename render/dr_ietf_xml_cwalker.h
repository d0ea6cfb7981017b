// SPDX-License-Identifier: BSD-2-Clause

// dr_ietf_xml_cwalker_c: XML as RFC 7950 has it, which a YANG validator accepts.
//
//     <interfaces xmlns="urn:a">
//       <interface>
//         <name>lo</name>
//         <higher-layer-if>tun0</higher-layer-if>
//         <higher-layer-if>tun1</higher-layer-if>
//       </interface>
//     </interfaces>
//
//  1. Each value of a leaf-list has tags of its own.
//  2. What dts_namespace declares is declared where it is not in force already.
//  3. There is no attribute for the style and no element "data": the top elements of the answer are
//     those of the model, beside each other.
//  4. A leaf of the type "empty" has no text, whatever its value is.
#pragma once

#include "render/dr_nested_cwalker.h"

class dr_ietf_xml_cwalker_c final : public dr_nested_cwalker_c {
  public:
    dr_ietf_xml_cwalker_c(dr_tags_access_context_c& context, void* peer, dr_look_s look);

    void leaf(const dr_row_kid_s& leaf, const dr_value_c& value) override;

  private:
    void print_opening(const open_s& opened, const open_s& outer) override;
    void print_closing(const open_s& closed, const open_s& outer) override;
    void print_key(const dr_list_key_val& key, const open_s& row) override;
    void print_leaf(const drend_tag_c& named, const drend_tag_c& tag,
                    const dr_value_c& value) override;

    void make_texts(const drend_tag_c& tag, const open_s& outer);
    bool begin_value(const drend_tag_c& named, const drend_tag_c& tag, const open_s& place);
};
