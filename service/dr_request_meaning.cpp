// SPDX-License-Identifier: BSD-2-Clause

// Most requests repeat: a poll, a script, an operator's arrow-up. Their text is the key; a tag's
// serial number stands for the command, since definitions are reloaded and addresses come again.

#include "service/dr_request_meaning.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "definitions/dr_content_filter.h"
#include "definitions/dr_filter_steps.h"
#include "definitions/dr_subtree_filter.h"
#include "expr/dr_subtree.h"
#include "expr/dr_text_cache.h"
#include "expr/dr_xp_parser.h"
#include "expr/dri_args.h"
#include "frame/drend_hooks.h"
#include "frame/str_util.h"
#include "service/dr_argument_check.h"
#include "service/dr_derived_filter.h"
#include "service/dr_page_words.h"

namespace {

using meaning_t = std::shared_ptr<const dr_request_meaning_s>;

// Takes row selectors that select everything, "[*]", out of a filter and makes its first "//" a
// "/". Literals are left as they are.
std::string simplify(const char* filter) {
    static constexpr char every_row[] = "[*]";
    std::string simple;
    simple.reserve(strlen(filter));
    bool is_first = true;
    for (const char* c = filter; *c != '\0';) {
        const char* end = c + strcspn(c, "'\"[/");
        if (end > c) {
            simple.append(c, end);
            c = end;
        } else if (*c == '\'' || *c == '"') {
            end = dri_seek_end_quote(c, end) ? end + 1 : c + strlen(c);
            simple.append(c, end);
            c = end;
        } else if (strncmp(c, every_row, strlen(every_row)) == 0) {
            c += strlen(every_row);
        } else {
            simple += *c++;
            if (is_first && simple.ends_with("//")) {
                simple.pop_back();
                is_first = false;
            }
        }
    }
    return simple;
}

// Whether arguments say more than what the answer is to look like; a text without any does.
bool asks_for_content(const drend_tag_c& top_tag, const std::vector<dr_argument_s>& args) {
    const auto is_about_form = [&](const dr_argument_s& arg) {
        return dri_is_about_form(top_tag, arg.name);
    };
    return args.empty() || !std::all_of(args.begin(), args.end(), is_about_form);
}

meaning_t read_meaning(const drend_tag_c& top_tag, const char* text) {
    auto meaning = std::make_shared<dr_request_meaning_s>();
    std::vector<dr_argument_s> args;
    const dr_args_fault_s fault = dri_read_args(text, args); // what comes before one counts
    if (dri_is_strict()) {
        meaning->refusal = dri_check_arguments(top_tag, {text, args, fault});
        if (!meaning->refusal.empty()) {
            return meaning;
        }
    }
    meaning->form = dri_find_form(top_tag, args);
    std::string fault_of_page = dri_read_page(top_tag, args, meaning->page);
    if (fault_of_page.empty()) {
        fault_of_page = dri_read_content(top_tag, args, meaning->content);
    }
    if (!fault_of_page.empty()) {
        meaning->refusal = "error: " + fault_of_page + "\n";
        return meaning;
    }
    meaning->options = dri_form_options(top_tag, args, meaning->refusal);
    if (!meaning->refusal.empty()) {
        return meaning;
    }
    dr_request_wish_s wish = dri_derive_wish(top_tag, args);
    if (asks_for_content(top_tag, args)) {
        meaning->style = std::move(wish.style);
    }
    meaning->filter = std::move(wish.filter);
    const dr_argument_s* given = dri_find_arg(args, "filter");
    if (meaning->filter == nullptr && given != nullptr) {
        const std::string filter(dri_strip_quotes(given->value));
        meaning->filter = dri_read_filter(top_tag, filter, meaning->refusal);
    }
    if (meaning->filter != nullptr) {
        meaning->filter = dri_filter_of_content(top_tag, std::move(meaning->filter),
                                                meaning->content, meaning->refusal);
    }
    return meaning;
}

size_t memory_of(const dr_request_meaning_s& meaning) {
    size_t memory = sizeof meaning + dri_text_memory(meaning.style) + 2 * DRI_BLOCK_MEMORY;
    memory += dri_text_memory(meaning.refusal) + dri_text_memory(meaning.options.list);
    memory += meaning.page.behind == nullptr ? 0 : meaning.page.behind->memory();
    memory += meaning.filter == nullptr ? 0 : meaning.filter->memory();
    return memory;
}

// The meanings, forgotten whenever parsed paths are.
dr_text_cache_c<meaning_t>& cache() {
    static dr_text_cache_c<meaning_t> meanings(size_t{192} * 1024);
    static unsigned forgotten = 0;
    if (std::exchange(forgotten, dri_times_paths_forgotten()) != forgotten) {
        meanings.clear();
    }
    return meanings;
}

} // namespace

meaning_t dri_meaning_of(const drend_tag_c& top_tag, const char* args) {
    static const auto nothing = std::make_shared<const dr_request_meaning_s>();
    if (args == nullptr) {
        return nothing;
    }
    const uint64_t scope = 2 * top_tag.serial() + (dri_is_strict() ? 1 : 0);
    dr_text_cache_c<meaning_t>& known = cache();
    if (const meaning_t* found = known.find(scope, args)) {
        return *found;
    }
    meaning_t meaning = read_meaning(top_tag, args);
    known.keep(scope, args, meaning, memory_of(*meaning));
    return meaning;
}

dr_filter_t dri_read_filter(const drend_tag_c& top_tag, const std::string& text,
                            std::string& refusal) {
    dr_filter_t filter;
    if (text.starts_with('<')) {
        dr_subtree_node_s root;
        const char* fault = dri_read_subtree(text, root);
        filter = fault == nullptr ? dri_subtree_filter(top_tag, root) : nullptr;
        fault = fault == nullptr ? DR_SUBTREE_NO_FILTER : fault;
        refusal = filter == nullptr ? std::string("error: ") + fault + "\n" : "";
    } else {
        filter = dri_cut_filter(simplify(text.c_str()).c_str());
        refusal = filter == nullptr ? "error: the filter is too large\n" : "";
    }
    return filter;
}

dr_filter_t dri_filter_of_content(const drend_tag_c& top_tag, dr_filter_t filter,
                                  uint8_t content, std::string& refusal) {
    if (content == DT_CONTENT_ALL || !refusal.empty()) {
        return filter;
    }
    dr_filter_t less = dri_content_filter(top_tag, filter, content);
    refusal = less == nullptr ? "error: content: the filter has an empty step\n" : "";
    return less;
}
