// The results as one Markdown page.
#pragma once

#include <benchmark/benchmark.h>

#include <functional>
#include <iosfwd>
#include <map>

#include "Operation.h"

namespace qkzbench {

struct Size {
    int width, height;
};
inline constexpr Size sizes[] = {{64, 64}, {640, 480}, {1920, 1080}, {3840, 2160}};
/// Limits in units are asked for on pictures that outweigh the calls of the host.
inline constexpr bool limitsCount(Size size) { return size.width > 1000; }
/// The peers, which make no calls of the host, are measured against a size earlier.
inline constexpr bool peersCount(Size size) { return size.width > 100; }
/// By how much a limit may be missed. On smaller pictures the calls of the host weigh; on larger ones, which
/// no cache holds, equal loops differ by so much from run to run.
inline constexpr double slack(Size size) { return size.width == 1920 ? 1 : 1.1; }
std::string nameOf(Size);

/// The units whose times are told.
inline constexpr Against told[] = {Against::copy, Against::one, Against::two, Against::three, Against::sum};
/// What the time of a unit is measured as, and called.
const char* nameOf(Against);
/// What a measurement is called.
std::string measurement(std::string_view operation, Size);
/// What that of a peer is called that is too slow to take its turn beside the operation.
std::string slowPeer(std::string_view operation, Size);

/// Collects seconds of one call. Of several repetitions the median counts: of times, and of ratios within a
/// repetition.
class Times : public benchmark::BenchmarkReporter {
 public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>&) override;

    /// Of "ours", "unit" or "peer"; 0 when there is no such measurement.
    double seconds(const std::string& measurement, const char* of = "ours") const;
    /// Seconds of one over those of another; 0 when either is missing.
    double ratio(const std::string& measurement, const char* of, const char* over) const;

 private:
    using Repetition = std::map<std::string, double>;
    double median(const std::string& measurement, const std::function<double(const Repetition&)>&) const;
    std::map<std::string, std::vector<Repetition>> repetitions_;
};

/// What one call costs on the smallest picture.
struct FixedCost {
    std::string operation;
    int hostCalls;
    double seconds, hostSeconds;
};

/// An operation and by how much its outcome differs from the peer's; negative without a comparison.
struct Row {
    Operation operation;
    double difference = -1;
};

/// Calls in memory that the process did not have before, in an untouched C library.
struct FreshMemory {
    std::string operation;
    Size size;
    struct Side {
        double keptMedian, keptMean;          // seconds a call, where all results are kept
        double replacedMedian, replacedMean;  // where each takes the place of the one before
        long residentKept, residentAfter;     // MB of the process: with all results, and without
    } ours, peer;
    long residentBefore;
};

/// An operation at one size.
struct Measured {
    double ours;                  // seconds
    double timesUnit, timesOurs;  // its time over the unit's, and the peer's over its
};
Measured measured(const Operation&, const Times&, Size);

/// Prints all tables; false when an operation misses a limit.
bool print(std::ostream&, const std::vector<Row>&, const Times&, const std::vector<FixedCost>&,
           const std::vector<FreshMemory>&);

/// Draws operations and their peers, in units.
void drawChart(std::ostream& svg, const std::vector<Row>&, const Times&);

}  // namespace qkzbench
