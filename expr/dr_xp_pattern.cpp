// SPDX-License-Identifier: BSD-2-Clause

// The compiler of the C library cannot be interrupted, so what it would cost is worked out from the
// pattern's text beforehand. Compiled patterns are kept in a table by the expression's place for
// them, so that forgetting all of them at once leaves no expression with a dead one.

#include "expr/dr_xp_pattern.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cwchar>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <regex.h>

#include "frame/dr_no_memory.h"
#include "frame/drend_lock.h"

namespace {

constexpr size_t PATTERN_MAX = 1024;
constexpr size_t SIZE_MAX_PLAIN = 1024;
// With inner anchors, what these limit takes exponential time to compile.
constexpr size_t SIZE_MAX_ANCHORED = 128;
constexpr size_t ANCHORS_MAX = 16;
// Bytes of a text, taken once for each of its bytes that is no character.
constexpr size_t RESTARTED_MAX = size_t{1024} * 1024;
constexpr size_t MEMORY_MAX = size_t{64} * 1024 * 1024;

// Measures a pattern without compiling it.
class pattern_scan_c {
  public:
    explicit pattern_scan_c(std::string_view pattern) : pattern_(pattern) {}

    // False when the pattern is malformed or asks for too much.
    bool acceptable() {
        while (at_ < pattern_.size()) {
            if (!token() || total_.size > SIZE_MAX_PLAIN) {
                return false;
            }
        }
        // An alternative's anchors bind that alone; of two in a row the inner one is an ordinary
        // character, which it would not be any more without the outer one.
        at_front_ = at_front_ && !has_alternatives_ && !pattern_.starts_with("^^");
        at_end_ = at_end_ && !has_alternatives_ && !pattern_.ends_with("$$");
        return groups_.empty() &&
               inner_anchors_acceptable(total_.anchors - at_front_ - at_end_);
    }

    // The pattern holds for the first byte on, or up to the last one.
    bool at_front() const { return at_front_; }
    bool at_end() const { return at_end_; }
    // The pattern without the anchors that these stand for.
    std::string_view body() const {
        return pattern_.substr(at_front_, pattern_.size() - at_front_ - at_end_);
    }
    // How many characters it has with every interval written out.
    size_t expanded_size() const { return total_.size; }
    // Whether something that is repeated holds repetitions itself.
    bool repeats_repetitions() const { return repeats_repetitions_; }

  private:
    struct measure_s {
        size_t size = 0;
        size_t repetitions = 0;
        size_t repeated_groups = 0;
        size_t anchors = 0; // or characters that might be some
    };

    bool inner_anchors_acceptable(size_t count) const {
        return count == 0 || (count <= ANCHORS_MAX && total_.size <= SIZE_MAX_ANCHORED &&
                              total_.repeated_groups == 0);
    }

    bool token() {
        const char c = pattern_[at_++];
        switch (c) {
        case '\\':
            return at_ < pattern_.size() && escape(pattern_[at_++]);
        case '[':
            return bracket();
        case '*':
            return repeat(1);
        case '^':
            at_front_ = at_front_ || at_ == 1;
            return anchor();
        case '$':
            at_end_ = at_ == pattern_.size();
            return anchor();
        default:
            return item();
        }
    }

    bool escape(char c) {
        switch (c) {
        case '(':
            groups_.push_back(total_);
            return item();
        case ')':
            return close_group();
        case '|':
            has_alternatives_ = has_alternatives_ || groups_.empty();
            return item();
        case '+':
            return repeat(2); // compiled as one item and a repeated one
        case '?':
            return repeat(1);
        case '{':
            return interval();
        case 'b':
        case 'B':
        case '<':
        case '>':
        case '`':
        case '\'':
            return anchor();
        default:
            return item() && (c < '1' || c > '9');
        }
    }

    bool item() {
        last_ = total_;
        last_is_single_ = true;
        ++total_.size;
        return true;
    }

    bool anchor() {
        item();
        ++total_.anchors;
        return true;
    }

    bool close_group() {
        if (groups_.empty()) {
            return false;
        }
        last_ = groups_.back();
        last_is_single_ = false;
        groups_.pop_back();
        ++total_.size;
        return true;
    }

    // "]" is an ordinary character at the start of the set and inside [: :], [. .] and [= =].
    bool bracket() {
        at_ += pattern_.substr(at_).starts_with('^');
        at_ += pattern_.substr(at_).starts_with(']');
        while (at_ < pattern_.size() && pattern_[at_] != ']') {
            if (pattern_[at_++] == '[' && at_ < pattern_.size() &&
                std::string_view(":.=").find(pattern_[at_]) != npos) {
                const char close[] = {pattern_[at_], ']'};
                const size_t end = pattern_.find(std::string_view(close, 2), at_ + 1);
                at_ = end == npos ? pattern_.size() : end + 2;
            }
        }
        return at_ < pattern_.size() && pattern_[at_++] == ']' && item();
    }

    // {n}, {n,}, {n,m} and {,m}, the last two with their closing "\}".
    bool interval() {
        size_t least = 0;
        size_t most = 0;
        const bool has_least = number(least);
        const bool has_comma = pattern_.substr(at_).starts_with(',');
        at_ += has_comma;
        const bool has_most = has_comma && number(most);
        if ((!has_least && !has_most) || !pattern_.substr(at_).starts_with("\\}")) {
            return false;
        }
        at_ += 2;
        return repeat(has_most ? most : least + has_comma);
    }

    bool number(size_t& out) {
        const char* begin = pattern_.data() + at_;
        const auto read = std::from_chars(begin, pattern_.data() + pattern_.size(), out);
        at_ += static_cast<size_t>(read.ptr - begin);
        return read.ec == std::errc() && out <= RE_DUP_MAX;
    }

    // The last item or group is compiled `times` times over.
    bool repeat(size_t times) {
        const size_t more = std::max<size_t>(times, 1) - 1;
        total_.size += std::max<size_t>(total_.size - last_.size, 1) * more;
        total_.anchors += (total_.anchors - last_.anchors) * more;
        total_.repeated_groups += last_is_single_ ? 0 : 1;
        repeats_repetitions_ =
            repeats_repetitions_ || total_.repetitions > last_.repetitions;
        ++total_.repetitions;
        last_is_single_ = false;
        return true;
    }

    static constexpr size_t npos = std::string_view::npos;

    const std::string_view pattern_;
    size_t at_ = 0;
    std::vector<measure_s> groups_; // what was measured before each group that is open
    measure_s total_;
    measure_s last_; // what was measured before the last item or group
    bool last_is_single_ = true;
    bool has_alternatives_ = false; // outside every group
    bool repeats_repetitions_ = false;
    bool at_front_ = false;
    bool at_end_ = false;
};

using begins_t = std::vector<size_t>;

// Where a search has to begin anew, because ".*" does not pass bytes that are no characters of the
// locale: behind each of them. None when that would be too many for the length of the text.
begins_t further_begins(std::string_view text) {
    begins_t begins;
    const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    if (MB_CUR_MAX == 1 || std::all_of(text.begin(), text.end(), is_ascii)) {
        return begins;
    }
    mbstate_t state{};
    for (size_t at = 0; at < text.size();) {
        const size_t length = mbrlen(text.data() + at, text.size() - at, &state);
        if (length <= text.size() - at) {
            at += std::max<size_t>(length, 1);
            continue;
        }
        begins.push_back(++at);
        state = {};
        if (begins.size() * text.size() > RESTARTED_MAX) {
            return {};
        }
    }
    return begins;
}

// A pattern as the C library has it, and the text that it was made of.
class compiled_pattern_c {
  public:
    explicit compiled_pattern_c(std::string_view pattern) : pattern_(pattern) {
        pattern_scan_c scan(pattern_);
        if (!scan.acceptable()) {
            return;
        }
        at_front_ = scan.at_front();
        at_end_ = scan.at_end();
        size_ = scan.expanded_size();
        std::string text = at_front_ ? "\\(" : ".*\\(";
        text += scan.body();
        text += "\\)";
        const int status = regcomp(&regex_, text.c_str(), REG_NOSUB);
        if (status == REG_ESPACE) {
            dri_throw_no_memory(); // what is kept would never match again
        }
        compiled_ = status == 0;
    }
    ~compiled_pattern_c() {
        if (compiled_) {
            regfree(&regex_);
        }
    }
    compiled_pattern_c(const compiled_pattern_c&) = delete;
    compiled_pattern_c& operator=(const compiled_pattern_c&) = delete;

    bool is_of(std::string_view pattern) const { return pattern_ == pattern; }

    // What the C library keeps of the pattern, and of the texts of `length` bytes together that it
    // was matched with: as measured, one state for each byte unless the pattern has fewer of them.
    size_t memory() const { return 4096 + 32 * size_ * size_; }
    size_t memory(size_t length) const {
        const size_t states = size_ < 20 ? std::min(length, size_t{1} << size_) : length;
        return states * (3072 + 10 * size_);
    }

    // Whether the pattern can be matched with a text of `length` bytes.
    bool takes(size_t length) const { return compiled_ && memory(length) <= MEMORY_MAX; }

    bool matches(std::string_view text) const {
        if (matches_from(0, text)) {
            return true;
        }
        for (const size_t begin : at_front_ ? begins_t() : further_begins(text)) {
            if (matches_from(begin, text)) {
                return true;
            }
        }
        return false;
    }

  private:
    // Whether the longest match from `begin` on reaches where the pattern says.
    bool matches_from(size_t begin, std::string_view text) const {
        const auto length = static_cast<regoff_t>(text.size());
        const auto start = static_cast<regoff_t>(begin);
        const regoff_t matched = re_match(&regex_, text.data(), length, start, nullptr);
        constexpr regoff_t failed = -2; // for want of memory; -1: no match
        if (matched == failed) {
            dri_throw_no_memory();
        }
        return at_end_ ? matched == length - start : matched >= 0;
    }

    const std::string pattern_;
    bool at_front_ = false;
    bool at_end_ = false;
    bool compiled_ = false;
    size_t size_ = 0;
    mutable regex_t regex_{}; // locks itself while it is matched
};

using compiled_t = std::shared_ptr<const compiled_pattern_c>;

// What was compiled for each place, of which nothing but its address is known.
class pattern_table_c {
  public:
    // The pattern, compiled for that place; null when it cannot match a text of `length` bytes.
    compiled_t get(const void* place, std::string_view pattern, size_t length) {
        drend_lock_guard_c guard(lock_);
        kept_s* kept = &compiled_for(place, pattern);
        if (memory_ + kept->growth(length) > MEMORY_MAX) {
            clear();
            kept = &compiled_for(place, pattern);
        }
        if (!kept->compiled->takes(length)) {
            return nullptr;
        }
        memory_ += kept->growth(length);
        kept->matched += length;
        return kept->compiled;
    }

    void forget(const void* place) {
        drend_lock_guard_c guard(lock_);
        const auto found = kept_.find(place);
        if (found != kept_.end()) {
            memory_ -= found->second.memory();
            kept_.erase(found);
        }
    }

    void clear() {
        drend_lock_guard_c guard(lock_);
        kept_.clear();
        memory_ = 0;
    }

  private:
    struct kept_s {
        compiled_t compiled;
        size_t matched = 0; // bytes, of all texts

        size_t memory() const { return compiled->memory() + compiled->memory(matched); }
        // What a further text adds.
        size_t growth(size_t length) const {
            return compiled->takes(length)
                       ? compiled->memory(matched + length) - compiled->memory(matched)
                       : 0;
        }
    };

    kept_s& compiled_for(const void* place, std::string_view pattern) {
        const auto found = kept_.find(place);
        if (found != kept_.end() && found->second.compiled->is_of(pattern)) {
            return found->second;
        }
        kept_s made{std::make_shared<const compiled_pattern_c>(pattern)};
        forget(place);
        kept_s& kept = kept_[place];
        kept = std::move(made);
        memory_ += kept.memory();
        return kept;
    }

    drend_lock_c lock_;
    std::unordered_map<const void*, kept_s> kept_;
    size_t memory_ = 0; // estimated
};

// Made when the library is loaded, so that it outlives every parsed expression.
pattern_table_c table;

} // namespace

dr_xp_pattern_c::~dr_xp_pattern_c() {
    table.forget(this);
}

bool dr_xp_pattern_c::match(std::string_view pattern, std::string_view text) const {
    if (pattern.size() > PATTERN_MAX) {
        return false;
    }
    const compiled_t compiled = table.get(this, pattern, text.size());
    return compiled != nullptr && compiled->matches(text);
}

size_t dri_pattern_work(std::string_view pattern) {
    if (pattern.size() > PATTERN_MAX) {
        return 0;
    }
    pattern_scan_c scan(pattern);
    if (!scan.acceptable()) {
        return 0;
    }
    const size_t size = scan.expanded_size();
    return size * size * (scan.repeats_repetitions() ? 16 : 1);
}

void dri_forget_patterns() {
    table.clear();
}
