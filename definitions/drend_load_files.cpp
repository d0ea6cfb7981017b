// SPDX-License-Identifier: BSD-2-Clause

// Where definition files are found, and how they are read.
#include "definitions/dr_load_steps.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <memory>
#include <new>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

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

bool matches(const char* pattern, const char* name) {
    const int status = fnmatch(pattern, name, 0);
    if (status != 0 && status != FNM_NOMATCH) {
        throw std::bad_alloc(); // it has no other way to fail
    }
    return status == 0;
}

void add_unreadable(dr_findings_c& findings, const std::string& place, int error) {
    if (error == ENOMEM) {
        throw std::bad_alloc();
    }
    findings.add(dr_rule_e::UNREADABLE, place,
                 "cannot be read: " + std::system_category().message(error));
}

// Whether what failed with `error` failed because nothing is there. A symbolic link that leads
// nowhere is a finding.
bool is_missing(const std::string& path, int error, dr_findings_c& findings) {
    if (error != ENOENT && error != ELOOP) {
        return false;
    }
    struct stat link = {};
    if (lstat(path.c_str(), &link) == 0) {
        findings.add(dr_rule_e::DEAD_LINK, path, "a symbolic link that leads nowhere");
    }
    return true;
}

// A file that is open for reading.
class open_file_c {
  public:
    // Does not wait for the other end of a pipe.
    explicit open_file_c(const char* path)
        : fd_(open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
    ~open_file_c() {
        if (fd_ >= 0) {
            close(fd_);
        }
    }
    open_file_c(const open_file_c&) = delete;
    open_file_c& operator=(const open_file_c&) = delete;

    bool is_open() const { return fd_ >= 0; }
    // False when what is at `path`, opened or not, is known to be something else.
    bool is_regular(const char* path) const {
        struct stat found = {};
        const int status = is_open() ? fstat(fd_, &found) : stat(path, &found);
        return status != 0 || S_ISREG(found.st_mode);
    }
    // Reads to the end. 0, or an errno value.
    int read_all(std::string& text) const {
        char block[16384];
        for (;;) {
            const ssize_t count = read(fd_, block, sizeof block);
            if (count > 0) {
                text.append(block, static_cast<size_t>(count));
            } else if (count == 0) {
                return 0;
            } else if (errno != EINTR) {
                return errno;
            }
        }
    }

  private:
    const int fd_;
};

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

std::vector<std::string> dri_directories(const char* directory) {
    const std::string replacement = directory != nullptr ? directory : dri_dir_path();
    if (directory != nullptr || !replacement.empty()) {
        return {replacement};
    }
    const std::string prefix = dri_prefix();
    std::vector<std::string> directories;
    for (const char* render_directory : RENDER_DIRECTORIES) {
        directories.push_back(prefix + render_directory);
    }
    return directories;
}

std::string dri_pattern(const char* name) {
    return name == nullptr ? "*.json" : std::string(name) + "[-_\\.]*.json";
}

void dri_append_matches(const std::string& directory, const char* pattern,
                        std::vector<std::string>& out, dr_findings_c& findings) {
    const std::unique_ptr<DIR, close_directory_s> listing(opendir(directory.c_str()));
    if (!listing) {
        const int error = errno;
        if (!is_missing(directory, error, findings)) {
            add_unreadable(findings, directory, error);
        }
        return;
    }
    errno = 0; // what readdir leaves at the end
    while (const dirent* entry = readdir(listing.get())) {
        if (matches(pattern, entry->d_name)) {
            out.push_back(directory + "/" + entry->d_name);
        }
        errno = 0;
    }
    if (errno != 0) {
        add_unreadable(findings, directory, errno);
    }
}

int drend_get_filenames(const char* directory, const char* pattern,
                        std::vector<std::string>& out) {
    dr_findings_c unsaid;
    for (const std::string& searched : dri_directories(directory)) {
        dri_append_matches(searched, pattern, out, unsaid);
    }
    return 0;
}

int dri_get_all_files_by_pattern(const char* name, std::vector<std::string>& out) {
    return drend_get_filenames(nullptr, dri_pattern(name).c_str(), out);
}

bool dri_read_text(const char* path, std::string& text, dr_findings_c& findings) {
    const open_file_c file(path);
    int error = file.is_open() ? 0 : errno;
    if (is_missing(path, error, findings)) {
        return false;
    }
    if (!file.is_regular(path)) {
        findings.add(dr_rule_e::NO_REGULAR_FILE, path, "is no regular file");
        return false;
    }
    error = file.is_open() ? file.read_all(text) : error;
    if (error != 0) {
        add_unreadable(findings, path, error);
    }
    return error == 0;
}

std::string dri_resolve_filename(const char* name) {
    const std::string dir_path = dri_dir_path();
    if (!dir_path.empty()) {
        return dir_path + "/" + name;
    }
    const std::string prefix = dri_prefix();
    for (const char* render_directory : RENDER_DIRECTORIES) {
        std::string path = prefix + "/" + render_directory + "/" + name;
        struct stat found = {};
        if (stat(path.c_str(), &found) == 0) {
            return path;
        }
    }
    return name;
}
