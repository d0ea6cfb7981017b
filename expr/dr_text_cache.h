// SPDX-License-Identifier: BSD-2-Clause

// dr_text_cache_c: what was made of texts that come again.
//
// Bounded by the memory that it holds: an entry counts with its text, its own records and what its
// value holds. When the next one does not fit, everything is forgotten, so that what is in use now
// is soon the rest; keeping an order of use would cost each look-up more than that. What would take
// an eighth of the whole is not kept, for it would drive out too much.
//
// Not safe for concurrent use.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

// What a block of the heap takes besides its content, about.
inline constexpr size_t DRI_BLOCK_MEMORY = 16;

// What a string takes outside itself.
inline size_t dri_text_memory(const std::string& text) {
    const bool is_inside = text.capacity() <= std::string().capacity();
    return is_inside ? 0 : text.capacity() + 1 + DRI_BLOCK_MEMORY;
}

template <typename Value>
class dr_text_cache_c {
  public:
    explicit dr_text_cache_c(size_t limit) : limit_(limit) {}

    // What is kept for a text, or null. The same text means another thing in another scope.
    const Value* find(uint64_t scope, std::string_view text) const {
        const auto found = entries_.find(view_s{scope, text});
        return found == entries_.end() ? nullptr : &found->second;
    }

    // Keeps a value that holds so much memory for a text that is not known yet.
    void keep(uint64_t scope, std::string_view text, Value value, size_t memory) {
        key_s key{scope, std::string(text)};
        memory += ENTRY_MEMORY + dri_text_memory(key.text);
        if (memory > limit_ / 8) {
            return;
        }
        if (memory_ + memory > limit_) {
            clear();
        }
        entries_.emplace(std::move(key), std::move(value));
        memory_ += memory;
    }

    void clear() {
        entries_.clear();
        memory_ = 0;
    }

    size_t size() const { return entries_.size(); }

  private:
    struct key_s {
        uint64_t scope = 0;
        std::string text;
    };
    struct view_s {
        // NOLINTNEXTLINE(google-explicit-constructor): the table compares keys as views
        view_s(const key_s& key) : scope(key.scope), text(key.text) {}
        view_s(uint64_t scope_, std::string_view text_) : scope(scope_), text(text_) {}
        bool operator==(const view_s&) const = default;

        uint64_t scope = 0;
        std::string_view text;
    };
    struct hash_s {
        using is_transparent = void;
        size_t operator()(const view_s& key) const {
            return std::hash<std::string_view>()(key.text) ^ key.scope;
        }
    };
    struct equal_s {
        using is_transparent = void;
        bool operator()(const view_s& a, const view_s& b) const { return a == b; }
    };

    // The table's record of an entry: key, value, hash and link, and its share of the buckets.
    static constexpr size_t ENTRY_MEMORY =
        sizeof(key_s) + sizeof(Value) + 4 * sizeof(void*) + DRI_BLOCK_MEMORY;

    const size_t limit_;
    std::unordered_map<key_s, Value, hash_s, equal_s> entries_;
    size_t memory_ = 0;
};
