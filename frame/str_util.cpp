// SPDX-License-Identifier: BSD-2-Clause

// Formatting, with a quick way for the formats that nearly all output uses, and the small text
// functions that have no better home.
//
// vsnprintf parses its format and looks at the locale each time; a "%s" needs neither.
#include "frame/str_util.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <charconv>
#include <cstring>
#include <memory>
#include <string_view>

#include "frame/drend_trace.h"

std::atomic<drend_vsnprintf_t> str_installed_formatter{nullptr};

namespace {

constexpr unsigned STACK_TEXT = 256;
// A cut text keeps this many bytes of its own.
constexpr unsigned CUT_LENGTH = STR_LIMIT - 26;

DREND_PRINTF(3, 0)
int system_vsnprintf(char* buffer, unsigned int size, const char* format, va_list args) {
    return vsnprintf(buffer, size, format, args);
}

// Writes a format that consists of plain text, %s, %*s and whole numbers; gives up on any
// other. The arguments are a member because a function that takes one from a va_list parameter
// leaves its caller's indeterminate: some machines pass the list itself, others a copy.
class quick_format_c {
  public:
    quick_format_c(std::string& dst, va_list args) : dst_(dst), start_(dst.size()) {
        va_copy(args_, args);
    }
    ~quick_format_c() { va_end(args_); }
    quick_format_c(const quick_format_c&) = delete;
    quick_format_c& operator=(const quick_format_c&) = delete;

    // False when the format needs the real formatter; `dst` is then as it was.
    bool write(const char* format) {
        while (*format != '\0') {
            const char* stop = strchrnul(format, '%');
            dst_.append(format, stop);
            format = stop;
            if (*format == '%' && !conversion(format)) {
                dst_.resize(start_);
                return false;
            }
        }
        return true;
    }

    // The length of what was written, cut to the limit.
    unsigned finish() {
        const size_t length = dst_.size() - start_;
        if (length < STR_LIMIT) {
            return static_cast<unsigned>(length);
        }
        dst_.resize(start_ + CUT_LENGTH);
        dst_ += STR_CUT_MARKER;
        return STR_LIMIT;
    }

  private:
    bool conversion(const char*& format) {
        const std::string_view rest(format, strnlen(format, 4));
        if (rest.starts_with("%s")) {
            text(va_arg(args_, const char*));
            format += 2;
        } else if (rest.starts_with("%*s")) {
            const int width = va_arg(args_, int);
            padded(width, va_arg(args_, const char*));
            format += 3;
        } else if (rest.starts_with("%d")) {
            number(va_arg(args_, int));
            format += 2;
        } else if (rest.starts_with("%u")) {
            number(va_arg(args_, unsigned));
            format += 2;
        } else if (rest.starts_with("%lld")) {
            number(va_arg(args_, long long));
            format += 4;
        } else if (rest.starts_with("%llu")) {
            number(va_arg(args_, unsigned long long));
            format += 4;
        } else {
            return false;
        }
        return true;
    }

    void text(const char* s) {
        if (s == nullptr) {
            s = "(null)"; // as the system's formatter prints it
        }
        dst_.append(s, strnlen(s, STR_LIMIT));
    }

    void padded(int width, const char* s) {
        const size_t before = dst_.size();
        text(s);
        const size_t length = dst_.size() - before;
        const size_t wanted =
            width < 0 ? 0U - static_cast<unsigned>(width) : static_cast<unsigned>(width);
        if (wanted > length) {
            const size_t blanks = std::min<size_t>(wanted - length, STR_LIMIT);
            dst_.insert(width < 0 ? dst_.size() : before, blanks, ' ');
        }
    }

    template <typename Number>
    void number(Number value) {
        char digits[24];
        const auto end = std::to_chars(digits, digits + sizeof digits, value).ptr;
        dst_.append(digits, end);
    }

    std::string& dst_;
    const size_t start_;
    va_list args_;
};

// Formats with `formatter`, first on the stack and for long texts again into memory of the
// size that the first pass reported.
DREND_PRINTF(3, 0)
unsigned format_append(std::string& dst, drend_vsnprintf_t formatter, const char* format,
                       va_list args) {
    char short_text[STACK_TEXT];
    short_text[0] = '\0';
    va_list again;
    va_copy(again, args);
    const auto reported =
        static_cast<unsigned>(formatter(short_text, sizeof short_text, format, args));
    // Unsigned on purpose: an error of -1 wraps to 0 and appends what the buffer holds.
    if (reported + 1 <= STACK_TEXT) {
        dst.append(short_text, strnlen(short_text, STACK_TEXT - 1));
        va_end(again);
        return reported;
    }
    const bool cut = reported + 1 > STR_LIMIT;
    const unsigned length = cut ? STR_LIMIT : reported;
    const auto long_text = std::make_unique<char[]>(length + 1);
    formatter(long_text.get(), length + 1, format, again);
    va_end(again);
    dst.append(long_text.get(), strnlen(long_text.get(), cut ? CUT_LENGTH : length));
    if (cut) {
        dst += STR_CUT_MARKER;
    }
    return length;
}

template <typename Items>
const char* join(const Items& items, std::string& out, const char* separator) {
    bool first = true;
    for (const std::string& item : items) {
        if (!first) {
            out += separator;
        }
        first = false;
        out += item;
    }
    return out.c_str();
}

// Puts the pieces of bracketed components together again while str_split hands them over.
class bracket_keeper_c {
  public:
    explicit bracket_keeper_c(std::vector<std::string>& out) : out_(out) {}

    void piece(const std::string& text) {
        const bool closes = text.find(']') != std::string::npos;
        if (open_) {
            pending_ += '/';
            pending_ += text;
        } else if (text.find('[') != std::string::npos &&
                   text.find('=') != std::string::npos) {
            pending_ = text;
            open_ = true;
        } else {
            out_.push_back(text);
            return;
        }
        if (closes) {
            out_.push_back(pending_);
            open_ = false;
        }
    }

  private:
    std::vector<std::string>& out_;
    std::string pending_;
    bool open_ = false;
};

} // namespace

unsigned int str_vappend(std::string& dst, const char* format, va_list args) {
    const auto formatter = str_installed_formatter.load(std::memory_order_acquire);
    if (formatter != nullptr) {
        return format_append(dst, formatter, format, args);
    }
    quick_format_c quick(dst, args);
    return quick.write(format) ? quick.finish()
                               : format_append(dst, system_vsnprintf, format, args);
}

unsigned int str_append(std::string& dst, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const unsigned length = str_vappend(dst, format, args);
    va_end(args);
    return length;
}

void str_set_vsnprintf(drend_vsnprintf_t formatter) {
    str_installed_formatter.store(formatter, std::memory_order_release);
}

// The items come by value: linked programs know these names so.
// NOLINTBEGIN(performance-unnecessary-value-param)
const char* str_join(std::list<std::string> items, std::string& out,
                     const char* separator) {
    return join(items, out, separator);
}

const char* str_join(std::vector<std::string> items, std::string& out,
                     const char* separator) {
    return join(items, out, separator);
}
// NOLINTEND(performance-unnecessary-value-param)

const char* str_xlate(const std::string& in, std::string& out, char from, char to) {
    out = in;
    if (to == '\0') {
        std::erase(out, from);
    } else {
        std::replace(out.begin(), out.end(), from, to);
    }
    return out.c_str();
}

unsigned int str_split(const char* src, std::vector<std::string>& out,
                       const char* separators, bool keep_brackets) {
    assert(src);
    bracket_keeper_c keeper(out);
    const std::string_view text(src);
    for (size_t begin = 0;;) {
        const size_t end = text.find_first_of(separators, begin);
        const std::string piece(text.substr(begin, end - begin));
        if (keep_brackets) {
            keeper.piece(piece);
        } else {
            out.push_back(piece);
        }
        if (end == std::string_view::npos) {
            return static_cast<unsigned>(out.size());
        }
        begin = end + 1;
    }
}

bool dri_seek_end_quote(const char* s, const char*& end) {
    const char quote = *s;
    end = s + 1;
    for (const char* found = quote == '\0' ? nullptr : strchr(end, quote); found != nullptr;
         found = strchr(end, quote)) {
        if (found == end || found[-1] != '\\') {
            end = found;
            return true;
        }
        end = found + 1;
    }
    return false;
}

bool dri_find_end_quote(const char* s, const char*& end) {
    const bool is_found = dri_seek_end_quote(s, end);
    if (!is_found && dri_trace_on(DREND_TRACE_ERROR)) {
        drend_debug_trace("DR_ERROR: Missing end quote");
    }
    return is_found;
}

std::string dri_unquoted(std::string_view inside, char quote) {
    std::string text;
    text.reserve(inside.size());
    for (size_t begin = 0;;) {
        const size_t found = inside.find(quote, begin);
        if (found == std::string_view::npos) {
            return text.append(inside, begin);
        }
        text.append(inside, begin, found - 1 - begin);
        text += quote;
        begin = found + 1;
    }
}

void dri_append_quoted(std::string& dst, std::string_view text) {
    dst += '\'';
    for (size_t begin = 0;;) {
        const size_t found = text.find('\'', begin);
        dst.append(text, begin, found - begin);
        if (found == std::string_view::npos) {
            break;
        }
        dst += "\\'";
        begin = found + 1;
    }
    dst += '\'';
}

std::string_view dri_strip_quotes(std::string_view text) {
    const bool is_quoted = text.size() > 1 && text.front() == text.back() &&
                           (text.front() == '"' || text.front() == '\'');
    return is_quoted ? text.substr(1, text.size() - 2) : text;
}

size_t dri_count_characters(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

int dri_get_quoted_str(const char* s, dr_str_buf_c& out, const char*& end) {
    const bool closed = dri_find_end_quote(s, end);
    out = dri_unquoted(std::string_view(s + 1, end), *s);
    return closed ? 0 : -1;
}

int dri_parse_expr(const char* expr, std::string& name, std::string& key,
                   std::string& value) {
    std::vector<std::string> parts;
    if (str_split(expr, parts, "[", false) != 2) {
        return value.empty() ? -1 : 0;
    }
    name = parts[0];
    std::vector<std::string> selector;
    if (str_split(parts[1].c_str(), selector, "=", false) == 2) {
        key = selector[0];
        value = selector[1].substr(0, selector[1].empty() ? 0 : selector[1].size() - 1);
    }
    return value.empty() ? -1 : 0;
}
