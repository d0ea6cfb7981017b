// SPDX-License-Identifier: BSD-2-Clause

// The data sets of the process: loaded aside, put in force in one step, freed by the last walk that
// holds them.
#include "service/dr_data_set.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <sys/stat.h>

#include "frame/dr_no_memory.h"
#include "model/dr_walk_data.h"
#include "service/dr_data_reader.h"

namespace {

// What is known of a set for good: its paths have its number.
struct known_set_s {
    std::string name;
    unsigned cells = 0; // of its whole
};

std::vector<known_set_s>& known_sets() {
    static auto& sets = *new std::vector<known_set_s>;
    return sets;
}

size_t number_of(const char* name) {
    const auto& known = known_sets();
    const auto found = std::find_if(known.begin(), known.end(),
                                    [&](const auto& set) { return set.name == name; });
    return static_cast<size_t>(found - known.begin());
}

const dr_data_sets_t* sets_in_force() {
    return static_cast<const dr_data_sets_t*>(dr_walk_data_c::in_force().get());
}

// With `whole` in the place of set `number`; null drops it.
void put_in_force(size_t number, std::shared_ptr<const dr_data_row_s> whole) {
    const dr_data_sets_t* old = sets_in_force();
    auto sets = old == nullptr ? std::make_shared<dr_data_sets_t>()
                               : std::make_shared<dr_data_sets_t>(*old);
    sets->resize(std::max(sets->size(), number + 1));
    (*sets)[number] = std::move(whole);
    dr_walk_data_c::put_in_force(std::move(sets));
}

// One line, whatever characters a name in it has. Nothing in here takes memory.
void report(const char* place, const char* fault, char* error, unsigned size) {
    char line[512];
    snprintf(line, sizeof line, "%s%s", place, fault);
    std::replace_if(
        line, line + strlen(line), [](unsigned char c) { return c < ' ' || c == 0x7F; },
        '?');
    if (error == nullptr) {
        fprintf(stderr, "%s\n", line);
    } else if (size > 0) {
        snprintf(error, size, "%s", line);
    }
}

// `place` stands in front of a fault: the file, or the set's name.
int load(const char* set, const char* place, const std::string& text, char* error,
         unsigned size) {
    const size_t number = number_of(set);
    if (number == known_sets().size()) {
        known_sets().push_back({set});
    }
    std::string fault;
    auto whole = dri_read_data(text, static_cast<unsigned>(number),
                               known_sets()[number].cells, fault);
    if (whole == nullptr) {
        report(place, (":" + fault).c_str(), error, size);
        return DREND_ERR;
    }
    put_in_force(number, std::move(whole));
    return DREND_OK;
}

struct close_file_s {
    void operator()(FILE* file) const { fclose(file); }
};

// The file's text, or the reason why there is none.
bool read_file(const char* path, std::string& text, std::string& reason) {
    const std::unique_ptr<FILE, close_file_s> file(fopen(path, "re"));
    struct stat status {};
    if (file == nullptr || fstat(fileno(file.get()), &status) != 0) {
        reason = strerror(errno);
        return false;
    }
    if (!S_ISREG(status.st_mode)) {
        reason = "is no regular file";
        return false;
    }
    char piece[65536];
    while (const size_t length = fread(piece, 1, sizeof piece, file.get())) {
        text.append(piece, length);
        if (text.size() > DR_DATA_SIZE_MAX) {
            break; // the reader says so
        }
    }
    reason = ferror(file.get()) != 0 ? strerror(errno) : "";
    return reason.empty();
}

template <typename Load>
int unless_no_memory(const char* place, char* error, unsigned size, Load load_it) {
    try {
        return load_it();
    } catch (const std::bad_alloc&) {
        report(place, ": out of memory", error, size);
        return DREND_ERR;
    }
}

} // namespace

int dr_ops_load_from_json(const char* set, const char* text, char* error,
                          unsigned int size) {
    return unless_no_memory(set, error, size,
                            [&] { return load(set, set, text, error, size); });
}

int dr_ops_load_from_json_file(const char* set, const char* file, char* error,
                               unsigned int size) {
    return unless_no_memory(file, error, size, [&] {
        std::string text;
        std::string reason;
        if (!read_file(file, text, reason)) {
            report(file, (": " + reason).c_str(), error, size);
            return static_cast<int>(DREND_ERR);
        }
        return load(set, file, text, error, size);
    });
}

int dr_ops_drop(const char* set) {
    return dri_unless_no_memory<int>(DREND_ERR, [&] {
        const size_t number = number_of(set);
        const dr_data_sets_t* sets = sets_in_force();
        if (sets == nullptr || number >= sets->size() || (*sets)[number] == nullptr) {
            return static_cast<int>(DREND_NO_EL);
        }
        put_in_force(number, nullptr);
        return static_cast<int>(DREND_OK);
    });
}
