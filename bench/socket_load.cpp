// SPDX-License-Identifier: BSD-2-Clause

// The management socket of a daemon under load: socket_load NETSTATD [ROUTES [SECONDS]]
//
// Starts the example daemon with a synthetic table and measures, each with SIGHUPs that have the
// definitions loaded again every 50 ms:
//
//     dump        a peer's keyed requests while another one takes the whole table, again and again
//     slow        the same while one peer reads 1 KiB a second and one reads nothing
//     throughput  the whole table over the socket, against the same walk into /dev/null, without
//                 reloads
//
// Every answer is checked. Reported: percentiles of the keyed requests' time, what the daemon's
// resident memory has grown by, the ratio of the two throughputs. The result is 1 when an answer
// was wrong; how fast it was does not matter for that.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>

#include "tests/socket_client.h"

namespace {

using clock_type = std::chrono::steady_clock;

double milliseconds_since(clock_type::time_point begin) {
    return std::chrono::duration<double, std::milli>(clock_type::now() - begin).count();
}

std::atomic<long> wrong_answers{0};

void check(bool right, const char* what) {
    if (!right) {
        ++wrong_answers;
        fprintf(stderr, "wrong answer: %s\n", what);
    }
}

// Starts a program with its standard output in /dev/null.
pid_t start(const std::vector<std::string>& words) {
    std::vector<char*> argv;
    for (const std::string& word : words) {
        argv.push_back(const_cast<char*>(word.c_str()));
    }
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return child;
}

class daemon_c {
  public:
    daemon_c(const std::string& program, const std::string& routes)
        : path_("/tmp/socket_load_" + std::to_string(getpid())),
          child_(start({program, "--socket", path_, "--routes", routes})) {
        for (int i = 0; i < 1000 && !socket_client_c(path_).is_connected(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }
    ~daemon_c() {
        kill(child_, SIGTERM);
        waitpid(child_, nullptr, 0);
    }
    const std::string& path() const { return path_; }
    void reload() const { kill(child_, SIGHUP); }
    // In KiB.
    long resident() const {
        std::ifstream status("/proc/" + std::to_string(child_) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("VmRSS:")) {
                return atol(line.c_str() + strlen("VmRSS:"));
            }
        }
        return 0;
    }

  private:
    std::string path_;
    pid_t child_;
};

// Takes a whole answer without keeping it. False when it is not complete.
bool take_whole_table(socket_client_c& client) {
    std::string end;
    client.send_bytes("show-synthetic-routes\n");
    client.answer_to([&](std::string_view piece) {
        end.append(piece.substr(piece.size() - std::min<size_t>(piece.size(), 64)));
        end.erase(0, end.size() - std::min<size_t>(end.size(), 64));
    });
    if (!end.ends_with("</synthetic-routes>\n")) {
        fprintf(stderr, "an answer ends in: %s\n", end.c_str());
        return false;
    }
    return true;
}

class measure_c {
  public:
    measure_c(const daemon_c& daemon, int seconds) : daemon_(daemon), seconds_(seconds) {}

    // Asks for single routes, one after the other, while `loads` run; prints what it took.
    void run(const char* name, const std::vector<std::function<void()>>& loads) {
        const long before = daemon_.resident();
        long most = before;
        stop_ = false;
        std::vector<std::thread> threads;
        for (const auto& load : loads) {
            threads.emplace_back(load);
        }
        threads.emplace_back([this] {
            for (; !stop_; std::this_thread::sleep_for(std::chrono::milliseconds(50))) {
                daemon_.reload();
            }
        });
        std::vector<double> times;
        socket_client_c client(daemon_.path());
        for (const auto begin = clock_type::now();
             milliseconds_since(begin) < 1000.0 * seconds_;) {
            times.push_back(ask_for_one(client, times.size()));
            most = std::max(most, daemon_.resident());
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        stop_ = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        std::sort(times.begin(), times.end());
        const auto at = [&](double share) {
            return times[static_cast<size_t>(share *
                                             static_cast<double>(times.size() - 1))];
        };
        printf("%-12s %6zu keyed requests: median %.2f ms, 99th percentile %.2f ms, "
               "longest %.2f ms; resident %ld KiB, grown by at most %ld KiB\n",
               name, times.size(), at(0.5), at(0.99), at(1), before, most - before);
    }
    bool is_over() const { return stop_; }

  private:
    static double ask_for_one(socket_client_c& client, size_t number) {
        const size_t row = 1 + number * 7919 % 250;
        const std::string prefix = "10.0.0." + std::to_string(row) + "/32";
        const auto begin = clock_type::now();
        const std::string answer = client.ask("show-synthetic-routes prefix=" + prefix);
        const double time = milliseconds_since(begin);
        check(answer.find("<prefix>" + prefix + "</prefix>") != std::string::npos &&
                  answer.ends_with("</synthetic-routes>\n"),
              "a keyed request");
        return time;
    }

    const daemon_c& daemon_;
    int seconds_;
    std::atomic<bool> stop_{false};
};

void measure_load(const daemon_c& daemon, int seconds) {
    measure_c measure(daemon, seconds);
    const auto dump = [&] {
        socket_client_c client(daemon.path());
        while (!measure.is_over()) {
            check(take_whole_table(client), "the whole table");
        }
    };
    const auto read_slowly = [&] {
        socket_client_c client(daemon.path());
        client.send_bytes("show-synthetic-routes\n");
        for (; !measure.is_over(); std::this_thread::sleep_for(std::chrono::seconds(1))) {
            check(client.receive(1024), "a slow reader");
        }
    };
    const auto read_nothing = [&] {
        socket_client_c client(daemon.path());
        client.send_bytes("show-synthetic-routes\n");
        while (!measure.is_over()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    };
    measure.run("alone", {});
    measure.run("dump", {dump});
    measure.run("slow", {dump, read_slowly, read_nothing});
}

// The best of some rounds, in milliseconds.
double best_of(const std::function<void()>& work) {
    double best = 1e9;
    for (int round = 0; round < 5; ++round) {
        const auto begin = clock_type::now();
        work();
        best = std::min(best, milliseconds_since(begin));
    }
    return best;
}

void measure_throughput(const daemon_c& daemon, const std::string& program,
                        const std::string& routes) {
    const auto walk = [&](const std::string& count) {
        int status = 0;
        waitpid(start({program, "--routes", count, "--once", "show-synthetic-routes"}),
                &status, 0);
        check(status == 0, "a walk into /dev/null");
    };
    const double empty = best_of([&] { walk("0"); });
    const double null = best_of([&] { walk(routes); }) - empty;
    socket_client_c client(daemon.path());
    const double whole =
        best_of([&] { check(take_whole_table(client), "the whole table"); });
    printf("%-12s %s routes: %.0f ms over the socket, %.0f ms into /dev/null: %.0f %%\n",
           "throughput", routes.c_str(), whole, null, 100 * null / whole);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        fprintf(stderr, "usage: socket_load NETSTATD [ROUTES [SECONDS]]\n");
        return 2;
    }
    const std::string program = argv[1];
    const std::string routes = argc > 2 ? argv[2] : "1000000";
    const daemon_c daemon(program, routes);
    measure_load(daemon, argc > 3 ? atoi(argv[3]) : 20);
    measure_throughput(daemon, program, routes);
    return wrong_answers == 0 ? 0 : 1;
}
