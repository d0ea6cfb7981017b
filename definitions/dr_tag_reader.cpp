// SPDX-License-Identifier: BSD-2-Clause

// What a tag object becomes, with every fault that shows in one tree.
//
// The members of an object are sorted out in one pass, and the tree is read with a stack of its
// own: how deep a file nests is the file's choice.
//
// A tag that would not come out as an element of an XML document is left out with its kids.
#include "definitions/dr_tag_reader.h"

#include <algorithm>
#include <cctype>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "definitions/dr_nearest.h"
#include "definitions/dr_xml_text.h"
#include "frame/dr_no_such.h"
#include "frame/drend_trace.h"

namespace {

// --- values of members; those of another type count as absent ---

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

std::vector<std::string> words_of(const dr_json_c& array) {
    std::vector<std::string> words;
    for (dr_json_elements_c texts(array); !texts.is_at_end();) {
        append_words(texts.take().text(), words);
    }
    return words;
}

using pairs_t = std::vector<std::pair<std::string, std::string>>;

pairs_t pairs_of(const dr_json_c& array) {
    pairs_t pairs;
    for (dr_json_elements_c elements(array); !elements.is_at_end();) {
        const dr_json_c pair = elements.take();
        if (pair.size() != 2) {
            continue;
        }
        dr_json_elements_c texts(pair);
        const dr_json_c from = texts.take();
        const dr_json_c to = texts.take();
        if (from.is_text() && to.is_text()) {
            pairs.emplace_back(from.text(), to.text());
        }
    }
    return pairs;
}

std::shared_ptr<const dr_value_map_c> map_of(const dr_json_c& array) {
    const pairs_t pairs = pairs_of(array);
    return pairs.empty() ? nullptr : std::make_shared<const dr_value_map_c>(pairs);
}

// --- tables ---

int number_of(const dr_tag_members_t& members, dr_tag_member_e member) {
    const int64_t number = members[member].integer(0);
    const dr_member_s& row = DR_TAG_MEMBERS[member];
    return number < row.least || number > row.most ? 0 : static_cast<int>(number);
}

std::shared_ptr<const dr_table_tag_s> table_of(const dr_tag_members_t& members) {
    const bool says_something = std::any_of(
        members.begin() + DR_MEMBER_HEADING, members.begin() + DR_MEMBER_ROWS + 1,
        [](const dr_json_c& member) { return member.is_there(); });
    if (!says_something) {
        return nullptr;
    }
    auto table = std::make_shared<dr_table_tag_s>();
    table->heading = members[DR_MEMBER_HEADING].text();
    table->unit = members[DR_MEMBER_UNIT].text();
    table->width = number_of(members, DR_MEMBER_WIDTH);
    table->column = number_of(members, DR_MEMBER_COLUMN);
    table->is_wide = members[DR_MEMBER_WIDE].text() == "true";
    if (const auto* align =
            dri_find_word(DR_ALIGN_WORDS, members[DR_MEMBER_ALIGN].text())) {
        table->align = align->align;
    }
    if (const auto* rows = dri_find_word(DR_ROWS_WORDS, members[DR_MEMBER_ROWS].text())) {
        table->rows = rows->rows;
    }
    if (const auto* counter =
            dri_find_word(DR_COUNTER_WORDS, members[DR_MEMBER_COUNTER].text())) {
        table->counter = counter->counter;
    }
    for (const auto& [text, word] : pairs_of(members[DR_MEMBER_STATE])) {
        if (const auto* state = dri_find_word(DR_STATE_WORDS, word)) {
            table->states.emplace_back(text, state->state);
        }
    }
    return table;
}

// --- tag objects ---

uint32_t flags_of(const dr_tag_members_t& members) {
    uint32_t flags = dri_name_flags(members[DR_MEMBER_NAME].text());
    flags |= members[DR_MEMBER_SOURCE].text().empty() ? 0U : DT_FLAG_SOURCE_CHILD;
    flags |= members[DR_MEMBER_PRESENCE].text().empty() ? 0U : DT_FLAG_PRESENCE;
    flags |= members[DR_MEMBER_ZERO_SUPPRESSION].text() == "true" ? DT_FLAG_ZERO_SUPPRESSION
                                                                  : 0U;
    flags |= members[DR_MEMBER_MANDATORY].text() == "true" ? DT_FLAG_MANDATORY : 0U;
    return flags;
}

void set_types(drend_tag_c& tag, const dr_tag_members_t& members) {
    if (const auto* type = dri_find_word(DR_TYPE_WORDS, members[DR_MEMBER_TYPE].text())) {
        tag.dt_type = type->type;
        tag.set_flags(type->flags);
    }
    if (const auto* data_type =
            dri_find_word(DR_DATA_TYPE_WORDS, members[DR_MEMBER_DATA_TYPE].text())) {
        tag.dt_data_type = data_type->code;
        tag.dt_has_data_type = true;
    }
    if (tag.is_decimal64()) {
        tag.dt_decimal64_fraction =
            static_cast<uint8_t>(members[DR_MEMBER_FRACTION].integer(-1));
    }
}

// Says which kind of data a tag is, within one that is configuration or not.
void set_content(drend_tag_c& tag, const dr_tag_members_t& members, bool is_within_config) {
    const auto* said = dri_find_word(DR_CONFIG_WORDS, members[DR_MEMBER_CONFIG].text());
    tag.dt_is_config = said == nullptr ? is_within_config : said->is_config;
    const bool is_data = tag.dt_type == DT_TYPE_LEAF || tag.dt_type == DT_TYPE_LEAF_LIST ||
                         tag.has_presence();
    if (is_data) {
        tag.dt_content = tag.dt_is_config ? DT_CONTENT_CONFIG : DT_CONTENT_STATE;
    }
}

// A value behind a prefix is a text.
dr_json_typing_c typing_of(const drend_tag_c& tag) {
    if (!tag.dt_prefix.empty()) {
        return dr_json_typing_c::strings();
    }
    return tag.dt_has_data_type ? dr_json_typing_c(tag.dt_data_type) : dr_json_typing_c();
}

// Appends a tag without its kids.
drend_tag_c& add_tag(dr_tags_t& tags, const dr_tag_members_t& members) {
    drend_tag_c& tag =
        tags.emplace_back(members[DR_MEMBER_NAME].text(), members[DR_MEMBER_SOURCE].text());
    if (members[DR_MEMBER_NAMESPACE].is_there()) {
        tag.set_namespace(members[DR_MEMBER_NAMESPACE].text());
    }
    tag.dt_module = members[DR_MEMBER_MODULE].text();
    tag.dt_prefix = members[DR_MEMBER_PREFIX].text();
    tag.dt_help = dri_without_controls(members[DR_MEMBER_HELP].text());
    tag.dt_map = map_of(members[DR_MEMBER_MAP]);
    tag.dt_table = table_of(members);
    tag.dt_keys = words_of(members[DR_MEMBER_KEY]);
    tag.dt_styles = words_of(members[DR_MEMBER_STYLE]);
    tag.set_flags(flags_of(members));
    set_types(tag, members);
    tag.dt_json_typing = typing_of(tag);
    tag.dt_fid = static_cast<int32_t>(members[DR_MEMBER_FID].integer(-1));
    return tag;
}

// --- what comes out as an element ---

// How many levels of a tag's path a finding shows.
constexpr size_t SHOWN_LEVELS = 8;
// The library prints it on the top element when a style is asked for.
constexpr std::string_view STYLE_ATTRIBUTE = "orvex:style";

// What keeps a tag from being an element; an empty sentence: nothing.
struct fault_s {
    dr_rule_e rule = dr_rule_e::BAD_NAME;
    dr_tag_member_e member = DR_MEMBER_NAME;
    std::string sentence{};
};

// Style words of commands and their parameters become the value of an attribute.
fault_s fault_of_styles(const drend_tag_c& tag) {
    for (const std::string& style : tag.dt_styles) {
        if (!dri_is_xml_attribute(style)) {
            return {dr_rule_e::BAD_TEXT, DR_MEMBER_STYLE,
                    "dts_style: '" + dri_shown(style) + "' is no text of an attribute"};
        }
    }
    return {};
}

// A colon stands between a module and what it names.
bool is_module(std::string_view text) {
    return text.empty() ||
           (dri_is_xml_name(text) && text.find(':') == std::string_view::npos);
}

fault_s fault_of(const drend_tag_c& tag, bool is_top) {
    if (tag.is_hidden() && tag.dt_type != DT_TYPE_LEAF) {
        return {}; // only its kids are printed
    }
    if (tag.name().empty()) {
        return {dr_rule_e::BAD_NAME, DR_MEMBER_NAME, "an element needs a name"};
    }
    if (!dri_is_xml_name(tag.name())) {
        return {dr_rule_e::BAD_NAME, DR_MEMBER_NAME,
                "'" + dri_shown(tag.name()) + "' is no name of an element"};
    }
    if (!dri_are_xml_attributes(tag.xmlns(), is_top ? STYLE_ATTRIBUTE : "")) {
        return {dr_rule_e::BAD_NAMESPACE, DR_MEMBER_NAMESPACE,
                "dts_namespace is no list of attributes"};
    }
    if (!is_module(tag.dt_module)) {
        return {dr_rule_e::BAD_NAME, DR_MEMBER_MODULE,
                "dts_module: '" + dri_shown(tag.dt_module) + "' is no name of a module"};
    }
    if (!dri_is_xml_content(tag.dt_prefix)) {
        return {dr_rule_e::BAD_TEXT, DR_MEMBER_PREFIX,
                "dts_prefix is no text of an element"};
    }
    return fault_of_styles(tag);
}

// Whether kids of one name are different elements, or styles choose between them.
bool may_be_chosen(const drend_tag_c& a, const drend_tag_c& b) {
    return a.xmlns() != b.xmlns() || (!a.dt_styles.empty() && !b.dt_styles.empty());
}

void tell_parent(drend_tag_c& kid, drend_tag_c& parent) {
    if (kid.is_leaf_list_value()) {
        kid.dt_map = parent.dt_map;
        kid.dt_prefix = parent.dt_prefix;
        const bool has_own_type = kid.dt_has_data_type || !parent.dt_has_data_type;
        kid.dt_json_typing = has_own_type ? typing_of(kid) : parent.dt_json_typing;
    } else {
        parent.add_what_is_in(kid);
    }
}

} // namespace

dr_tag_reader_c::dr_tag_reader_c(dr_daemon_context_c& set, const dr_finding_s& finding,
                                 dr_findings_c& findings)
    : set_(set), finding_(finding), findings_(findings),
      report_([this](dr_rule_e rule, dr_severity_e severity, dr_text_place_s place,
                     std::string sentence, std::string_view nearest) {
          dr_finding_s found = finding_;
          found.path = path();
          findings_.add(std::move(found), rule, severity, place, std::move(sentence),
                        nearest);
      }) {}

bool dr_tag_reader_c::read(const dr_json_c& object, drend_tag_c*& root) {
    levels_.clear();
    root = nullptr;
    if (!object.is_object()) {
        return true;
    }
    root = read_tag(object, 1, false);
    while (!levels_.empty()) {
        level_s& level = levels_.back();
        if (!level.input_kids.is_at_end()) {
            add_kid(*level.tag, level.input_kids, true);
        } else if (!level.kids.is_at_end()) {
            add_kid(*level.tag, level.kids, false);
        } else {
            close();
        }
    }
    return root != nullptr;
}

// Reads a tag, number `position` of its kind in the innermost one. Null when it is left out.
drend_tag_c* dr_tag_reader_c::read_tag(const dr_json_c& object, size_t position,
                                       bool is_input_kid) {
    position_ = position;
    name_ = object.member("dts_name").text();
    dr_tag_members_t members;
    dri_sort_members(object, DR_TAG_MEMBERS, members, report_);
    drend_tag_c& tag = add_tag(*set_.tags, members);
    set_content(tag, members, !levels_.empty() && levels_.back().tag->dt_is_config);
    tag.dt_place = {&set_.files.back(), object.place(), members[DR_MEMBER_SOURCE].place()};
    const fault_s fault =
        is_input_kid ? fault_of_styles(tag) : fault_of(tag, levels_.empty());
    if (!fault.sentence.empty()) {
        const dr_json_c& at = members[fault.member];
        report_(fault.rule, dr_severity_e::ERROR,
                at.is_there() ? at.place() : object.place(), fault.sentence, {});
        set_.tags->pop_back();
        return nullptr;
    }
    if (!is_input_kid) {
        dri_check_tag(tag, members, object.place(), report_);
    }
    tag.dt_kids.reserve(members[DR_MEMBER_KIDS].size());
    levels_.push_back({&tag, is_input_kid, members[DR_MEMBER_KEY],
                       dr_json_elements_c(members[DR_MEMBER_INPUT_KIDS]),
                       dr_json_elements_c(members[DR_MEMBER_KIDS])});
    return &tag;
}

void dr_tag_reader_c::add_kid(drend_tag_c& parent, dr_json_elements_c& objects,
                              bool is_input_kid) {
    const dr_json_c object = objects.take();
    drend_tag_c* kid =
        object.is_object() ? read_tag(object, objects.taken(), is_input_kid) : nullptr;
    if (kid == nullptr) {
        return;
    }
    if (is_input_kid) {
        parent.dt_input_kids.push_back(kid);
        return;
    }
    parent.dt_kids.push_back(kid);
}

// Looks at all kids at once: there may be any number of them.
void dr_tag_reader_c::check_repetitions(const drend_tag_c& parent) {
    std::unordered_map<std::string_view, const drend_tag_c*> by_name;
    std::unordered_set<int> columns;
    for (const drend_tag_c* kid : parent.dt_kids) {
        const auto [known, is_new] = by_name.try_emplace(kid->name(), kid);
        if (!is_new && !kid->is_hidden() && !may_be_chosen(*known->second, *kid)) {
            name_ = kid->name();
            position_ = 1;
            report_(dr_rule_e::REPEATED_KID, dr_severity_e::WARNING, kid->dt_place.tag,
                    "another kid has this name", {});
        }
        const int column = kid->dt_table == nullptr ? 0 : kid->dt_table->column;
        if (column != 0 && !columns.insert(column).second) {
            name_ = kid->name();
            position_ = 1;
            report_(dr_rule_e::REPEATED_COLUMN, dr_severity_e::WARNING, kid->dt_place.tag,
                    "another kid has column " + std::to_string(column), {});
        }
    }
}

// The kids of the innermost tag are complete.
void dr_tag_reader_c::close() {
    check_repetitions(*levels_.back().tag);
    mark_keys(levels_.back());
    const level_s done = levels_.back();
    levels_.pop_back();
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

void dr_tag_reader_c::mark_keys(const level_s& level) {
    position_ = 0;
    for (const std::string& key : level.tag->dt_keys) {
        if (drend_tag_c* kid = level.tag->find_child(key)) {
            kid->set_flags(DT_FLAG_KEY);
            continue;
        }
        dr_nearest_c nearest(key);
        for (const drend_tag_c* kid : level.tag->dt_kids) {
            nearest.offer(kid->name());
        }
        report_(dr_rule_e::KEY_WITHOUT_KID, dr_severity_e::ERROR, level.key.place(),
                "dts_key: no kid is called '" + dri_shown(key) + "'", nearest.found());
    }
}

// The path of the tag that is being read; of the innermost level when its position is 0.
std::string dr_tag_reader_c::path() const {
    const size_t hidden = levels_.size() - std::min(levels_.size(), SHOWN_LEVELS);
    std::string path = hidden > 0 ? ".../" : "";
    for (size_t i = hidden; i < levels_.size(); ++i) {
        path += dri_shown(levels_[i].tag->name()) + "/";
    }
    if (position_ > 0) {
        return path +
               (name_.empty() ? "[" + std::to_string(position_) + "]" : dri_shown(name_));
    }
    path.pop_back();
    return path;
}
