// SPDX-License-Identifier: BSD-2-Clause

#include "random_case.h"

#include <algorithm>
#include <set>

#include "drend.h"

namespace {

constexpr unsigned MOST_ROWS = 3;
constexpr unsigned DEEPEST = 4;
const std::string LEAF_LIST_VALUE = "__zor_leaf_list_value__";

const std::vector<const char*> VALUES[] = {
    {"two", "1.5", "0", "", "a<b&c>d", "\"q\\\"", "it's", "\x01\b\f\t\r\xff", "\u20ac",
     "a/b[c=d]", "\x7f\u00e9\U0001f600\n\xed\xa0\x80\xef\xbf\xbf", "7"},
    {"0", "1", "5", "-7", "2147483647", "255"},
    {"0.5", "12.75", "-0.25", "0", "3"},
    {"true", "false"}};
constexpr node_s::form_e DECIMAL_FORMS[] = {node_s::REAL, node_s::REAL, node_s::INTEGER,
                                            node_s::TEXT};
constexpr reading_s ODD_READINGS[] = {{DREND_OK, DREND_OK, false},
                                      {DREND_ERR, DREND_ERR},
                                      {DREND_SKIP_LEAF, DREND_SKIP_LEAF},
                                      {DREND_ERR, DREND_OK},
                                      {DREND_DEFER, DREND_OK}};
const std::string DATA_TYPES[] = {"string", "uint8",   "int32", "uint32", "int8",
                                  "uint64", "boolean", "bits",  "empty",  "uint16"};
const std::string NAMESPACES[] = {"xmlns='urn:e'", "xmlns='urn:f' xmlns:p='urn:p'",
                                  "p:a='1' b='2'", "xmlns:p='urn:p' p:a='1'"};
const std::string ODD_TEXTS[] = {"", "a b", "1st", "e\"", "e\\", "e<f", "e&", "\u00e9"};
const std::string ODD_SOURCES[] = {"nowhere", "..", ".", "/", "m[", "m[n=o]", "m//"};
const std::string ODD_FILTERS[] = {"/", "]", "/a[[", "//*", "/none"};
const std::string PREDICATES[] = {"[%='two']",
                                  "[% > 0]",
                                  "[contains(%, 't')]",
                                  "[%]",
                                  "[*]",
                                  "[(%='0') or (%='5')]",
                                  "[% < 3][%='0']",
                                  "[(% > 0) and starts-with(%, \\\"2\\\")]",
                                  "[%='two' and %]",
                                  "[starts-with(%)]",
                                  "[local_name()='e2'][% = 5]",
                                  "[match(%, '^[0-9]')]",
                                  "[local_name()='e1']"};
const std::string MAPS[] = {R"([["two", "2"], ["*", "*"]])",
                            R"([["*", "='<'+val('.')+'0'"]])", R"([["0", "zero"]])",
                            R"([["5", "1.5"], ["*", "two"]])",
                            R"([["*", "='1'+val('../%')+'0'"]])"};

std::string replaced(std::string text, const std::string& name) {
    for (size_t at; (at = text.find('%')) != std::string::npos;) {
        text.replace(at, 1, name);
    }
    return text;
}

std::string quoted(const std::string& text) {
    std::string json = "\"";
    for (const char c : text) {
        json += c == '"' || c == '\\' ? "\\" : "";
        json += c;
    }
    return json + "\"";
}

template <typename Items, typename Function>
std::string listed(const Items& items, Function&& json_of) {
    std::string json;
    for (const auto& item : items) {
        json += (json.empty() ? "" : ", ") + json_of(item);
    }
    return "[" + json + "]";
}

std::string json_of(const tag_s& tag) {
    std::string json = "{\"dts_name\": " + quoted(tag.name) +
                       ", \"dts_type\": " + quoted(tag.type) +
                       ", \"dts_source\": " + quoted(tag.source);
    for (const auto& [member, value] : tag.members) {
        json += ", \"dts_" + member + "\": " + value;
    }
    return json + ", \"dts_kids\": " + listed(tag.kids, json_of) +
           ", \"dts_input_kids\": " + listed(tag.input_kids, json_of) + "}";
}

uint64_t mixed(uint64_t a, uint64_t b, uint64_t c) {
    return dice_c(a * 0x9E3779B97F4A7C15U + b * 0xC2B2AE3D27D4EB4FU + c).next();
}

// Where elements are drawn.
struct place_s {
    node_s* node;
    std::string way;  // from the walk's context to the node
    bool has_context; // else there is no way but from the root
    unsigned rows;    // of the enclosing lists
    unsigned depth;
};

template <typename Condition>
bool has_tag(const std::vector<tag_s>& tags, const Condition& condition) {
    return std::any_of(tags.begin(), tags.end(), [&](const tag_s& tag) {
        return condition(tag) || has_tag(tag.kids, condition);
    });
}

bool is_internal(const tag_s& tag) {
    return tag.name.starts_with("__zor_internal");
}

class drawer_c {
  public:
    explicit drawer_c(case_s& drawn) : case_(drawn), dice_(drawn.seed) {}

    void draw() {
        case_.command = dice_.chance(10) ? "corvane-netconf-get" : "c";
        case_.nodes.push_back({&case_, node_s::CONTAINER, 0, "", 1});
        const place_s root{&case_.nodes.front(), "", false, 1, 0};
        left_ = 4 + dice_.below(20);
        case_.tops.push_back(draw_top(root));
        if (dice_.chance(25)) { // a definition that is merged with it
            case_.tops.push_back(case_.tops[0]);
            tag_s& second = case_.tops[1];
            if (second.type == "container" && second.source.empty()) {
                second.kids = {dice_.one_of(second.kids)};
                add_kids(second, root);
            }
        }
        draw_argument();
    }

  private:
    using maker_t = tag_s (drawer_c::*)(place_s);

    tag_s draw_top(const place_s& root) {
        static constexpr maker_t makers[] = {&drawer_c::container, &drawer_c::container,
                                             &drawer_c::list,      &drawer_c::list,
                                             &drawer_c::group,     &drawer_c::group,
                                             &drawer_c::leaf_list, &drawer_c::leaf};
        tag_s top = (this->*dice_.one_of(makers))(root);
        maybe(25, top, "style", dice_.chance(50) ? "[\"brief\"]" : "[\"brief wide\"]");
        for (const tag_s& kid : top.kids) {
            const tag_s& named = kid.kids.empty() ? kid : dice_.one_of(kid.kids);
            if (dice_.chance(15)) {
                top.input_kids.push_back({named.name, "", "", {{"style", "[\"brief\"]"}}});
                look_up(named);
            }
        }
        return top;
    }

    void draw_argument() {
        for (const tag_s& kid : case_.tops[0].input_kids) {
            if (dice_.chance(50)) {
                case_.argument += kid.name + "='" + dice_.one_of(VALUES[0]) + "' ";
            }
        }
        if (dice_.chance(40)) {
            case_.argument += "filter=\"" + draw_filter(case_.tops[0]) + "\" ";
        }
        case_.argument +=
            dice_.chance(15) ? "depth=" + std::to_string(1 + dice_.below(4)) + " " : "";
        case_.argument += dice_.chance(15) ? "compact " : "";
        case_.argument += dice_.chance(15) ? "ascii " : "";
    }

    std::string draw_filter(const tag_s& tag) {
        const bool is_hidden = tag.type == "choice" || tag.type == "case";
        std::string filter = is_hidden ? "" : "/" + tag.name;
        if (tag.kids.empty() || dice_.chance(20)) {
            return dice_.chance(90) ? filter : dice_.one_of(ODD_FILTERS);
        }
        if (!is_hidden && dice_.chance(50)) {
            const tag_s& kid = dice_.one_of(tag.kids);
            look_up(kid);
            filter += replaced(dice_.one_of(PREDICATES), kid.name);
        }
        return filter + draw_filter(dice_.one_of(tag.kids));
    }

    // Notes that leaves are read for more than being printed: one, or all that a name may mean.
    void look_up(const tag_s& tag) {
        for (node_s& node : case_.nodes) {
            node.is_looked_up |= &node == tag.leaf || tag.name == LEAF_LIST_VALUE;
        }
    }

    void maybe(unsigned percent, tag_s& tag, const char* member, const std::string& value) {
        if (dice_.chance(percent)) {
            tag.members[member] = value;
        }
    }

    node_s& add_node(node_s::kind_e kind, const place_s& place) {
        const auto id = static_cast<unsigned>(case_.nodes.size());
        node_s node{&case_, kind, id, "", place.rows};
        node.path = place.node->path + "/" + node.name();
        case_.nodes.push_back(node);
        return case_.nodes.back();
    }

    const std::string& odd_text() {
        case_.may_be_refused = true;
        return dice_.one_of(ODD_TEXTS);
    }

    tag_s element(const char* type, place_s& place) {
        left_ -= left_ > 0;
        tag_s tag{"e" + std::to_string(++names_), type};
        if (dice_.chance(5)) {
            tag.name.insert(0, "__zor_internal_");
        } else if (place.depth == 0 && dice_.chance(8)) {
            tag.name = dice_.chance(70) ? "orvex-notification-root" : LEAF_LIST_VALUE;
            case_.has_twins = true; // the rows of such a list are one object
        } else if (dice_.chance(1)) {
            tag.name = odd_text();
        }
        maybe(8, tag, "namespace", quoted(dice_.one_of(NAMESPACES)));
        maybe(5, tag, "module", dice_.chance(50) ? "\"m\"" : "\"n\"");
        if (dice_.chance(1)) {
            tag.members["namespace"] = quoted(odd_text());
        }
        return tag;
    }

    // An element whose source leads to a new node, at which `place` is then.
    tag_s element_of(node_s::kind_e kind, const char* type, place_s& place) {
        tag_s tag = element(type, place);
        node_s& node = add_node(kind, place);
        tag.source = place.has_context ? place.way + node.name() : node.path;
        place.node = &node;
        place.has_context = true;
        place.way.clear();
        return tag;
    }

    tag_s leaf(place_s place) {
        tag_s tag = element_of(node_s::LEAF, "leaf", place);
        node_s& node = *(tag.leaf = place.node);
        node.form = static_cast<node_s::form_e>(dice_.below(std::size(VALUES)));
        node.odd = dice_.chance(75) ? node.odd : dice_.one_of(ODD_READINGS);
        if (dice_.chance(25)) {
            tag.members["data_type"] = "\"decimal64\"";
            tag.members["data_decimal64_fraction"] = std::to_string(1 + dice_.below(3));
            node.form = dice_.one_of(DECIMAL_FORMS);
        } else if (dice_.chance(30)) {
            tag.members["data_type"] = quoted(dice_.one_of(DATA_TYPES));
        }
        maybe(5, tag, "prefix", "\"p:\"");
        if (dice_.chance(1)) {
            tag.members["prefix"] = quoted(odd_text());
        }
        maybe(10, tag, "style", "[\"wide\"]");
        if (dice_.chance(15)) {
            draw_column(tag);
        }
        maybe(10, tag, "zero_suppression", "\"true\"");
        if (dice_.chance(2)) {
            tag.source = dice_.one_of(ODD_SOURCES);
        }
        if (dice_.chance(15)) {
            node_s& before = case_.nodes[node.id - 1]; // a sibling, perhaps
            const std::string& map = dice_.one_of(MAPS);
            tag.members["map"] = replaced(map, before.name());
            if (map.find("val") != std::string::npos) {
                before.is_looked_up = node.is_looked_up = true;
            }
        }
        return tag;
    }

    // What tables alone show.
    void draw_column(tag_s& tag) {
        maybe(50, tag, "width", std::to_string(1 + dice_.below(4)));
        maybe(50, tag, "column", std::to_string(1 + dice_.below(3)));
        maybe(30, tag, "align", dice_.chance(50) ? "\"left\"" : "\"right\"");
        maybe(30, tag, "heading", "\"Heading\"");
        maybe(30, tag, "unit", "\"units\"");
        maybe(30, tag, "wide", "\"true\"");
    }

    tag_s container(place_s place) {
        tag_s tag = element_of(node_s::CONTAINER, "container", place);
        if (dice_.chance(15)) { // two steps at once
            place.node = &add_node(node_s::CONTAINER, place);
            tag.source += "/" + place.node->name();
        }
        maybe(10, tag, "presence", "\"yes\"");
        if (dice_.chance(30)) {
            add_named_kids(tag, place);
        } else {
            add_kids(tag, place);
        }
        tag.source = dice_.chance(98) ? tag.source : dice_.one_of(ODD_SOURCES);
        return tag;
    }

    // The daemon names the kids; an odd one also what is no kid, or a kid twice.
    void add_named_kids(tag_s& tag, place_s place) {
        node_s& node = *place.node;
        std::vector<std::optional<std::string>> names;
        const bool is_odd = dice_.chance(40);
        node.kind = node_s::DYNAMIC;
        node.marks_by_element = dice_.chance(30);
        case_.has_twins |= is_odd;
        add_kids(tag, place);
        for (const tag_s& kid : tag.kids) {
            names.push_back(kid.source.empty() ? "nobody" : kid.source);
        }
        if (is_odd) {
            tag.kids.push_back(group(place)); // which may have no source
            names.insert(names.end(), {"", std::nullopt, names[0]});
        }
        for (unsigned i = 0; i < names.size() && dice_.chance(80); ++i) {
            std::swap(names[i], names[i + dice_.below(names.size() - i)]);
            node.marks.push_back({i});
            node.named.push_back(names[i]);
        }
    }

    // Without a node of its own.
    tag_s group(place_s place) {
        static const char* const types[] = {"container", "container", "choice", "case"};
        tag_s tag = element(dice_.one_of(types), place);
        tag.source = place.has_context && place.way.empty() && dice_.chance(20) ? "." : "";
        add_kids(tag, place);
        return tag;
    }

    // A container that a leaf switches on.
    tag_s presence(place_s place) {
        place_s inside = place;
        tag_s tag = leaf(place);
        tag.type = "container";
        tag.members["presence"] = "\"yes\"";
        tag.leaf->form = node_s::TRUTH;
        tag.leaf->is_looked_up = true;
        tag.leaf = nullptr;
        inside.has_context = true;
        inside.way = "../";
        inside.depth = DEEPEST; // leaves alone
        add_kids(tag, inside);
        return tag;
    }

    // An element with rows, at which `place` is then.
    tag_s element_of_rows(const char* type, place_s& place) {
        tag_s tag = element_of(node_s::LIST, type, place);
        node_s& node = *place.node;
        node.most = dice_.below(MOST_ROWS + 1);
        for (unsigned i = 0; i < node.rows * node.most; ++i) {
            node.marks.push_back({i});
        }
        place.rows = std::max<unsigned>(1, node.rows * node.most);
        return tag;
    }

    tag_s list(place_s place) {
        tag_s tag = element_of_rows("list", place);
        std::set<std::string> keys;
        add_kids(tag, place);
        // From the last kid on, for the first one of a name is the key.
        for (auto kid = tag.kids.rbegin(); kid != tag.kids.rend(); ++kid) {
            if (kid->leaf != nullptr && (keys.count(kid->name) != 0 || dice_.chance(35))) {
                keys.insert(kid->name);
                kid->leaf->is_key = true;
                kid->members.erase(
                    "style"); // hidden where it stands, it would leave no row
            }
        }
        tag.members["key"] = listed(keys, quoted);
        static const char* const ways[] = {"\"blocks\"", "\"repeated\"", "\"sections\""};
        maybe(40, tag, "rows", dice_.one_of(ways));
        node_s* first = tag.kids.front().leaf;
        if (first != nullptr && dice_.chance(8)) { // one row
            const std::string any = std::to_string(dice_.below(6));
            const bool is_whole = first->form == node_s::INTEGER; // as a path has it
            tag.source += "[" + first->name() + "=" +
                          (is_whole ? case_.value_of(*first, 0) : any) + "]";
            first->is_looked_up = true;
        }
        return tag;
    }

    tag_s leaf_list(place_s place) {
        tag_s tag = element_of_rows("leaf-list", place);
        const bool is_odd = dice_.chance(20);
        tag.kids = {value(place)};
        if (is_odd) {
            case_.has_twins = true;
            tag.kids[0].type = dice_.chance(50) ? "" : "leaf";
            add_kids(tag, place);
            tag.kids.erase(tag.kids.begin(), tag.kids.begin() + dice_.below(2));
        }
        return tag;
    }

    // The value of a leaf-list, which may stand in any place.
    tag_s value(place_s place) {
        tag_s tag = leaf(place);
        tag.name = LEAF_LIST_VALUE;
        tag.members.erase("map");
        tag.members.erase("style");
        return tag;
    }

    void add_kids(tag_s& tag, place_s place) {
        static constexpr maker_t makers[] = {
            &drawer_c::container, &drawer_c::container, &drawer_c::list,  &drawer_c::list,
            &drawer_c::list,      &drawer_c::leaf_list, &drawer_c::group, &drawer_c::group,
            &drawer_c::presence,  &drawer_c::value};
        const bool has_twins = dice_.chance(4); // two kids of one name
        case_.has_twins |= has_twins;
        ++place.depth;
        for (unsigned i = 1 + dice_.below(4); i-- > 0;) {
            const bool is_leaf = dice_.chance(60) || place.depth >= DEEPEST || left_ == 0;
            tag.kids.push_back(is_leaf ? leaf(place)
                                       : (this->*dice_.one_of(makers))(place));
        }
        if (has_twins) {
            tag.kids.push_back(tag.kids[0]);
        }
    }

    case_s& case_;
    dice_c dice_;
    unsigned names_ = 0;
    unsigned left_ = 0; // elements to be drawn
};

} // namespace

bool case_s::has_internal_lists() const {
    return has_tag(tops, [](const tag_s& tag) {
        return (tag.type == "list" || tag.type == "leaf-list") && is_internal(tag);
    });
}

uint64_t dice_c::next() {
    state_ += 0x9E3779B97F4A7C15U;
    uint64_t z = state_;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return z ^ (z >> 31);
}

unsigned node_s::bits_of(const char* integer) const {
    constexpr unsigned BITS[] = {7, 8, 15, 16, 31, 32, 63, 64};
    const long long value = atoll(integer);
    for (unsigned at = id;; ++at) {
        const unsigned bits = BITS[at % std::size(BITS)];
        if (value < 0 ? bits % 2 == 1 : bits > 62 || value >> bits == 0) {
            return bits; // what is negative here fits all of them
        }
    }
}

case_s::case_s(uint64_t seed_) : seed(seed_) {
    drawer_c(*this).draw();
}

std::string case_s::json() const {
    return listed(tops, [&](const tag_s& top) {
        return "{\"dc_name\": " + quoted(command) + ", \"dc_tag\": " + json_of(top) + "}\n";
    });
}

const char* case_s::value_of(const node_s& leaf, unsigned row) const {
    const auto& values = VALUES[leaf.form];
    return values[mixed(seed, leaf.id, row) % values.size()];
}

reading_s case_s::reading_of(const node_s& leaf, unsigned row) const {
    return mixed(leaf.id, seed, row) % 2 == 0 ? leaf.odd : reading_s{DREND_OK, DREND_OK};
}

unsigned case_s::count_of(const node_s& list, unsigned row) const {
    return static_cast<unsigned>(mixed(seed, row, list.id) % (list.most + 1));
}
