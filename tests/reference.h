// SPDX-License-Identifier: BSD-2-Clause

// A reference renderer for random cases: slow, and simple enough to be believed.
//
//     definitions (JSON) --> tag_s ----+
//     daemon's data (case_s) ----------+--> document_s, in memory --> the answer in each form
//     argument text --> request_s -----+
//
// It is written from the rules of docs/ and shares no code with the library. Nothing is prepared,
// shared or streamed: positions are copied, the document is built as a whole and printed
// afterwards. Tables are not printed.
#pragma once

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "random_case.h"

namespace reference {

struct tag_s;
using tag_ref_t = std::shared_ptr<tag_s>;

struct tag_s {
    std::string name;
    std::string type = "container";
    std::string source{};
    std::string attributes{}; // with double quotes
    std::string module{};
    std::string prefix{};
    std::string data_type{};
    int fraction = 0;
    bool has_presence = false;
    bool suppresses_zero = false;
    bool is_key = false;
    bool is_combined = false;
    bool has_source = false; // itself, or what is below
    std::vector<std::pair<std::string, std::string>> map{};
    std::vector<std::string> keys{};
    std::vector<std::string> styles{};
    std::vector<tag_ref_t> kids{};
    std::vector<tag_ref_t> inputs{};

    bool is_hidden() const;
    bool is_internal() const { return name.starts_with("__zor_internal"); }
    bool is_value() const { return name == "__zor_leaf_list_value__"; }
    bool is_list() const { return type == "list" || type == "leaf-list"; }
    const tag_s* kid(const std::string& kid_name) const;
};

// The top tag of the command in a file; null when there is none.
tag_ref_t load(const std::string& json);

// --- filters ---

struct token_s {
    enum kind_e { END, WORD, LITERAL, SIGN, BROKEN };
    kind_e kind;
    std::string text;
    bool is(const char* sign) const { return kind == SIGN && text == sign; }
};
std::vector<token_s> tokens_of(const std::string& text);
// Appends the text between two quotes, from the first of which on. False when there is no second.
bool unquote(const std::string& text, size_t& at, std::string& out);

// A value (a name or a literal), a call, or an operator with two operands.
struct expression_s {
    enum kind_e { NAME, LITERAL, CALL, OPERATOR };
    kind_e kind = LITERAL;
    std::string text{};
    std::vector<expression_s> parts{};
};

struct step_s {
    bool is_empty = false;
    bool is_broken = false;
    std::string name{};
    std::vector<expression_s> predicates{};
};
std::vector<step_s> steps_of(const std::string& filter);

// What names mean to an expression.
class names_c {
  public:
    virtual ~names_c() = default;
    virtual std::optional<std::string> value_of(const std::string& name) = 0;
    virtual std::string local_name() = 0;
};
std::string evaluate(const expression_s& expression, names_c& names);
bool holds(const std::string& result);
// Whether a predicate is judged before the rows of a list.
bool is_about_name(const expression_s& expression);
// The names that must equal a text.
void pin(const expression_s& expression, std::set<std::string>& names);

// --- requests ---

// A row of a list, by its keys or else by its number.
struct cursor_s {
    std::vector<const tag_s*> way{}; // to the list; empty: no row
    std::vector<std::string> keys{};
    unsigned number = 0;

    std::string text() const;
};

enum form_e { XML, JSON, TABLE, IETF_XML, IETF_JSON, LINES, COUNT };

struct request_s {
    form_e form = XML;
    bool is_compact = false;
    bool is_ascii = false;
    unsigned limit = 0;
    unsigned depth = 0;
    cursor_s behind{};
    std::string style{};
    std::vector<step_s> steps{};
};
request_s read_request(const tag_s& top, const std::string& argument);

// --- documents ---

struct value_s {
    enum type_e { NONE, TEXT, WHOLE, REAL, TRUTH };
    type_e type = NONE;
    std::string text{};
    bool is_zero = false; // that may be suppressed
    bool is_long = false; // of 64 bits, which JSON as YANG has it quotes
};

// Whatever the walk comes to, shown or not.
struct element_s {
    enum kind_e { CONTAINER, LIST, ROW, LEAF };
    struct key_s {
        const tag_s* tag = nullptr;
        value_s value{};
    };
    kind_e kind;
    const tag_s* tag;
    size_t depth; // of tags, this one and hidden ones among them
    bool is_present = false;
    value_s value{}; // of a leaf
    std::vector<key_s> keys{};
    std::vector<element_s> kids{};

    bool has_key(const tag_s& key) const;
};

struct count_s {
    const tag_s* list;
    std::string path;
    unsigned rows;
};

struct document_s {
    const tag_s* top;
    const request_s* request;
    bool is_wrapped;
    std::vector<element_s> roots{};
    std::vector<count_s> counts{};
    cursor_s next{};      // behind which to go on
    bool is_lost = false; // the row of the request's cursor is not there
};
document_s build(const case_s& drawn, const tag_s& top, const request_s& request);
std::string print(const document_s& document);
// The same in a form for programs.
std::string print_for_programs(const document_s& document);
// What a table shows for the values of the document that XML shows, in any order.
std::vector<std::string> shown_values(const document_s& document);

} // namespace reference
