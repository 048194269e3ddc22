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
double unit(Against against, const Times& times, Size size) {
    return against == Against::microsecond ? 1e-6 : times.of(measurement(nameOf(against), Side::ours, size));
}

struct Measured {
    double ours, peer, timesUnit, timesOurs;  // seconds, and ratios to the unit and of peer to ours
};

Measured measured(const Operation& operation, const Times& times, Size size) {
    const std::string& peerOf = operation.peerOf.empty() ? operation.name : operation.peerOf;
    const double ours = times.of(measurement(operation.name, Side::ours, size));
    const double peer = times.of(measurement(peerOf, Side::peer, size));
    return {ours, peer, ratio(ours, unit(operation.against, times, size)), ratio(peer, ours)};
}

bool holds(const Operation& operation, const Measured& at) {
    return at.ours <= 0 || ((operation.limit <= 0 || at.timesUnit <= operation.limit) &&
                            (operation.peerLimit <= 0 || at.timesOurs >= operation.peerLimit));
}

void printUnits(std::ostream& out, const Times& times) {
    const std::pair<Against, const char*> units[] = {
        {Against::copy, "memcpy of the rows into a new picture"},
        {Against::one, "a new picture of the words of one, by ordinary loads and stores"},
        {Against::two, "of two"},
        {Against::three, "of three"},
        {Against::sum, "adding up the words of the rows"}};
    out << "| unit |";
    for (const Size size : sizes) out << ' ' << nameOf(size) << " |";
    out << "\n|---|---|---|---|---|\n";
    for (const auto& [against, text] : units) {
        out << "| " << nameOf(against) << ": " << text << " |";
        for (const Size size : sizes) out << ' ' << number(unit(against, times, size) * 1e3) << " ms |";
        out << '\n';
    }
}

void printFixedCosts(std::ostream& out, const std::vector<FixedCost>& costs) {
    out << "\n| " << nameOf(sizes[0])
        << ": a call | µs | of it in the host | calls of the host |\n|---|---|---|---|\n";
    for (const FixedCost& cost : costs) {
        out << "| " << cost.operation << " | " << number(cost.seconds * 1e6) << " | "
            << static_cast<int>(100 * cost.hostSeconds / cost.seconds + 0.5) << " % | " << cost.hostCalls
            << " |\n";
    }
}

void printFreshMemory(std::ostream& out, const std::vector<FreshMemory>& rows) {
    if (rows.empty()) return;
    out << "\n| in fresh memory | size | results kept: median, mean ms | peer | p = p.f(): median, mean ms | "
           "peer "
        << "| MB before, kept, after | peer |\n|---|---|---|---|---|---|---|---|\n";
    const auto pair = [](double a, double b) { return number(a * 1e3) + ", " + number(b * 1e3); };
    for (const FreshMemory& row : rows) {
        out << "| " << row.operation << " | " << nameOf(row.size) << " | "
            << pair(row.ours.keptMedian, row.ours.keptMean) << " | "
            << pair(row.peer.keptMedian, row.peer.keptMean) << " | "
            << pair(row.ours.replacedMedian, row.ours.replacedMean) << " | "
            << pair(row.peer.replacedMedian, row.peer.replacedMean) << " | " << row.residentBefore << ", "
            << row.ours.residentKept << ", " << row.ours.residentAfter << " | " << row.ours.residentAfter
            << ", " << row.peer.residentKept << ", " << row.peer.residentAfter << " |\n";
    }
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

const char* nameOf(Against against) {
    switch (against) {
        case Against::copy:
            return "copy";
        case Against::one:
            return "pass of 1";
        case Against::two:
            return "pass of 2";
        case Against::three:
            return "pass of 3";
        case Against::sum:
            return "sum";
        case Against::microsecond:
            break;
    }
    return "µs";
}

bool print(std::ostream& out, const std::vector<Row>& rows, const Times& times,
           const std::vector<FixedCost>& costs, const std::vector<FreshMemory>& fresh) {
    const Size largest = sizes[std::size(sizes) - 1];
    out << "Processor: " << processor() << " (" << vectors() << "), one thread. Peer: OpenCV " << CV_VERSION
        << ".\n\n";
    printUnits(out, times);
    out << "\n| operation | ms at " << nameOf(largest) << " | unit |";
    for (const Size size : sizes) {
        if (limitsCount(size)) out << " units at " << nameOf(size) << " |";
    }
    out << " limit | peer | at least |";
    for (const Size size : sizes) out << " peer / ours at " << nameOf(size) << " |";
    out << " differs by | ok |\n|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n";
    bool allGood = true;
    for (const auto& [operation, difference] : rows) {
        bool good = difference <= operation.tolerance;
        std::ostringstream units, peers, differs;
        for (const Size size : sizes) {
            const Measured at = measured(operation, times, size);
            peers << ' ' << number(at.timesOurs) << " |";
            if (!limitsCount(size)) continue;
            units << ' ' << number(at.timesUnit) << " |";
            good = good && holds(operation, at);
        }
        allGood = allGood && good;
        if (difference >= 0) differs << std::setprecision(2) << difference;
        const bool asked = operation.limit > 0 || operation.peerLimit > 0;
        out << "| " << operation.name << " | " << number(measured(operation, times, largest).ours * 1e3)
            << " | " << nameOf(operation.against) << " |" << units.str() << ' ' << limitText(operation.limit)
            << " | " << operation.peerName << " | " << limitText(operation.peerLimit) << " |" << peers.str()
            << ' ' << differs.str() << " | "
            << (!good   ? "**no**"
                : asked ? "yes"
                        : "")
            << " |\n";
    }
    printFixedCosts(out, costs);
    printFreshMemory(out, fresh);
    return allGood;
}

}  // namespace qkzbench
