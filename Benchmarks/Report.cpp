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

const char* nameOf(Vectors widest) {
    switch (widest) {
        case Vectors::avx512vbmi:
            return "AVX-512 with VBMI";
        case Vectors::avx512:
            return "AVX-512";
        case Vectors::avx2:
            return "AVX2";
        case Vectors::sse2:
            break;
    }
    return "SSE2";
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

bool holds(const Operation& operation, const Measured& at, Size size) {
    if (at.ours <= 0) return true;
    const double most = operation.limit.most * slack(size), peer = operation.peerLimit / slack(size);
    return (!limitsCount(size) || most <= 0 || at.timesUnit <= most) &&
           (!peersCount(size) || peer <= 0 || at.timesOurs >= peer);
}

void printUnits(std::ostream& out, const Times& times) {
    const char* const texts[] = {"memcpy of the rows into a new picture",
                                 "a new picture of the words of one, by ordinary loads and stores", "of two",
                                 "of three", "adding up the words of the rows"};
    out << "| unit |";
    for (const Size size : sizes) out << ' ' << nameOf(size) << " |";
    out << "\n|---|---|---|---|---|\n";
    for (std::size_t i = 0; i < std::size(told); ++i) {
        out << "| " << nameOf(told[i]) << ": " << texts[i] << " |";
        for (const Size size : sizes) {
            out << ' ' << number(times.seconds(measurement(nameOf(told[i]), size)) * 1e3) << " ms |";
        }
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
            << row.ours.residentKept << ", " << row.ours.residentAfter << " | " << row.residentBefore << ", "
            << row.peer.residentKept << ", " << row.peer.residentAfter << " |\n";
    }
}

}  // namespace

std::string nameOf(Size size) { return std::to_string(size.width) + "x" + std::to_string(size.height); }

std::string measurement(std::string_view operation, Size size) {
    return std::string(operation) + '/' + nameOf(size);
}

std::string slowPeer(std::string_view operation, Size size) {
    return "peer of " + measurement(operation, size);
}

void Times::ReportRuns(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration) continue;
        Repetition& repetition = repetitions_[run.run_name.function_name].emplace_back();
        for (const auto& [name, counter] : run.counters) repetition[name] = counter.value;
    }
}

double Times::median(const std::string& measurement,
                     const std::function<double(const Repetition&)>& value) const {
    const auto found = repetitions_.find(measurement);
    if (found == repetitions_.end()) return 0;
    std::vector<double> values;
    for (const Repetition& repetition : found->second) values.push_back(value(repetition));
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

double Times::seconds(const std::string& measurement, const char* of) const {
    return median(measurement, [&](const Repetition& r) { return r.contains(of) ? r.at(of) : 0; });
}

double Times::ratio(const std::string& measurement, const char* of, const char* over) const {
    return median(measurement, [&](const Repetition& r) {
        return r.contains(of) && r.contains(over) ? r.at(of) / r.at(over) : 0;
    });
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

Measured measured(const Operation& operation, const Times& times, Size size) {
    const std::string name = measurement(operation.name, size);
    const std::string& peerOf = operation.peerOf.empty() ? operation.name : operation.peerOf;
    Measured result{times.seconds(name), times.ratio(name, "ours", "unit"),
                    times.ratio(name, "peer", "ours")};
    if (operation.unit.kind == Against::microsecond) result.timesUnit = result.ours * 1e6;
    if (result.timesOurs <= 0 && result.ours > 0) {  // the peer did not take turns with it
        const double peer = operation.slowPeer ? times.seconds(slowPeer(peerOf, size), "peer")
                                               : times.seconds(measurement(peerOf, size), "peer");
        result.timesOurs = peer / result.ours;
    }
    return result;
}

bool print(std::ostream& out, const std::vector<Row>& rows, const Times& times,
           const std::vector<FixedCost>& costs, const std::vector<FreshMemory>& fresh) {
    const Size largest = sizes[std::size(sizes) - 1];
    out << "Processor: " << processor() << ", using " << nameOf(vectors()) << ", one thread. Peer: OpenCV "
        << CV_VERSION << ".\n\n";
    printUnits(out, times);
    out << "\n| operation | ms at " << nameOf(largest) << " | unit |";
    for (const Size size : sizes) {
        if (limitsCount(size)) out << " units at " << nameOf(size) << " |";
    }
    out << " limit | goal | peer | at least |";
    for (const Size size : sizes) out << " peer / ours at " << nameOf(size) << " |";
    out << " differs by | ok |\n|---|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n";
    bool allGood = true;
    for (const auto& [operation, difference] : rows) {
        bool good = difference <= operation.tolerance;
        std::ostringstream units, peers, differs;
        for (const Size size : sizes) {
            const Measured at = measured(operation, times, size);
            peers << ' ' << number(at.timesOurs) << " |";
            if (limitsCount(size)) units << ' ' << number(at.timesUnit) << " |";
            good = good && holds(operation, at, size);
        }
        allGood = allGood && good;
        if (difference >= 0) differs << std::setprecision(2) << difference;
        const bool asked = operation.limit.most > 0 || operation.peerLimit > 0;
        out << "| " << operation.name << " | " << number(measured(operation, times, largest).ours * 1e3)
            << " | " << nameOf(operation.unit.kind) << " |" << units.str() << ' '
            << limitText(operation.limit.most) << " | " << limitText(operation.limit.goal) << " | "
            << operation.peerName << " | " << limitText(operation.peerLimit) << " |" << peers.str() << ' '
            << differs.str() << " | "
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
