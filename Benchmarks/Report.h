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
inline constexpr Size sizes[] = {{64, 64}, {1920, 1080}, {3840, 2160}};
std::string nameOf(Size);

enum class Side { ours, peer };
inline constexpr const char* copyName = "copy";
inline constexpr const char* sumName = "sum";
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

/// Prints both tables; false when an operation misses a limit.
bool print(std::ostream&, const std::vector<Row>&, const Times&, const std::vector<FixedCost>&);

}  // namespace qkzbench
