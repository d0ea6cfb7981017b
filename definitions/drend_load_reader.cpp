// Reads one definitions file into a set. The only source that knows jansson.
//
// The members of a tag object are sorted out in one pass over the object, and the tree of
// tags is read with a stack of its own: how deep a file nests is the file's choice.
#include "definitions/drend_load.h"

#include <array>
#include <cctype>
#include <cstdio>
#include <iterator>
#include <jansson.h>
#include <memory>
#include <new>

#include "definitions/dr_tag_words.h"
#include "frame/drend_trace.h"

namespace {

// --- values of members; those of another type count as absent ---

struct release_json_s {
    void operator()(json_t* value) const { json_decref(value); }
};
struct close_file_s {
    void operator()(FILE* file) const { fclose(file); }
};

const char* text_of(const json_t* value) {
    return json_is_string(value) ? json_string_value(value) : "";
}

std::string_view view_of(const json_t* value) {
    return json_is_string(value)
               ? std::string_view(json_string_value(value), json_string_length(value))
               : std::string_view();
}

json_int_t integer_of(const json_t* value, json_int_t absent) {
    return json_is_integer(value) ? json_integer_value(value) : absent;
}

// 0 unless it is an array.
size_t count_of(const json_t* value) {
    return json_is_array(value) ? json_array_size(value) : 0;
}

bool is_space(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

void append_words(std::string_view text, std::vector<std::string>& out) {
    size_t position = 0;
    while (position < text.size()) {
        size_t end = position;
        while (end < text.size() && !is_space(text[end])) {
            ++end;
        }
        if (end > position) {
            out.emplace_back(text.substr(position, end - position));
        }
        position = end + 1;
    }
}

std::vector<std::string> words_of(const json_t* array) {
    std::vector<std::string> words;
    for (size_t i = 0; i < count_of(array); ++i) {
        append_words(view_of(json_array_get(array, i)), words);
    }
    return words;
}

std::shared_ptr<const dr_value_map_c> map_of(const json_t* array) {
    std::vector<std::pair<std::string, std::string>> pairs;
    for (size_t i = 0; i < count_of(array); ++i) {
        const json_t* pair = json_array_get(array, i);
        const json_t* from = json_array_get(pair, 0);
        const json_t* to = json_array_get(pair, 1);
        if (count_of(pair) == 2 && json_is_string(from) && json_is_string(to)) {
            pairs.emplace_back(view_of(from), view_of(to));
        }
    }
    return pairs.empty() ? nullptr : std::make_shared<const dr_value_map_c>(pairs);
}

// --- tag objects ---

enum tag_member_e : unsigned {
    MEMBER_NAME,
    MEMBER_SOURCE,
    MEMBER_TYPE,
    MEMBER_DATA_TYPE,
    MEMBER_KIDS,
    MEMBER_NAMESPACE,
    MEMBER_PREFIX,
    MEMBER_FRACTION,
    MEMBER_PRESENCE,
    MEMBER_ZERO_SUPPRESSION,
    MEMBER_MANDATORY,
    MEMBER_FID,
    MEMBER_KEY,
    MEMBER_STYLE,
    MEMBER_MAP,
    MEMBER_INPUT_KIDS,
    MEMBER_COUNT,
};

// In the order of tag_member_e, which has the common ones first.
constexpr std::string_view TAG_MEMBERS[] = {
    "dts_name",         "dts_source",
    "dts_type",         "dts_data_type",
    "dts_kids",         "dts_namespace",
    "dts_prefix",       "dts_data_decimal64_fraction",
    "dts_presence",     "dts_zero_suppression",
    "dts_is_mandatory", "dts_fid",
    "dts_key",          "dts_style",
    "dts_map",          "dts_input_kids",
};
static_assert(std::size(TAG_MEMBERS) == MEMBER_COUNT);

// The members of one tag object; null: absent. Borrowed from the document.
using tag_members_t = std::array<json_t*, MEMBER_COUNT>;

tag_members_t members_of(json_t* object) {
    tag_members_t members{};
    for (void* member = json_object_iter(object); member != nullptr;
         member = json_object_iter_next(object, member)) {
        const std::string_view key = json_object_iter_key(member);
        for (unsigned i = 0; i < MEMBER_COUNT; ++i) {
            if (TAG_MEMBERS[i] == key) {
                members[i] = json_object_iter_value(member);
                break;
            }
        }
    }
    return members;
}

uint32_t flags_of(const tag_members_t& members) {
    uint32_t flags = dri_name_flags(view_of(members[MEMBER_NAME]));
    flags |= view_of(members[MEMBER_SOURCE]).empty() ? 0U : DT_FLAG_SOURCE_CHILD;
    flags |= view_of(members[MEMBER_PRESENCE]).empty() ? 0U : DT_FLAG_PRESENCE;
    flags |=
        view_of(members[MEMBER_ZERO_SUPPRESSION]) == "true" ? DT_FLAG_ZERO_SUPPRESSION : 0U;
    flags |= view_of(members[MEMBER_MANDATORY]) == "true" ? DT_FLAG_MANDATORY : 0U;
    return flags;
}

void set_types(drend_tag_c& tag, const tag_members_t& members) {
    if (const auto* type = dri_find_word(DR_TYPE_WORDS, view_of(members[MEMBER_TYPE]))) {
        tag.dt_type = type->type;
        tag.set_flags(type->flags);
    }
    if (const auto* data_type =
            dri_find_word(DR_DATA_TYPE_WORDS, view_of(members[MEMBER_DATA_TYPE]))) {
        tag.dt_data_type = data_type->code;
    }
    if (tag.is_decimal64()) {
        tag.dt_decimal64_fraction =
            static_cast<uint8_t>(integer_of(members[MEMBER_FRACTION], -1));
    }
}

// A tag without its kids.
std::unique_ptr<drend_tag_c> make_tag(const tag_members_t& members) {
    auto tag = std::make_unique<drend_tag_c>(view_of(members[MEMBER_NAME]),
                                             view_of(members[MEMBER_SOURCE]));
    if (members[MEMBER_NAMESPACE] != nullptr) {
        tag->set_namespace(view_of(members[MEMBER_NAMESPACE]));
    }
    tag->dt_prefix = view_of(members[MEMBER_PREFIX]);
    tag->dt_map = map_of(members[MEMBER_MAP]);
    tag->dt_keys = words_of(members[MEMBER_KEY]);
    tag->dt_styles = words_of(members[MEMBER_STYLE]);
    tag->set_flags(flags_of(members));
    set_types(*tag, members);
    tag->dt_fid = static_cast<int32_t>(integer_of(members[MEMBER_FID], -1));
    return tag;
}

class tag_reader_c {
  public:
    // Input kids become loose tags.
    explicit tag_reader_c(std::vector<drend_tag_c*>& loose_tags)
        : loose_tags_(loose_tags) {}

    // The tree of tags that an object describes. Null when it is no object.
    std::unique_ptr<drend_tag_c> read(json_t* object) {
        levels_.clear();
        if (!json_is_object(object)) {
            return nullptr;
        }
        const tag_members_t members = members_of(object);
        std::unique_ptr<drend_tag_c> root = make_tag(members);
        open(*root, members, false);
        while (!levels_.empty()) {
            level_s& level = levels_.back();
            if (level.next_input_kid < count_of(level.input_kids)) {
                add_input_kid(*level.tag,
                              json_array_get(level.input_kids, level.next_input_kid++));
            } else if (level.next_kid < count_of(level.kids)) {
                add_kid(*level.tag, json_array_get(level.kids, level.next_kid++));
            } else {
                close();
            }
        }
        return root;
    }

  private:
    // A tag whose kids are being read.
    struct level_s {
        drend_tag_c* tag;
        bool is_input_kid;
        json_t* input_kids;
        size_t next_input_kid;
        json_t* kids;
        size_t next_kid;
    };

    void open(drend_tag_c& tag, const tag_members_t& members, bool is_input_kid) {
        tag.dt_kids.reserve(count_of(members[MEMBER_KIDS]));
        levels_.push_back(
            {&tag, is_input_kid, members[MEMBER_INPUT_KIDS], 0, members[MEMBER_KIDS], 0});
    }

    void add_input_kid(drend_tag_c& parent, json_t* object) {
        if (!json_is_object(object)) {
            return;
        }
        const tag_members_t members = members_of(object);
        std::unique_ptr<drend_tag_c> kid = make_tag(members);
        loose_tags_.push_back(kid.get());
        drend_tag_c* owned = kid.release();
        parent.dt_input_kids.push_back(owned);
        open(*owned, members, true);
    }

    void add_kid(drend_tag_c& parent, json_t* object) {
        if (!json_is_object(object)) {
            return;
        }
        const tag_members_t members = members_of(object);
        std::unique_ptr<drend_tag_c> kid = make_tag(members);
        parent.dt_kids.push_back(kid.get());
        open(*kid.release(), members, false);
    }

    // The kids of the innermost tag are complete.
    void close() {
        const level_s done = levels_.back();
        levels_.pop_back();
        for (const std::string& key : done.tag->dt_keys) {
            if (drend_tag_c* kid = done.tag->find_child(key.c_str())) {
                kid->set_flags(DT_FLAG_KEY);
            }
        }
        if (levels_.empty()) {
            return;
        }
        if (dri_trace_on(DREND_TRACE_LOAD)) {
            drend_debug_trace("DR_JSON: %s: kid %s\n", "dri_load_tag",
                              done.tag->name().c_str());
        }
        if (!done.is_input_kid) {
            tell_parent(*done.tag, *levels_.back().tag);
        }
    }

    static void tell_parent(drend_tag_c& kid, drend_tag_c& parent) {
        if (kid.is_leaf_list_value()) {
            kid.dt_map = parent.dt_map;
            kid.dt_prefix = parent.dt_prefix;
        } else {
            parent.set_flags(kid.dt_flags & DT_FLAG_SOURCE_CHILD);
        }
    }

    std::vector<drend_tag_c*>& loose_tags_;
    std::vector<level_s> levels_;
};

// --- files ---

class file_reader_c {
  public:
    file_reader_c(const char* path, dr_daemon_context_c& set)
        : path_(path), set_(set), command_tags_(set.loose_tags),
          event_tags_(set.loose_event_tags) {}

    int read() {
        const std::unique_ptr<json_t, release_json_s> root = parse();
        if (!root) {
            return -1;
        }
        if (!json_is_array(root.get())) {
            fprintf(stderr, "json load error: %s : the root is not an array\n", path_);
            return -1;
        }
        for (size_t i = 0; i < json_array_size(root.get()); ++i) {
            read_entry(json_array_get(root.get(), i), static_cast<int>(i) + 1);
        }
        return 0;
    }

  private:
    std::unique_ptr<json_t, release_json_s> parse() const {
        const std::unique_ptr<FILE, close_file_s> file(fopen(path_, "re"));
        if (!file) {
            return nullptr;
        }
        json_error_t error;
        std::unique_ptr<json_t, release_json_s> root(json_loadf(file.get(), 0, &error));
        if (!root) {
            fprintf(stderr, "json load error: %s : %d:%d - %s\n", path_, error.line,
                    error.column, error.text);
        }
        return root;
    }

    void read_entry(json_t* entry, int number) {
        try {
            if (json_is_string(json_object_get(entry, "dc_name"))) {
                read_command(entry);
            } else if (json_is_string(json_object_get(entry, "dc_external_notify_name"))) {
                read_event(entry);
            } else if (json_is_string(json_object_get(entry, "dc_notify_leaf"))) {
                read_notification_leaf(entry);
            } else {
                fprintf(stderr,
                        "json parse error in %s at entry %d: Neither a command nor a "
                        "notification, moving on to next entry",
                        path_, number);
            }
        } catch (const std::bad_alloc&) {
            fprintf(stderr, "json load error: %s : entry %d - out of memory\n", path_,
                    number);
        }
    }

    void read_command(json_t* entry) {
        const auto text = [entry](const char* member) {
            return text_of(json_object_get(entry, member));
        };
        auto owned = std::make_unique<drend_command_c>(
            text("dc_name"), text("dc_full_command"), text("dc_cli_command"),
            text("dc_cli_merge_tag"), text("dc_app_name"), text("dc_top_of_output"),
            text("dc_help"),
            static_cast<int32_t>(integer_of(json_object_get(entry, "dc_message_id"), -1)));
        owned->dc_load_order = static_cast<unsigned>(set_.commands.size());
        set_.commands.push_back(owned.get());
        drend_command_c* command = owned.release();
        std::unique_ptr<drend_tag_c> tag =
            command_tags_.read(json_object_get(entry, "dc_tag"));
        if (tag) {
            tag->dt_commands.insert(command);
        }
        command->dc_tag = tag.release();
    }

    void read_event(json_t* entry) {
        const auto text = [entry](const char* member) {
            return text_of(json_object_get(entry, member));
        };
        auto event = std::make_unique<drend_event_c>(
            text("dc_app_name"), text("dc_external_notify_name"),
            text("dc_internal_notify_name"), dri_pasted_namespace(text("dc_namespace")));
        event->dc_tag = event_tags_.read(json_object_get(entry, "dc_tag")).release();
        auto& events = set_.external_events[event->dc_internal_notify_name];
        events.push_back(event.get());
        event.release();
    }

    void read_notification_leaf(json_t* entry) {
        const json_t* array = json_object_get(entry, "dc_internal_notify_name");
        std::vector<std::string> names;
        for (size_t i = 0; i < count_of(array); ++i) {
            const json_t* name = json_array_get(array, i);
            if (!json_is_string(name)) {
                return;
            }
            names.emplace_back(view_of(name));
        }
        if (!names.empty()) {
            auto& leaf =
                set_.notification_leaves[text_of(json_object_get(entry, "dc_notify_leaf"))];
            leaf.insert(leaf.end(), names.begin(), names.end());
        }
    }

    const char* path_;
    dr_daemon_context_c& set_;
    tag_reader_c command_tags_;
    tag_reader_c event_tags_;
};

} // namespace

int dri_load_file(const char* path, dr_daemon_context_c& set) {
    return file_reader_c(path, set).read();
}
