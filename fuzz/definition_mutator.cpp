// SPDX-License-Identifier: BSD-2-Clause

// Changes definition files so that they stay JSON, which changed bytes seldom do: members of the
// format with values of the right type, or nearly so, come, go and change places.
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include <jansson.h>

#include "definitions/dr_format.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t max_size);

namespace {

using json_owner_t = std::unique_ptr<json_t, void (*)(json_t*)>;
using dice_t = std::minstd_rand;

constexpr const char* WORDS[] = {
    "",          "top",    "row",       "/top",      "='x'+val('.')",
    "..",        "name",   "number",    "words",     "__zor_leaf_list_value__",
    "value",     "in",     "fields",    "alpha",     "__zor_internal_x",
    "late",      "leaf",   "list",      "leaf-list", "xmlns='urn:x'",
    "choice",    "case",   "container", "true",      "corvane-netconf-get",
    "decimal64", "uint64", "int32",     "boolean",   "/top/row[name='a']",
    "string",    "*",      "a b",       "show"};

template <typename Choices>
const auto& one_of(dice_t& dice, const Choices& choices) {
    return std::data(choices)[dice() % std::size(choices)];
}

json_t* word(dice_t& dice) {
    return json_string(one_of(dice, WORDS));
}

json_t* tag(dice_t& dice);

json_t* value_of(dice_t& dice, dr_json_kind_e kind) {
    switch (kind) {
    case dr_json_kind_e::INTEGER:
        return json_integer(static_cast<int>(dice() % 24) - 2);
    case dr_json_kind_e::TEXTS:
        return json_pack("[o, o]", word(dice), word(dice));
    case dr_json_kind_e::PAIRS:
        return json_pack("[[o, o], [o, o]]", word(dice), word(dice), word(dice),
                         word(dice));
    case dr_json_kind_e::TAG:
        return tag(dice);
    case dr_json_kind_e::TAGS:
        return json_pack("[o]", tag(dice));
    default:
        return word(dice);
    }
}

template <typename Members>
void add_member(dice_t& dice, json_t* object, const Members& members) {
    const dr_member_s& member = one_of(dice, members);
    json_object_setn_new(object, member.name.data(), member.name.size(),
                         value_of(dice, member.kind));
}

json_t* tag(dice_t& dice) {
    json_t* made = json_pack("{so so}", "dts_name", word(dice), "dts_source", word(dice));
    add_member(dice, made, DR_TAG_MEMBERS);
    return made;
}

json_t* command(dice_t& dice) {
    return json_pack("{ss so}", "dc_name", "show", "dc_tag", tag(dice));
}

void gather(json_t* value, std::vector<json_t*>& all) {
    all.push_back(value);
    for (size_t i = 0; i < json_array_size(value); ++i) {
        gather(json_array_get(value, i), all);
    }
    const char* name = nullptr;
    json_t* member = nullptr;
    json_object_foreach(value, name, member) {
        gather(member, all);
    }
}

void change_object(dice_t& dice, json_t* object, const std::vector<json_t*>& all) {
    std::vector<std::string> names;
    const char* name = nullptr;
    json_t* member = nullptr;
    json_object_foreach(object, name, member) {
        names.emplace_back(name);
    }
    const unsigned what = dice() % 6;
    if (what < 2 && names.empty()) {
        return;
    }
    switch (what) {
    case 0:
        json_object_del(object, one_of(dice, names).c_str());
        break;
    case 1:
        json_object_set_new(object, one_of(dice, names).c_str(),
                            json_deep_copy(one_of(dice, all)));
        break;
    case 2:
        add_member(dice, object, DR_COMMAND_MEMBERS);
        break;
    case 3:
        add_member(dice, object, DR_NOTIFICATION_MEMBERS);
        break;
    default:
        add_member(dice, object, DR_TAG_MEMBERS);
    }
}

void change_array(dice_t& dice, json_t* array, const std::vector<json_t*>& all) {
    const size_t place = json_array_size(array) == 0 ? 0 : dice() % json_array_size(array);
    const unsigned what = dice() % 4;
    if (what == 0) {
        json_array_remove(array, place);
        return;
    }
    json_array_insert_new(array, place,
                          what == 1   ? command(dice)
                          : what == 2 ? tag(dice)
                                      : json_deep_copy(one_of(dice, all)));
}

void change(dice_t& dice, json_t* root) {
    std::vector<json_t*> all;
    gather(root, all);
    json_t* chosen = one_of(dice, all);
    if (json_is_object(chosen)) {
        change_object(dice, chosen, all);
    } else if (json_is_array(chosen)) {
        change_array(dice, chosen, all);
    } else if (json_is_string(chosen)) {
        json_string_set(chosen, one_of(dice, WORDS));
    } else if (json_is_integer(chosen)) {
        json_integer_set(chosen, static_cast<int>(dice() % 300) - 20);
    }
}

} // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t max_size,
                                          unsigned int seed) {
    dice_t dice(seed);
    if (dice() % 8 == 0) {
        return LLVMFuzzerMutate(data, size, max_size);
    }
    json_owner_t root(json_loadb(reinterpret_cast<const char*>(data), size, 0, nullptr),
                      json_decref);
    if (root == nullptr) {
        root.reset(json_pack("[o]", command(dice)));
    }
    for (unsigned changes = 1 + dice() % 3; changes > 0; --changes) {
        change(dice, root.get());
    }
    const size_t written =
        json_dumpb(root.get(), reinterpret_cast<char*>(data), max_size, 0);
    return written <= max_size ? written : LLVMFuzzerMutate(data, size, max_size);
}
