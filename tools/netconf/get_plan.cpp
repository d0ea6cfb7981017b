// SPDX-License-Identifier: BSD-2-Clause

// No daemon shows two elements of one name, so the elements of a filter stay as they are: whom one
// of them is put to says which namespace it is about.
#include "get_plan.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include "ascii_text.h"

namespace {

constexpr std::string_view XMLNS = ", xmlns ";

// "kid   NAME   KIND, key, xmlns NAMESPACE"; what is not known is passed over.
std::optional<top_element_s> read_top_element(const std::string& line) {
    std::istringstream words(line);
    std::string word;
    top_element_s top;
    words >> word >> top.name.name >> top.kind;
    if (word != "kid" || top.kind.empty()) {
        return std::nullopt;
    }
    top.name.name.erase(0, top.name.name.find(':') + 1); // a prefix
    top.kind.erase(std::min(top.kind.find(','), top.kind.size()));
    const std::size_t xmlns = line.find(XMLNS);
    top.name.xmlns = xmlns == std::string::npos ? "" : line.substr(xmlns + XMLNS.size());
    return top;
}

bool is_same(const top_element_s& a, const top_element_s& b) {
    return a.name.name == b.name.name && a.name.xmlns == b.name.xmlns;
}

// --- filters ---

filter_t everything_of(const top_element_s& top) {
    const std::string xmlns =
        top.name.xmlns.empty() ? "" : " xmlns=\"" + escaped(top.name.xmlns) + "\"";
    return {{top.name, "<" + top.name.name + xmlns + "/>", 1}};
}

bool may_select(const filter_element_s& element, const top_element_s& top) {
    return element.name.name == top.name.name &&
           (element.name.xmlns.empty() || element.name.xmlns == top.name.xmlns);
}

// The share that an element has of the filter; empty when it is not asked for.
filter_t filter_for(const top_element_s& top, const std::optional<filter_t>& filter) {
    if (!filter.has_value()) {
        return everything_of(top);
    }
    filter_t share;
    std::copy_if(filter->begin(), filter->end(), std::back_inserter(share),
                 [&](const filter_element_s& element) { return may_select(element, top); });
    return share;
}

// --- what is asked for at the top ---

struct shown_s {
    top_element_s top;
    filter_t filter;
    std::vector<std::size_t> sources;

    bool is_shared() const { return sources.size() > 1; }
};

std::string conflict_in(const shown_s& shown, const top_element_s& top,
                        const std::vector<source_s>& sources) {
    return top.kind == shown.top.kind && top.kind != "leaf"
               ? ""
               : "shows '" + top.name.name + "' as a " + top.kind + ", " +
                     sources[shown.sources.front()].name + " as a " + shown.top.kind;
}

// Adds an element of the source `number`. What two sources cannot both show is an error.
std::string add(std::vector<shown_s>& all, const top_element_s& top, filter_t filter,
                const std::vector<source_s>& sources, std::size_t number) {
    const auto known = std::find_if(all.begin(), all.end(), [&](const shown_s& shown) {
        return is_same(shown.top, top);
    });
    if (known == all.end()) {
        all.push_back({top, std::move(filter), {number}});
        return "";
    }
    if (known->sources.back() == number) {
        return "";
    }
    known->sources.push_back(number);
    return conflict_in(*known, top, sources);
}

std::string collect(const std::vector<source_s>& sources,
                    const std::optional<filter_t>& filter, std::vector<shown_s>& all) {
    for (std::size_t number = 0; number < sources.size(); ++number) {
        for (const top_element_s& top : sources[number].tops) {
            filter_t share = filter_for(top, filter);
            const std::string why =
                share.empty() ? "" : add(all, top, std::move(share), sources, number);
            if (!why.empty()) {
                return sources[number].name + ": " + why;
            }
        }
    }
    return "";
}

// --- parts ---

// What the source shows alone: of what it is asked for all, or those elements.
void add_own_part(std::vector<reply_part_s>& parts, const std::vector<shown_s>& all,
                  const std::optional<filter_t>& filter, std::size_t number) {
    bool shares = false;
    filter_t own;
    for (const shown_s& shown : all) {
        const bool is_shown = std::find(shown.sources.begin(), shown.sources.end(),
                                        number) != shown.sources.end();
        shares = shares || (is_shown && shown.is_shared());
        if (is_shown && !shown.is_shared()) {
            own.insert(own.end(), shown.filter.begin(), shown.filter.end());
        }
    }
    if (!own.empty()) {
        parts.push_back({false, {number}, shares ? std::move(own) : filter});
    }
}

void add_shared_parts(std::vector<reply_part_s>& parts, const std::vector<shown_s>& all,
                      std::size_t first) {
    for (const shown_s& shown : all) {
        if (shown.is_shared() && shown.sources.front() == first) {
            parts.push_back({shown.top.kind == "container", shown.sources, shown.filter});
        }
    }
}

} // namespace

std::vector<top_element_s> read_top_elements(const std::string& answer) {
    std::vector<top_element_s> tops;
    std::istringstream lines(answer);
    for (std::string line; std::getline(lines, line);) {
        if (auto top = read_top_element(line)) {
            tops.push_back(std::move(*top));
        }
    }
    return tops;
}

std::optional<std::vector<reply_part_s>> plan_reply(const std::vector<source_s>& sources,
                                                    const std::optional<filter_t>& filter,
                                                    std::string& error) {
    std::vector<shown_s> all;
    error = collect(sources, filter, all);
    if (!error.empty()) {
        return std::nullopt;
    }
    std::vector<reply_part_s> parts;
    for (std::size_t number = 0; number < sources.size(); ++number) {
        add_own_part(parts, all, filter, number);
        add_shared_parts(parts, all, number);
    }
    return parts;
}
