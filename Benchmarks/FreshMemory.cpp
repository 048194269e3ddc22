#include "FreshMemory.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <numeric>
#include <set>

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
            rows.push_back({operation.name, size, measured(ours), measured(peer), before});
        }
    }
    return rows;
}

}  // namespace qkzbench
