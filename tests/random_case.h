// SPDX-License-Identifier: BSD-2-Clause

// A case of the random tests: a daemon's data, definitions that print it and a request for them,
// all drawn from one seed.
//
// random_case.cpp draws it, random_daemon.cpp plays the daemon, random_test.cpp says what must
// hold. Elements and nodes are numbered, so that what is printed under a name comes from one node,
// except where a case is drawn to be odd.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

// Draws the same on every machine.
class dice_c {
  public:
    explicit dice_c(uint64_t seed) : state_(seed) {}
    uint64_t next();
    unsigned below(size_t n) { return static_cast<unsigned>(next() % n); }
    bool chance(unsigned percent) { return below(100) < percent; }
    template <typename Choices>
    const auto& one_of(const Choices& choices) {
        return choices[below(std::size(choices))];
    }

  private:
    uint64_t state_;
};

// What the first reading of a leaf in a row comes to, and each later one.
struct reading_s {
    int first;
    int later;
    bool sets_value = true;
};

// The daemon's reference of a row, or of a place in a dynamic container.
struct mark_s {
    unsigned index;
};

// A node of the daemon's data.
struct node_s {
    enum kind_e { CONTAINER, DYNAMIC, LIST, LEAF };
    enum form_e { TEXT, INTEGER, REAL, TRUTH };

    struct case_s* owner;
    kind_e kind;
    unsigned id;
    std::string path;
    unsigned rows;             // that enclosing lists may have
    form_e form = TEXT;        // of a leaf's values
    reading_s odd{0, 0};       // what some rows of a leaf come to
    bool is_looked_up = false; // by a filter, map or presence: it may not suspend at will
    bool is_key = false;       // nor when it is read ahead
    unsigned most = 0;         // rows of a list below one row
    std::vector<mark_s> marks{};
    std::vector<std::optional<std::string>> named{}; // by a dynamic container, in its order
    bool marks_by_element = false; // and its places are elements of their own

    std::vector<unsigned> asked{}; // since the run began, by row: how often it was read
    int entered = 0;

    std::string name() const { return "m" + std::to_string(id); }
    // That the type has, in which an integer is handed over: 8, 16, 32 or 64, signed ones one less.
    // A leaf keeps to one, but for numbers that this does not have.
    unsigned bits_of(const char* integer) const;
};

// An element of a definition.
struct tag_s {
    std::string name;
    std::string type;
    std::string source{};
    std::map<std::string, std::string> members{}; // further ones; the values are JSON
    std::vector<tag_s> kids{};
    std::vector<tag_s> input_kids{};
    node_s* leaf = nullptr; // what it prints
};

struct case_s {
    explicit case_s(uint64_t seed);

    std::string json() const; // the definitions as a file
    // What the daemon has in a row, drawn once and for all.
    const char* value_of(const node_s& leaf, unsigned row) const;
    reading_s reading_of(const node_s& leaf, unsigned row) const;
    unsigned count_of(const node_s& list, unsigned row) const;
    // Whose rows print into what encloses them.
    bool has_internal_lists() const;

    // The daemon's side: registers the data; forgets what was asked. In a run it asks for
    // suspension at so many of a hundred places at which that must not change the answer.
    void serve();
    void begin_run(uint64_t run_seed, unsigned suspensions_in_run);
    bool suspends() { return dice.chance(suspensions); }
    bool is_balanced() const; // each enter has had its exit
    // Asked more often than any answer takes; naming kids ends then.
    bool is_overrun() const { return questions > 50000; }

    uint64_t seed;
    std::deque<node_s> nodes;
    std::string command;
    std::vector<tag_s> tops; // of the definitions that share the command's name
    std::string argument;
    bool has_twins = false; // names that stand twice in one element
    bool asks_keys_often =
        false;                   // ahead of their rows, so that they may not suspend at all
    bool may_be_refused = false; // texts that would break what they are pasted into

    dice_c dice{0};
    unsigned suspensions = 0;
    int questions = 0;
};
