#include "Batch.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <new>
#include <set>
#include <sstream>
#include <thread>
#include <utility>

#include "Attempt.h"

namespace qkz {
namespace {

using std::filesystem::path;

/// What became of one file.
struct Report {
    int status = 0;
    std::string printed, error;
};

bool sendAll(int channel, const void* bytes, std::size_t count) {
    const auto* from = static_cast<const char*>(bytes);
    while (count > 0) {
        const ssize_t sent = send(channel, from, count, MSG_NOSIGNAL);
        if (sent <= 0) return false;
        from += sent;
        count -= static_cast<std::size_t>(sent);
    }
    return true;
}

bool receiveAll(int channel, void* bytes, std::size_t count) {
    return count == 0 || recv(channel, bytes, count, MSG_WAITALL) == static_cast<ssize_t>(count);
}

bool send(int channel, const Report& report) {
    const std::size_t head[] = {static_cast<std::size_t>(report.status), report.printed.size(),
                                report.error.size()};
    return sendAll(channel, head, sizeof head) && sendAll(channel, report.printed.data(), head[1]) &&
           sendAll(channel, report.error.data(), head[2]);
}

std::optional<Report> receive(int channel) {
    std::size_t head[3];
    if (!receiveAll(channel, head, sizeof head)) return {};
    Report report{static_cast<int>(head[0]), std::string(head[1], '\0'), std::string(head[2], '\0')};
    if (!receiveAll(channel, report.printed.data(), head[1])) return {};
    if (!receiveAll(channel, report.error.data(), head[2])) return {};
    return report;
}

class Batch {
 public:
    Batch(qkzhost::Host& host, const Limits& limits, const Work& work, const BatchOptions& options)
        : host_(host), limits_(limits), work_(work), options_(options), outputs_(outputsOf(work)) {}

    int run() {
        const std::size_t count = work_.files.size();
        while (done_ < count) {
            while (workers_.size() < std::min<std::size_t>(static_cast<std::size_t>(options_.jobs),
                                                           workers_.size() + count - next_)) {
                startWorker();
            }
            std::vector<pollfd> waiting;
            for (const Worker& worker : workers_) waiting.push_back({worker.channel, POLLIN, 0});
            if (poll(waiting.data(), waiting.size(), -1) < 0) continue;
            for (std::size_t i = waiting.size(); i-- > 0;)
                if (waiting[i].revents != 0) hear(i);
        }
        for (const Worker& worker : workers_) end(worker);
        summarise();
        return status_;
    }

 private:
    struct Worker {
        pid_t process;
        int channel;
        std::size_t file;
    };

    void startWorker() {
        int channels[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, channels) != 0) throw std::bad_alloc();
        std::cout.flush();
        const pid_t process = fork();
        if (process < 0) throw std::bad_alloc();
        if (process == 0) {
            for (const Worker& other : workers_) close(other.channel);
            close(channels[0]);
            work(channels[1]);
        }
        close(channels[1]);
        workers_.push_back({process, channels[0], 0});
        giveNext(workers_.back());
    }

    /// The worker's own process: does the files whose numbers come, until none comes.
    [[noreturn]] void work(int channel) const {
        // Each reads and writes with as many threads as leave the others theirs.
        const int threads = static_cast<int>(std::thread::hardware_concurrency()) / options_.jobs;
        setenv("VIPS_CONCURRENCY", std::to_string(std::max(threads, 1)).c_str(), 0);
        for (std::size_t file; receiveAll(channel, &file, sizeof file);) {
            std::ostringstream printed, error;
            std::cout.rdbuf(printed.rdbuf());
            const int status = attempt(error, [&] { doOne(file); });
            if (!send(channel, Report{status, printed.str(), error.str()})) break;
        }
        _exit(0);  // what the process began with is the other one's to end
    }

    void doOne(std::size_t file) const {
        std::optional<path> output;
        if (work_.output) {
            output = outputs_[file];
            if (!options_.force && std::filesystem::exists(symlink_status(*output))) {
                throw UsageError(output->string() + " is there already; --force writes over it");
            }
        }
        doFile(host_, limits_, work_, work_.files[file], output);
    }

    void giveNext(Worker& worker) {
        worker.file = next_++;
        sendAll(worker.channel, &worker.file, sizeof worker.file);
    }

    /// Takes a worker's report. One that has died is not told any more, and its place is free.
    void hear(std::size_t number) {
        Worker& worker = workers_[number];
        if (const auto report = receive(worker.channel)) {
            take(worker.file, *report);
            if (next_ < work_.files.size()) return giveNext(worker);
            end(worker);
        } else {
            const int died = end(worker);
            take(worker.file, {1, "", "its process ended early (" + std::to_string(died) + ")"});
        }
        workers_.erase(workers_.begin() + static_cast<std::ptrdiff_t>(number));
    }

    /// Returns the signal that ended it, or its exit status.
    static int end(const Worker& worker) {
        close(worker.channel);
        int status = 0;
        waitpid(worker.process, &status, 0);
        return WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status);
    }

    void take(std::size_t file, const Report& report) {
        const std::string name = work_.files[file].string();
        clearProgress();
        std::istringstream lines(report.printed);
        for (std::string line; std::getline(lines, line);) std::cout << name << ": " << line << '\n';
        std::cout.flush();
        ++done_;
        status_ = std::max(status_, report.status);
        if (report.status != 0) {
            const bool named = report.error.starts_with(name + ": ");
            failed_.push_back(named ? report.error : name + ": " + report.error);
        }
        showProgress();
    }

    double seconds() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    }
    static std::string rounded(double value) {
        std::ostringstream text;
        text.precision(value < 10 ? 1 : 0);
        text << std::fixed << value;
        return text.str();
    }
    void clearProgress() const {
        if (terminal_) std::cerr << "\r\033[K";
    }
    void showProgress() const {
        if (!terminal_ || done_ == work_.files.size()) return;
        const double rate = static_cast<double>(done_) / seconds();
        const auto left = std::lround(static_cast<double>(work_.files.size() - done_) / rate);
        std::cerr << done_ << " of " << work_.files.size() << ", " << rounded(rate) << " a second, ";
        if (left >= 60) std::cerr << left / 60 << " min ";
        std::cerr << left % 60 << " s left" << std::flush;
    }
    void summarise() const {
        std::cerr << "qkz: " << done_ - failed_.size() << " of " << done_ << " files done in "
                  << rounded(seconds()) << " s";
        if (!failed_.empty()) std::cerr << "; " << failed_.size() << " failed:";
        std::cerr << '\n';
        for (const std::string& error : failed_) std::cerr << "  " << error << '\n';
    }

    qkzhost::Host& host_;
    const Limits& limits_;
    const Work& work_;
    const BatchOptions options_;
    const std::vector<path> outputs_;
    const bool terminal_ = isatty(STDERR_FILENO) != 0;
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::vector<Worker> workers_;  // each at a file
    std::size_t next_ = 0, done_ = 0;
    std::vector<std::string> failed_;
    int status_ = 0;
};

}  // namespace

std::vector<path> outputsOf(const Work& work) {
    if (!work.output) return {};
    const std::string pattern = work.output->string();
    if (!isPattern(work.output)) {
        throw UsageError("several files want {name} in -o, such as -o 'out/{name}.png'");
    }
    std::vector<path> outputs;
    std::set<path> all;
    for (const path& file : work.files) {
        if (file == "-") throw UsageError("standard input is not one of several files");
        const std::string name = file.stem().string();
        std::string filled = pattern;
        for (std::size_t at = 0; (at = filled.find(namePlace, at)) != filled.npos; at += name.size()) {
            filled.replace(at, namePlace.size(), name);
        }
        const path output = filled;
        if (!all.insert(output.lexically_normal()).second) {
            throw UsageError(output.string() + " would be written twice, the second time for " +
                             file.string());
        }
        checkFolder(output);
        outputs.push_back(output);
    }
    return outputs;
}

int doFiles(qkzhost::Host& host, const Limits& limits, const Work& work, const BatchOptions& options) {
    return Batch(host, limits, work, options).run();
}

}  // namespace qkz
