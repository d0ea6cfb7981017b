// SPDX-License-Identifier: BSD-2-Clause

// Searches of a tag tree by a path such as interfaces/interface[name='lo']/mtu.
//
// The path is read with the lexer of expressions. Predicates are stepped over: only their
// brackets have to pair.
#include "definitions/drend_tag.h"

#include "expr/dr_xp_lexer.h"

namespace {

// Where a path leads.
struct place_s {
    const drend_tag_c* tag; // null: below an unknown name
    const drend_tag_c*
        last_owned; // the last tag on the way that has commands, or the start
};

// A path that is being followed.
class follower_c {
  public:
    // `names_start`: the first name is the starting tag's own, unless that is a merged root.
    follower_c(place_s& place, bool names_start) : place_(place), at_start_(names_start) {}

    // Follows `path`. DREND_ERR when it is malformed.
    int follow(const char* path) {
        dr_str_buf_c text;
        const char* start = nullptr;
        while (true) {
            const int token = dri_xp_lexer_next(path, text, start);
            if (token == XP_TOKEN_END) {
                return DREND_OK;
            }
            if (token == XP_TOKEN_ERROR || !accept(token, text)) {
                return DREND_ERR;
            }
            if (place_.tag == nullptr) {
                return DREND_OK;
            }
            if (!place_.tag->dt_commands.empty()) {
                place_.last_owned = place_.tag;
            }
        }
    }

  private:
    bool accept(int token, const dr_str_buf_c& text) {
        if (in_predicate_) {
            in_predicate_ = token != XP_TOKEN_CLOSE_BRACKET;
            return true;
        }
        switch (token) {
        case XP_TOKEN_WORD:
            return accept_name(text.c_str());
        case XP_TOKEN_OPEN_BRACKET:
            in_predicate_ = true;
            return true;
        case XP_TOKEN_SLASH:
            return true;
        default:
            return false;
        }
    }

    bool accept_name(const char* name) {
        const bool names_start = at_start_ && !place_.tag->is_combined();
        at_start_ = false;
        if (names_start) {
            return place_.tag->name() == name;
        }
        place_.tag = place_.tag->find_child(name);
        return true;
    }

    place_s& place_;
    bool at_start_;
    bool in_predicate_ = false;
};

// The owners of the deepest owned tag along `path`; null when the path leads nowhere.
const drend_tag_c::commands_t* find_owners(const drend_tag_c* root, const char* path) {
    place_s place{root, root};
    if (follower_c(place, true).follow(path) != DREND_OK || place.tag == nullptr) {
        return nullptr;
    }
    return &place.last_owned->dt_commands;
}

} // namespace

const drend_tag_c* drend_tag_c::find_path(const drend_tag_c* root, const char* path) {
    dr_str_buf_c text;
    const char* start = nullptr;
    const int token = dri_xp_lexer_next(path, text, start);
    place_s place{root, root};
    if (token == XP_TOKEN_WORD) {
        place.tag = root->find_child(text.c_str());
    } else if (token != XP_TOKEN_SLASH) {
        return nullptr;
    }
    if (place.tag == nullptr || follower_c(place, false).follow(path) != DREND_OK) {
        return nullptr;
    }
    return place.tag;
}

int drend_tag_c::find_command_from_path(const char* path,
                                        std::set<drend_command_s*>& out) const {
    const commands_t* owners = find_owners(this, path);
    if (owners == nullptr) {
        return DREND_ERR;
    }
    out.insert(owners->begin(), owners->end());
    return static_cast<int>(out.size());
}

int drend_tag_c::find_message_id_from_path(const char* path) const {
    const commands_t* owners = find_owners(this, path);
    return owners == nullptr || owners->empty() ? -1 : (*owners->begin())->dc_message_id;
}

int drend_tag_c::find_daemons_from_path(const char* path,
                                        std::set<std::string>& out) const {
    const commands_t* owners = find_owners(this, path);
    if (owners == nullptr) {
        return DREND_ERR;
    }
    for (const drend_command_s* owner : *owners) {
        out.insert(owner->dc_app_name);
    }
    return static_cast<int>(out.size());
}
