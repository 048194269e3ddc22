#include "Report.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iomanip>
#include <opencv2/core/version.hpp>
#include <ostream>
#include <sstream>

namespace qkzbench {
namespace {

std::string processor() {
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);)
        if (line.starts_with("model name")) return line.substr(line.find(": ") + 2);
    return "unknown processor";
}

/// The widest vectors that the processor has, of those that the plug-in uses.
const char* vectors() {
    if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512bw"))
        return "AVX-512 with VBMI";
    if (__builtin_cpu_supports("avx512bw")) return "AVX-512";
    return __builtin_cpu_supports("avx2") ? "AVX2" : "SSE2";
}

/// With three digits that count; empty for nothing.
std::string number(double value) {
    if (value <= 0) return "";
    std::ostringstream text;
    text << std::fixed << std::setprecision(std::max(0, 2 - static_cast<int>(std::floor(std::log10(value)))))
         << value;
    return text.str();
}

/// A limit as it was written; empty for none.
std::string limitText(double value) {
    std::ostringstream text;
    if (value > 0) text << value;
    return text.str();
}

double ratio(double a, double b) { return a > 0 && b > 0 ? a / b : 0; }

/// The time that an operation's limit is a multiple of.
double unit(const Operation& operation, const Times& times, Size size) {
    switch (operation.against) {
        case Against::copy:
            return times.of(measurement(copyName, Side::ours, size));
        case Against::sum:
            return times.of(measurement(sumName, Side::ours, size));
        case Against::microsecond:
            break;
    }
    return 1e-6;
}

const char* nameOf(Against against) {
    switch (against) {
        case Against::copy:
            return "copy";
        case Against::sum:
            return "sum";
        case Against::microsecond:
            break;
    }
    return "µs";
}

struct Measured {
    double ours, peer, timesUnit, timesOurs;  // seconds, and ratios to the unit and of peer to ours
};

Measured measured(const Operation& operation, const Times& times, Size size) {
    const std::string& peerOf = operation.peerOf.empty() ? operation.name : operation.peerOf;
    const double ours = times.of(measurement(operation.name, Side::ours, size));
    const double peer = times.of(measurement(peerOf, Side::peer, size));
    return {ours, peer, ratio(ours, unit(operation, times, size)), ratio(peer, ours)};
}

}  // namespace

std::string nameOf(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

std::string measurement(std::string_view operation, Side side, Size size) {
    return std::string(operation) + (side == Side::ours ? "/ours/" : "/peer/") + nameOf(size);
}

void Times::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration) continue;
        const double seconds = run.cpu_accumulated_time / static_cast<double>(run.iterations);
        const auto [known, isNew] = seconds_.emplace(run.run_name.function_name, seconds);
        if (!isNew) known->second = std::min(known->second, seconds);
    }
}

double Times::of(const std::string& name) const {
    const auto found = seconds_.find(name);
    return found == seconds_.end() ? 0 : found->second;
}

bool print(std::ostream& out, const std::vector<Row>& rows, const Times& times,
           const std::vector<FixedCost>& costs) {
    const auto& [small, middle, large] = sizes;
    out << "Processor: " << processor() << " (" << vectors() << "), one thread. Peer: OpenCV " << CV_VERSION
        << ".\n\n";
    out << "| unit |";
    for (const Size size : sizes) out << ' ' << nameOf(size) << " |";
    out << "\n|---|---|---|---|\n";
    const std::pair<const char*, const char*> units[] = {
        {copyName, "copy: memcpy of the rows into a new picture"},
        {sumName, "sum: adding up the words of the rows"}};
    for (const auto& [name, text] : units) {
        out << "| " << text << " |";
        for (const Size size : sizes)
            out << ' ' << number(times.of(measurement(name, Side::ours, size)) * 1e3) << " ms |";
        out << '\n';
    }
    out << "\n| operation | ms at " << nameOf(large)
        << " | in units | limit | peer | peer ms | peer / ours | at least "
        << "| differs by | ok | in units at " << nameOf(middle) << " | peer / ours |\n"
        << "|---|---|---|---|---|---|---|---|---|---|---|---|\n";
    bool allGood = true;
    for (const auto& [operation, difference] : rows) {
        const Measured at = measured(operation, times, large), smaller = measured(operation, times, middle);
        if (at.ours <= 0) continue;
        const bool asked = operation.limit > 0 || operation.peerLimit > 0;
        const bool good = (operation.limit <= 0 || at.timesUnit <= operation.limit) &&
                          (operation.peerLimit <= 0 || at.timesOurs >= operation.peerLimit) &&
                          difference <= operation.tolerance;
        allGood = allGood && good;
        std::ostringstream differs;
        if (difference >= 0) differs << std::setprecision(2) << difference;
        out << "| " << operation.name << " | " << number(at.ours * 1e3) << " | " << number(at.timesUnit)
            << ' ' << nameOf(operation.against) << " | " << limitText(operation.limit) << " | "
            << operation.peerName << " | " << number(at.peer * 1e3) << " | " << number(at.timesOurs) << " | "
            << limitText(operation.peerLimit) << " | " << differs.str() << " | "
            << (!good   ? "**no**"
                : asked ? "yes"
                        : "")
            << " | " << number(smaller.timesUnit) << " | " << number(smaller.timesOurs) << " |\n";
    }
    out << "\n| " << nameOf(small)
        << ": a call | µs | of it in the host | calls of the host |\n|---|---|---|---|\n";
    for (const FixedCost& cost : costs)
        out << "| " << cost.operation << " | " << number(cost.seconds * 1e6) << " | "
            << static_cast<int>(100 * cost.hostSeconds / cost.seconds + 0.5) << " % | " << cost.hostCalls
            << " |\n";
    return allGood;
}

}  // namespace qkzbench
