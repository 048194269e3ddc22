// The results as one Markdown page.
#pragma once

#include <benchmark/benchmark.h>

#include <iosfwd>
#include <map>

#include "Operation.h"

namespace qkzbench {

struct Size {
    int width, height;
};
inline constexpr Size sizes[] = {{64, 64}, {640, 480}, {1920, 1080}, {3840, 2160}};
/// Below, the calls of the host weigh more than the pixels: peers are told, limits not asked for.
inline constexpr bool limitsCount(Size size) { return size.width > 1000; }
std::string nameOf(Size);

enum class Side { ours, peer };
/// What the time of a unit is measured as, and called.
const char* nameOf(Against);
/// What a measurement is called.
std::string measurement(std::string_view operation, Side, Size);

/// Collects the time of one call: of the fastest repetition, because what disturbs one only adds to it.
class Times : public benchmark::BenchmarkReporter {
 public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>&) override;

    /// Seconds of processor time; 0 when there is no such measurement.
    double of(const std::string& measurement) const;

 private:
    std::map<std::string, double> seconds_;
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

/// Prints all tables; false when an operation misses a limit.
bool print(std::ostream&, const std::vector<Row>&, const Times&, const std::vector<FixedCost>&,
           const std::vector<FreshMemory>&);

/// Draws operations and their peers, in copies of the largest picture.
void drawChart(std::ostream& svg, const std::vector<Row>&, const Times&);

}  // namespace qkzbench
