// Where definition files are found.
#include "definitions/drend_load.h"

#include <dirent.h>
#include <fnmatch.h>
#include <memory>
#include <new>
#include <sys/stat.h>

#include "drend.h"
#include "frame/drend_lock.h"

namespace {

constexpr const char* RENDER_DIRECTORIES[] = {"/usr/lib/render", "/opt/lib/render",
                                              "/var/opt/lib/render"};

// Settings that a daemon may make on any thread.
struct places_s {
    drend_lock_c lock;
    std::string prefix;
    std::string dir_path;
};

places_s& places() {
    static places_s state;
    return state;
}

void set_text(std::string& where, const char* text) {
    drend_lock_guard_c guard(places().lock);
    where = text == nullptr ? "" : text;
}

std::string get_text(const std::string& where) {
    drend_lock_guard_c guard(places().lock);
    return where;
}

struct close_directory_s {
    void operator()(DIR* directory) const { closedir(directory); }
};

void append_matches(const std::string& directory, const char* pattern,
                    std::vector<std::string>& out) {
    const std::unique_ptr<DIR, close_directory_s> listing(opendir(directory.c_str()));
    if (!listing) {
        return;
    }
    while (const dirent* entry = readdir(listing.get())) {
        if (fnmatch(pattern, entry->d_name, 0) == 0) {
            out.push_back(directory + "/" + entry->d_name);
        }
    }
}

} // namespace

void drend_set_prefix(const char* prefix) {
    try {
        set_text(places().prefix, prefix);
    } catch (const std::bad_alloc&) {
        fputs("drend_set_prefix: out of memory\n", stderr);
    }
}

std::string dri_prefix() {
    return get_text(places().prefix);
}

void dri_set_dir_path(const char* path) {
    set_text(places().dir_path, path);
}

std::string dri_dir_path() {
    return get_text(places().dir_path);
}

int drend_get_filenames(const char* directory, const char* pattern,
                        std::vector<std::string>& out) {
    const std::string replacement = directory != nullptr ? directory : dri_dir_path();
    if (directory != nullptr || !replacement.empty()) {
        append_matches(replacement, pattern, out);
        return 0;
    }
    const std::string prefix = dri_prefix();
    for (const char* render_directory : RENDER_DIRECTORIES) {
        append_matches(prefix + render_directory, pattern, out);
    }
    return 0;
}

int dri_get_all_files_by_pattern(const char* name, std::vector<std::string>& out) {
    const std::string pattern = std::string(name) + "[-_\\.]*.json";
    return drend_get_filenames(nullptr, pattern.c_str(), out);
}

std::string dri_resolve_filename(const char* name) {
    const std::string dir_path = dri_dir_path();
    if (!dir_path.empty()) {
        return dir_path + "/" + name;
    }
    const std::string prefix = dri_prefix();
    for (const char* render_directory : RENDER_DIRECTORIES) {
        std::string path = prefix + "/" + render_directory + "/" + name;
        struct stat found;
        if (stat(path.c_str(), &found) == 0) {
            return path;
        }
    }
    return name;
}
