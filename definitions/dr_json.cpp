// SPDX-License-Identifier: BSD-2-Clause

// JSON by way of jansson; no other source knows it. It keeps members in the order of the text, so
// that values and their places are gone through side by side.
#include "definitions/dr_json.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <jansson.h>
#include <new>
#include <utility>

#include "frame/drend_lock.h"

namespace {

// What is in reserve for the piece of a text that is being parsed, besides its longest string.
constexpr size_t RESERVE = size_t{256} * 1024;

// jansson goes on after some allocations that fail, with a string that lacks its end, and reads on
// behind it. So they do not fail: a reserve serves them until the parser asks for more of the text,
// and gets none.
class json_memory_c {
  public:
    // For a text of that size. Throws std::bad_alloc.
    explicit json_memory_c(size_t size) : guard_(lock()) {
        reserve_size_ =
            2 * size + RESERVE; // a string's memory grows to twice what it holds
        reserve_ = static_cast<char*>(malloc(reserve_size_)); // mostly not touched
        if (reserve_ == nullptr) {
            throw std::bad_alloc();
        }
        reserve_used_ = 0;
        has_failed_ = false;
        json_malloc_t found = nullptr;
        json_free_t found_free = nullptr;
        json_get_alloc_funcs(&found, &found_free);
        malloc_.store(found, std::memory_order_relaxed);
        free_.store(found_free, std::memory_order_relaxed);
        json_set_alloc_funcs(allocate, release);
    }
    ~json_memory_c() {
        json_malloc_t now = nullptr;
        json_free_t free_now = nullptr;
        json_get_alloc_funcs(&now, &free_now);
        if (now == allocate) { // the daemon has not set its own meanwhile
            json_set_alloc_funcs(malloc_.load(std::memory_order_relaxed),
                                 free_.load(std::memory_order_relaxed));
        }
        free(std::exchange(reserve_, nullptr));
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
        return memory == nullptr ? take_reserve(size) : memory;
    }

    static void* take_reserve(size_t size) {
        constexpr size_t unit = alignof(std::max_align_t);
        const size_t taken = (size + unit - 1) / unit * unit;
        if (reserve_ == nullptr || taken < size || taken > reserve_size_ - reserve_used_) {
            return nullptr;
        }
        reserve_used_ += taken;
        return reserve_ + (reserve_used_ - taken);
    }

    static void release(void* memory) {
        const auto* bytes = static_cast<const char*>(memory);
        const bool is_reserve = reserve_ != nullptr && !std::less<>()(bytes, reserve_) &&
                                std::less<>()(bytes, reserve_ + reserve_size_);
        if (!is_reserve) {
            free_.load(std::memory_order_relaxed)(memory);
        }
    }

    static inline std::atomic<json_malloc_t> malloc_{malloc};
    static inline std::atomic<json_free_t> free_{free};
    static inline thread_local bool has_failed_ = false;
    // Those of the parsing thread; others have none.
    static inline thread_local char* reserve_ = nullptr;
    static inline thread_local size_t reserve_size_ = 0;
    static inline thread_local size_t reserve_used_ = 0;
    drend_lock_guard_c guard_;
};

// The text, a piece at a time; nothing more once memory has run out.
size_t next_piece(void* buffer, size_t size, void* left) {
    auto& text = *static_cast<std::string_view*>(left);
    if (json_memory_c::has_failed()) {
        return static_cast<size_t>(-1);
    }
    const size_t taken = text.copy(static_cast<char*>(buffer), size);
    text.remove_prefix(taken);
    return taken;
}

// jansson's iterators take what they do not change as if they did.
json_t* changeable(const json_t* value) {
    return const_cast<json_t*>(value); // NOLINT(cppcoreguidelines-pro-type-const-cast)
}

} // namespace

// --- values ---

bool dr_json_c::is_object() const {
    return json_is_object(value_);
}

bool dr_json_c::is_array() const {
    return json_is_array(value_);
}

bool dr_json_c::is_text() const {
    return json_is_string(value_);
}

bool dr_json_c::is_integer() const {
    return json_is_integer(value_);
}

bool dr_json_c::is_real() const {
    return json_is_real(value_);
}

bool dr_json_c::is_boolean() const {
    return json_is_boolean(value_);
}

bool dr_json_c::is_null() const {
    return json_is_null(value_);
}

std::string_view dr_json_c::text() const {
    return is_text()
               ? std::string_view(json_string_value(value_), json_string_length(value_))
               : std::string_view("");
}

int64_t dr_json_c::integer(int64_t absent) const {
    return is_integer() ? json_integer_value(value_) : absent;
}

double dr_json_c::real() const {
    return json_real_value(value_);
}

bool dr_json_c::boolean() const {
    return json_is_true(value_);
}

size_t dr_json_c::size() const {
    return json_array_size(value_); // 0 of everything else
}

dr_json_c dr_json_c::member(const char* name) const {
    const json_t* value = json_object_get(value_, name);
    return value == nullptr
               ? dr_json_c()
               : dr_json_c(document_, value, document_->places().member(node_, name));
}

size_t dr_json_c::repeated_members() const {
    size_t named = 0;
    for (uint32_t node = document_->places().first(node_); node != dr_json_places_c::NONE;
         node = document_->places().next(node)) {
        ++named;
    }
    return named - std::min(named, json_object_size(value_));
}

void* dr_json_c::first_member() const {
    return json_object_iter(changeable(value_));
}

void* dr_json_c::next_member(void* at) const {
    return json_object_iter_next(changeable(value_), at);
}

std::string_view dr_json_c::member_name(void* at) {
    return json_object_iter_key(at);
}

uint32_t dr_json_c::first_node() const {
    return is_object() ? document_->places().first(node_) : dr_json_places_c::NONE;
}

dr_json_c dr_json_c::member_value(void* at, std::string_view name, uint32_t& beside) const {
    const dr_json_places_c& places = document_->places();
    // A name with an escape stands in the text otherwise than here, and where its turn is.
    const auto is_other = [&](uint32_t node) {
        return places.name(node) != name &&
               places.name(node).find('\\') == std::string_view::npos;
    };
    uint32_t node = beside;
    while (node != dr_json_places_c::NONE && is_other(node)) {
        node = places.next(node); // names what was named before
    }
    beside = places.next(node);
    return {document_, json_object_iter_value(at), node};
}

dr_text_place_s dr_json_c::place() const {
    return document_ == nullptr ? dr_text_place_s() : document_->places().place(node_);
}

dr_text_place_s dr_json_c::name_place() const {
    return document_ == nullptr ? dr_text_place_s() : document_->places().name_place(node_);
}

dr_json_elements_c::dr_json_elements_c(const dr_json_c& array) : array_(array) {
    if (array.is_array()) {
        node_ = array.document_->places().first(array.node_);
    }
}

dr_json_c dr_json_elements_c::take() {
    const dr_json_c element(array_.document_, json_array_get(array_.value_, next_++),
                            node_);
    node_ = array_.document_->places().next(node_);
    return element;
}

// --- the document ---

void dr_json_document_c::release_s::operator()(json_t* value) const {
    json_decref(value);
}

bool dr_json_document_c::parse(const std::string& text, error_s& error) {
    json_error_t found;
    const json_memory_c memory(text.size());
    std::string_view left = text;
    root_.reset(json_load_callback(next_piece, &left, 0, &found));
    if (json_memory_c::has_failed()) {
        root_.reset(); // it has a part of the reserve
        throw std::bad_alloc();
    }
    if (root_ == nullptr) {
        error = {found.text, found.line, found.column};
        return false;
    }
    places_ = dr_json_places_c(text);
    return true;
}

dr_json_c dr_json_document_c::root() const {
    return {this, root_.get(), dr_json_places_c::ROOT};
}
