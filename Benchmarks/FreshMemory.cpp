#include "FreshMemory.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fstream>
#include <numeric>
#include <set>
#include <stdexcept>
#include <system_error>

namespace qkzbench {
namespace {

constexpr std::size_t calls = 50;

/// Of the process, in MB.
long resident() {
    long pages = 0, residentPages = 0;
    std::ifstream("/proc/self/statm") >> pages >> residentPages;
    return residentPages * (sysconf(_SC_PAGESIZE) / 1024) / 1024;
}

/// Seconds by the clock: waiting for memory is not processor time.
double timed(const Call& call, Outcome& result) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    result = call();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> seconds) {
    std::nth_element(seconds.begin(), seconds.begin() + calls / 2, seconds.end());
    return seconds[calls / 2];
}

double mean(const std::vector<double>& seconds) {
    return std::accumulate(seconds.begin(), seconds.end(), 0.0) / static_cast<double>(seconds.size());
}

FreshMemory::Side measured(const Call& call) {
    FreshMemory::Side side{};
    std::vector<double> seconds(calls);
    {
        std::vector<Outcome> results(calls);
        for (std::size_t i = 0; i < calls; ++i) seconds[i] = timed(call, results[i]);
        side.residentKept = resident();
    }
    side.residentAfter = resident();
    side.keptMedian = median(seconds);
    side.keptMean = mean(seconds);
    Outcome result;
    for (double& time : seconds) time = timed(call, result);
    side.replacedMedian = median(seconds);
    side.replacedMean = mean(seconds);
    return side;
}

/// In a process of its own, which has no memory left from what was measured before.
FreshMemory::Side measuredApart(const Call& call) {
    int ends[2];
    if (pipe(ends) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    const pid_t child = fork();
    if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
    FreshMemory::Side side{};
    if (child == 0) {
        side = measured(call);
        _exit(write(ends[1], &side, sizeof side) == sizeof side ? 0 : 1);
    }
    close(ends[1]);
    const ssize_t got = read(ends[0], &side, sizeof side);
    close(ends[0]);
    waitpid(child, nullptr, 0);
    if (got != sizeof side) throw std::runtime_error("measuring in fresh memory failed");
    return side;
}

}  // namespace

std::vector<FreshMemory> inFreshMemory(const std::vector<Operation>& operations) {
    const std::set<std::string> chosen{"InvertQKZ", "MergePictureQKZ", "TransformColorsQKZ",
                                       "BinaryStringtoPictureQKZ"};
    qkzhost::Host host;
    host.load(QKZ_PLUGIN);
    std::vector<FreshMemory> rows;
    for (const Size size : sizes) {
        if (!limitsCount(size)) continue;
        Scene scene(host, size.width, size.height);
        for (const Operation& operation : operations) {
            if (!chosen.contains(operation.name)) continue;
            const Call ours = operation.ours(scene), peer = operation.peer(scene);
            const long before = resident();
            rows.push_back({operation.name, size, measuredApart(ours), measuredApart(peer), before});
        }
    }
    return rows;
}

}  // namespace qkzbench
