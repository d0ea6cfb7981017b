// SPDX-License-Identifier: BSD-2-Clause

// Record locks are those of a process, and the kernel tells its number. They are lost when the
// process closes any descriptor of the file, so it never opens its own file twice.
#include "session_registry.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <sstream>
#include <system_error>

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "regular_file.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t ENTRY_MAX = 4096; // bytes of a file
constexpr mode_t DIRECTORY_MODE = 01777;

char own_path[PATH_MAX]; // for a signal; empty: not registered

void on_end(int) {
    constexpr char line[] = "orvex-netconf: killed\n";
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line, sizeof line - 1);
    unlink(own_path);
    _exit(1);
}

struct flock whole_file(short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

// The process that has the file locked; 0 for none.
pid_t holder_of(int fd) {
    struct flock lock = whole_file(F_WRLCK);
    return fcntl(fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK ? lock.l_pid : 0;
}

// A word of what a file, or a variable, says: of printable ASCII.
std::string plain(std::string text) {
    text.erase(std::remove_if(text.begin(), text.end(),
                              [](char c) { return c <= ' ' || c > '~'; }),
               text.end());
    return text;
}

std::string user_name() {
    const passwd* user = getpwuid(getuid());
    return user == nullptr ? std::to_string(getuid()) : plain(user->pw_name);
}

std::string client_address() {
    const char* connection = getenv("SSH_CONNECTION");
    const std::string text = connection == nullptr ? "" : connection;
    return plain(text.substr(0, text.find(' ')));
}

std::string now_as_text() {
    const time_t now = time(nullptr);
    tm parts{};
    char text[32];
    gmtime_r(&now, &parts);
    strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

std::string text_of(const session_entry_s& entry) {
    std::ostringstream out;
    out << "user " << entry.user << "\nhost " << entry.host << "\nlogin " << entry.login
        << "\nin-rpcs " << entry.counters.in_rpcs << "\nin-bad-rpcs "
        << entry.counters.in_bad_rpcs << "\nout-rpc-errors "
        << entry.counters.out_rpc_errors << "\nout-notifications "
        << entry.counters.out_notifications << "\n";
    return out.str();
}

unsigned long number_in(const std::string& text) {
    unsigned long number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

void take_line(const std::string& line, session_entry_s& entry) {
    const std::size_t blank = std::min(line.find(' '), line.size());
    const std::string word = line.substr(0, blank);
    const std::string value = plain(line.substr(blank));
    const std::pair<const char*, std::string*> texts[] = {
        {"user", &entry.user}, {"host", &entry.host}, {"login", &entry.login}};
    const std::pair<const char*, unsigned long*> numbers[] = {
        {"in-rpcs", &entry.counters.in_rpcs},
        {"in-bad-rpcs", &entry.counters.in_bad_rpcs},
        {"out-rpc-errors", &entry.counters.out_rpc_errors},
        {"out-notifications", &entry.counters.out_notifications}};
    for (const auto& [name, text] : texts) {
        *text = word == name ? value : *text;
    }
    for (const auto& [name, number] : numbers) {
        *number = word == name ? number_in(value) : *number;
    }
}

// Nothing when there is no such session.
std::optional<session_entry_s> read_entry(const std::string& path, pid_t id) {
    const int fd = open_regular_file(path);
    if (fd < 0) {
        return std::nullopt;
    }
    char text[ENTRY_MAX];
    const ssize_t size = read(fd, text, sizeof text);
    const bool is_held = holder_of(fd) == id;
    close(fd);
    if (!is_held || size < 0) {
        return std::nullopt;
    }
    session_entry_s entry{id, "", "", "", {}};
    std::istringstream lines(std::string(text, static_cast<std::size_t>(size)));
    for (std::string line; std::getline(lines, line);) {
        take_line(line, entry);
    }
    return entry;
}

pid_t id_of(const std::string& name) {
    pid_t id = 0;
    const auto read = std::from_chars(name.data(), name.data() + name.size(), id);
    return read.ec == std::errc() && std::to_string(id) == name ? id : 0;
}

} // namespace

session_registry_c::session_registry_c(const std::string& run_dir)
    : directory_(run_dir + "/sessions"), own_{getpid(),
                                              user_name(),
                                              client_address(),
                                              now_as_text(),
                                              {}} {}

session_registry_c::~session_registry_c() {
    forget(own_path);
}

void session_registry_c::forget(const char* path) {
    if (fd_ >= 0) {
        unlink(path);
        own_path[0] = '\0';
        close(fd_);
        fd_ = -1;
    }
}

// Everybody who may log in may have a session, and remove no other one's.
bool session_registry_c::open(std::string& error) {
    if (mkdir(directory_.c_str(), DIRECTORY_MODE) == 0) {
        (void)chmod(directory_.c_str(), DIRECTORY_MODE); // whatever the umask says
    }
    const std::string path = directory_ + "/" + std::to_string(own_.id);
    (void)unlink(path.c_str()); // of an earlier process of the same number
    fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644);
    struct flock lock = whole_file(F_WRLCK);
    if (fd_ < 0 || fcntl(fd_, F_SETLK, &lock) != 0 || fchmod(fd_, 0644) != 0 || !write()) {
        error = "cannot register the session as " + path + ": " + strerror(errno);
        forget(path.c_str());
        return false;
    }
    snprintf(own_path, sizeof own_path, "%s", path.c_str());
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        signal(number, on_end);
    }
    return true;
}

bool session_registry_c::write() {
    const std::string text = text_of(own_);
    for (std::size_t written = 0; written < text.size();) {
        const ssize_t size = pwrite(fd_, text.data() + written, text.size() - written,
                                    static_cast<off_t>(written));
        if (size <= 0) {
            return false;
        }
        written += static_cast<std::size_t>(size);
    }
    return true;
}

// The counters only grow, and so does the text.
void session_registry_c::update(const session_counters_s& counters) {
    own_.counters = counters;
    if (fd_ >= 0) {
        write();
    }
}

std::vector<session_entry_s> session_registry_c::all() const {
    std::vector<session_entry_s> entries{own_};
    std::vector<fs::path> files;
    const std::error_code failure = list_directory(directory_, files);
    // Too many are passed over: whoever may have a session may make files there.
    if (failure && failure != std::errc::no_such_file_or_directory &&
        failure != std::errc::file_too_large) {
        throw std::system_error(failure, "cannot read " + directory_);
    }
    for (const fs::path& file : files) {
        const pid_t id = id_of(file.filename().string());
        const std::optional<session_entry_s> entry =
            id == 0 || id == own_.id ? std::nullopt : read_entry(file.string(), id);
        if (entry.has_value()) {
            entries.push_back(*entry);
        }
    }
    std::sort(
        entries.begin(), entries.end(),
        [](const session_entry_s& a, const session_entry_s& b) { return a.id < b.id; });
    return entries;
}

// The process is held on to before its lock is looked at: its number cannot become another one's in
// between.
session_registry_c::kill_e session_registry_c::kill(pid_t id) const {
    const int process = static_cast<int>(syscall(SYS_pidfd_open, id, 0));
    kill_e outcome = process < 0 && errno == ENOSYS ? kill_e::unsupported : kill_e::unknown;
    if (process >= 0 && read_entry(directory_ + "/" + std::to_string(id), id)) {
        const long status = syscall(SYS_pidfd_send_signal, process, SIGTERM, nullptr, 0);
        outcome = status == 0      ? kill_e::killed
                  : errno == EPERM ? kill_e::denied
                                   : kill_e::unknown;
    }
    if (process >= 0) {
        close(process);
    }
    return outcome;
}
