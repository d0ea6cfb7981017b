// SPDX-License-Identifier: BSD-2-Clause

#include "regular_file.h"

#include <cerrno>
#include <memory>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t FILES_MAX = 10000;

// 0, or why not.
int read_all(int fd, std::size_t most, std::string& text) {
    char bytes[4096];
    ssize_t size = 0;
    while ((size = read(fd, bytes, sizeof bytes)) != 0) {
        if (size < 0 && errno != EINTR) {
            return errno;
        }
        text.append(bytes, size < 0 ? 0 : static_cast<std::size_t>(size));
        if (text.size() > most) {
            return EFBIG;
        }
    }
    return 0;
}

} // namespace

// The C++ library's own iterator ends the program when memory runs out.
std::error_code list_directory(const std::string& directory,
                               std::vector<std::filesystem::path>& files) {
    const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(directory.c_str()), closedir);
    if (opened == nullptr) {
        return {errno, std::generic_category()};
    }
    errno = 0;
    const dirent* entry = nullptr;
    while ((entry = readdir(opened.get())) != nullptr && files.size() < FILES_MAX) {
        files.push_back(std::filesystem::path(directory) / entry->d_name);
        errno = 0;
    }
    return {entry == nullptr ? errno : EFBIG, std::generic_category()};
}

int open_regular_file(const std::string& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    struct stat found {};
    if (fd < 0 || (fstat(fd, &found) == 0 && S_ISREG(found.st_mode))) {
        return fd;
    }
    close(fd);
    errno = EINVAL;
    return -1;
}

std::error_code read_regular_file(const std::string& path, std::size_t most,
                                  std::string& text) {
    const int fd = open_regular_file(path);
    const int error = fd < 0 ? errno : read_all(fd, most, text);
    if (fd >= 0) {
        close(fd);
    }
    return {error, std::generic_category()};
}
