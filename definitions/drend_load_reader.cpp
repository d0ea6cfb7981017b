// SPDX-License-Identifier: BSD-2-Clause

// Adds what the text of a definitions file says to a set. The only source that knows jansson.
//
// The members of a tag object are sorted out in one pass over the object, and the tree of
// tags is read with a stack of its own: how deep a file nests is the file's choice.
//
// A tag that would not come out as an element of an XML document is left out with its kids.
#include "definitions/dr_load_steps.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <iterator>
#include <jansson.h>
#include <memory>
#include <new>

#include "definitions/dr_tag_words.h"
#include "definitions/dr_xml_text.h"
#include "frame/drend_lock.h"
#include "frame/drend_trace.h"

namespace {

// --- values of members; those of another type count as absent ---

struct release_json_s {
    void operator()(json_t* value) const { json_decref(value); }
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

// Appends a tag without its kids.
drend_tag_c& add_tag(dr_tags_t& tags, const tag_members_t& members) {
    drend_tag_c& tag =
        tags.emplace_back(view_of(members[MEMBER_NAME]), view_of(members[MEMBER_SOURCE]));
    if (members[MEMBER_NAMESPACE] != nullptr) {
        tag.set_namespace(view_of(members[MEMBER_NAMESPACE]));
    }
    tag.dt_prefix = view_of(members[MEMBER_PREFIX]);
    tag.dt_map = map_of(members[MEMBER_MAP]);
    tag.dt_keys = words_of(members[MEMBER_KEY]);
    tag.dt_styles = words_of(members[MEMBER_STYLE]);
    tag.set_flags(flags_of(members));
    set_types(tag, members);
    tag.dt_fid = static_cast<int32_t>(integer_of(members[MEMBER_FID], -1));
    return tag;
}

// --- what comes out as an element ---

// How much a finding shows: of a text, in bytes, and of a tag's path.
constexpr size_t SHOWN = 64;
constexpr size_t SHOWN_LEVELS = 8;
// The library prints it on the top element when a style is asked for.
constexpr std::string_view STYLE_ATTRIBUTE = "orvex:style";

// As much of a text as is shown.
std::string shown(std::string_view text) {
    size_t size = std::min(text.size(), SHOWN);
    while (size < text.size() && size > 0 && (text[size] & 0xC0) == 0x80) {
        --size; // not half a character
    }
    return std::string(text.substr(0, size)) + (size < text.size() ? "..." : "");
}

// Style words of commands and their parameters become the value of an attribute.
std::string fault_of_styles(const drend_tag_c& tag) {
    for (const std::string& style : tag.dt_styles) {
        if (!dri_is_xml_attribute(style)) {
            return "dts_style: '" + shown(style) + "' is no text of an attribute";
        }
    }
    return "";
}

// What keeps a tag from being an element; empty: nothing.
std::string fault_of(const drend_tag_c& tag, bool is_top) {
    if (tag.is_hidden() && tag.dt_type != DT_TYPE_LEAF) {
        return ""; // only its kids are printed
    }
    if (tag.name().empty()) {
        return "an element needs a name";
    }
    if (!dri_is_xml_name(tag.name())) {
        return "'" + shown(tag.name()) + "' is no name of an element";
    }
    if (!dri_are_xml_attributes(tag.xmlns(), is_top ? STYLE_ATTRIBUTE : "")) {
        return "dts_namespace is no list of attributes";
    }
    if (!dri_is_xml_content(tag.dt_prefix)) {
        return "dts_prefix is no text of an element";
    }
    return fault_of_styles(tag);
}

class tag_reader_c {
  public:
    tag_reader_c(dr_tags_t& tags, dr_findings_c& findings)
        : tags_(tags), findings_(findings) {}

    // Reads the tree of tags that an object describes, null when it is no object. False when the
    // root itself has to be left out. `place` is where the object stands.
    bool read(json_t* object, const std::string& place, drend_tag_c*& root) {
        levels_.clear();
        place_ = place;
        root = nullptr;
        if (!json_is_object(object)) {
            return true;
        }
        const tag_members_t members = members_of(object);
        root = &add_tag(tags_, members);
        if (!is_kept(*root, fault_of(*root, true), 1)) {
            return false;
        }
        open(*root, members, false);
        while (!levels_.empty()) {
            level_s& level = levels_.back();
            if (level.next_input_kid < count_of(level.input_kids)) {
                add_input_kid(level,
                              json_array_get(level.input_kids, level.next_input_kid++));
            } else if (level.next_kid < count_of(level.kids)) {
                add_kid(level, json_array_get(level.kids, level.next_kid++));
            } else {
                close();
            }
        }
        return true;
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

    // Whether a tag, the last one made and kid number `position` of the innermost one, has no
    // fault; else it goes, with a finding.
    bool is_kept(const drend_tag_c& tag, const std::string& fault, size_t position) {
        if (fault.empty()) {
            return true;
        }
        const size_t hidden = levels_.size() - std::min(levels_.size(), SHOWN_LEVELS);
        std::string path = hidden > 0 ? ".../" : "";
        for (size_t i = hidden; i < levels_.size(); ++i) {
            path += shown(levels_[i].tag->name()) + "/";
        }
        path +=
            tag.name().empty() ? "[" + std::to_string(position) + "]" : shown(tag.name());
        findings_.add(dr_finding_e::LEFT_OUT, place_ + ", tag " + path, fault);
        tags_.pop_back();
        return false;
    }

    void add_input_kid(const level_s& level, json_t* object) {
        if (!json_is_object(object)) {
            return;
        }
        const tag_members_t members = members_of(object);
        drend_tag_c& kid = add_tag(tags_, members);
        if (is_kept(kid, fault_of_styles(kid), level.next_input_kid)) {
            level.tag->dt_input_kids.push_back(&kid);
            open(kid, members, true);
        }
    }

    void add_kid(const level_s& level, json_t* object) {
        if (!json_is_object(object)) {
            return;
        }
        const tag_members_t members = members_of(object);
        drend_tag_c& kid = add_tag(tags_, members);
        if (is_kept(kid, fault_of(kid, false), level.next_kid)) {
            level.tag->dt_kids.push_back(&kid);
            open(kid, members, false);
        }
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

    dr_tags_t& tags_;
    dr_findings_c& findings_;
    std::string place_; // of the tree
    std::vector<level_s> levels_;
};

// --- texts ---

// Notes the allocations that fail in jansson: it goes on after some of them, with a shorter text.
class json_memory_c {
  public:
    json_memory_c() : guard_(lock()) {
        has_failed_ = false;
        json_malloc_t found = nullptr;
        json_get_alloc_funcs(&found, &free_);
        malloc_.store(found, std::memory_order_relaxed);
        json_set_alloc_funcs(allocate, free_);
    }
    ~json_memory_c() {
        json_malloc_t now = nullptr;
        json_free_t free_now = nullptr;
        json_get_alloc_funcs(&now, &free_now);
        if (now == allocate) { // the daemon has not set its own meanwhile
            json_set_alloc_funcs(malloc_.load(std::memory_order_relaxed), free_);
        }
    }
    json_memory_c(const json_memory_c&) = delete;
    json_memory_c& operator=(const json_memory_c&) = delete;

    static bool has_failed() { return has_failed_; }

  private:
    static drend_lock_c& lock() {
        static drend_lock_c one_at_a_time;
        return one_at_a_time;
    }

    // Called for whoever uses jansson meanwhile.
    static void* allocate(size_t size) {
        void* memory = malloc_.load(std::memory_order_relaxed)(size);
        has_failed_ = has_failed_ || memory == nullptr;
        return memory;
    }

    static inline std::atomic<json_malloc_t> malloc_{malloc};
    static inline thread_local bool has_failed_ = false;
    drend_lock_guard_c guard_;
    json_free_t free_ = nullptr;
};

class text_reader_c {
  public:
    text_reader_c(const char* path, dr_daemon_context_c& set, dr_findings_c& findings)
        : path_(path), set_(set), findings_(findings), tags_(*set.tags, findings) {}

    int read(const std::string& text) {
        const std::unique_ptr<json_t, release_json_s> root = parse(text);
        if (!root) {
            return -1;
        }
        if (!json_is_array(root.get())) {
            findings_.add(dr_finding_e::LEFT_OUT, path_, "the root is not an array");
            return -1;
        }
        for (size_t i = 0; i < json_array_size(root.get()); ++i) {
            read_entry(json_array_get(root.get(), i), std::to_string(i + 1));
        }
        return 0;
    }

  private:
    std::unique_ptr<json_t, release_json_s> parse(const std::string& text) {
        json_error_t error;
        const json_memory_c noted_meanwhile;
        std::unique_ptr<json_t, release_json_s> root(
            json_loadb(text.data(), text.size(), 0, &error));
        if (json_memory_c::has_failed()) {
            throw std::bad_alloc();
        }
        if (!root) {
            findings_.add(dr_finding_e::LEFT_OUT,
                          path_ + " : " + std::to_string(error.line) + ":" +
                              std::to_string(error.column),
                          error.text);
        }
        return root;
    }

    void read_entry(json_t* entry, const std::string& number) {
        const std::string place = path_ + " : entry " + number;
        if (json_is_string(json_object_get(entry, "dc_name"))) {
            read_command(entry, place);
        } else if (json_is_string(json_object_get(entry, "dc_external_notify_name"))) {
            read_event(entry, place);
        } else if (json_is_string(json_object_get(entry, "dc_notify_leaf"))) {
            read_notification_leaf(entry);
        } else {
            findings_.add(dr_finding_e::SKIPPED_ENTRY, path_ + " at entry " + number,
                          "Neither a command nor a notification, moving on to next entry");
        }
    }

    void read_command(json_t* entry, const std::string& entry_place) {
        const auto text = [entry](const char* member) {
            return text_of(json_object_get(entry, member));
        };
        const std::string place =
            entry_place + ", command '" + shown(text("dc_name")) + "'";
        if (dri_is_taken_name(text("dc_name"))) {
            findings_.add(dr_finding_e::LEFT_OUT, place, "a fixed command has this name");
            return;
        }
        drend_tag_c* tag = nullptr;
        if (!tags_.read(json_object_get(entry, "dc_tag"), place, tag)) {
            return;
        }
        auto command = std::make_unique<drend_command_c>(
            text("dc_name"), text("dc_full_command"), text("dc_cli_command"),
            text("dc_cli_merge_tag"), text("dc_app_name"), text("dc_top_of_output"),
            text("dc_help"),
            static_cast<int32_t>(integer_of(json_object_get(entry, "dc_message_id"), -1)));
        command->dc_load_order = static_cast<unsigned>(set_.commands.size());
        command->dc_tag = tag;
        if (tag != nullptr) {
            tag->dt_commands.insert(command.get());
        }
        set_.commands.push_back(nullptr); // what may fail comes first
        set_.commands.back() = command.release();
    }

    void read_event(json_t* entry, const std::string& entry_place) {
        const auto text = [entry](const char* member) {
            return text_of(json_object_get(entry, member));
        };
        const std::string place =
            entry_place + ", notification '" + shown(text("dc_external_notify_name")) + "'";
        auto event = std::make_unique<drend_event_c>(
            text("dc_app_name"), text("dc_external_notify_name"),
            text("dc_internal_notify_name"), dri_pasted_namespace(text("dc_namespace")));
        if (!dri_are_xml_attributes(event->dc_namespace, "")) {
            findings_.add(dr_finding_e::LEFT_OUT, place,
                          "dc_namespace is no list of attributes");
            return;
        }
        if (!tags_.read(json_object_get(entry, "dc_tag"), place, event->dc_tag)) {
            return;
        }
        auto& events = set_.external_events[event->dc_internal_notify_name];
        events.push_back(nullptr); // what may fail comes first
        events.back() = event.release();
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

    const std::string path_;
    dr_daemon_context_c& set_;
    dr_findings_c& findings_;
    tag_reader_c tags_;
};

} // namespace

int dri_read_definitions(const char* path, const std::string& text,
                         dr_daemon_context_c& set, dr_findings_c& findings) {
    return text_reader_c(path, set, findings).read(text);
}
