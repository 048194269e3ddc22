// Times the plug-in's operations through the small real host, beside a peer that does the same work on the
// same pictures, and prints the result as Markdown.
//
//     qkz_bench [FILTER] [--chart=FILE] [--benchmark_...]
//
// FILTER is a regular expression; only operations whose names contain a match are timed. FILE is an SVG
// picture of the results.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <array>
#include <chrono>
#include <concepts>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <opencv2/core.hpp>
#include <optional>
#include <regex>
#include <set>

#include "FreshMemory.h"
#include "HostShare.h"

// The units use the vectors that the plug-in uses. Clang makes the default ones only.
#if defined(QKZ_AVX512_UNITS) && !defined(__clang__)
#define QKZ_BEST_TARGET __attribute__((target_clones("avx512f", "avx2", "default")))
#elif defined(QKZ_AVX2_UNITS) && !defined(__clang__)
#define QKZ_BEST_TARGET __attribute__((target_clones("avx2", "default")))
#else
#define QKZ_BEST_TARGET
#endif

namespace qkzbench {
namespace {

/// The sum of a row's words, as fast as the processor reads them.
QKZ_BEST_TARGET std::uint32_t sumOf(const std::uint32_t* words, int count) {
    std::uint32_t sum = 0;
    for (int i = 0; i < count; ++i) sum += words[i];
    return sum;
}

/// What operations that make a picture cannot do without: a new picture, and every pixel written.
Call copied(Scene& scene, Content content) {
    return [&scene, from = scene.mat(content)] {
        auto picture = scene.newPicture();
        const cv::Mat to = scene.mat(picture.get());
        for (int y = 0; y < from.rows; ++y)
            std::memcpy(to.data + to.step * static_cast<std::size_t>(y), from.ptr(y),
                        static_cast<std::size_t>(from.cols) * 4);
        return Outcome(std::move(picture));
    };
}

std::uint32_t* picturesRow(const cv::Mat& mat, int y) {
    return reinterpret_cast<std::uint32_t*>(mat.data + mat.step * static_cast<std::size_t>(y));
}

/// A row of words made of the words of several.
template <class... Words>
QKZ_BEST_TARGET void passOver(std::uint32_t* to, int count, const Words*... from) {
    for (int i = 0; i < count; ++i) to[i] = (from[i] ^ ...);
}

/// What operations that read so many pictures and make one cannot do without: ordinary loads and stores.
template <std::same_as<Content>... Contents>
Prepare pass(Contents... contents) {
    return [=](Scene& scene) -> Call {
        return [&scene, sources = std::array{scene.mat(contents)...}] {
            auto picture = scene.newPicture();
            const cv::Mat to = scene.mat(picture);
            for (int y = 0; y < to.rows; ++y) {
                std::apply(
                    [&](const auto&... from) {
                        passOver(picturesRow(to, y), to.cols, from.template ptr<std::uint32_t>(y)...);
                    },
                    sources);
            }
            return Outcome(std::move(picture));
        };
    };
}

/// What operations that look at every pixel cannot do without.
Call summed(Scene& scene, Content content) {
    return [from = scene.mat(content)] {
        std::uint32_t sum = 0;
        for (int y = 0; y < from.rows; ++y) sum += sumOf(from.ptr<std::uint32_t>(y), from.cols);
        return Outcome(static_cast<double>(sum));
    };
}

/// A unit as a call; empty for the clock.
Prepare prepared(const Unit& unit) {
    using enum Content;
    const Content content = unit.content;
    switch (unit.kind) {
        case Against::copy:
            return [=](Scene& scene) { return copied(scene, content); };
        case Against::one:
            return pass(content);
        case Against::two:
            return pass(content, other);
        case Against::three:
            return pass(content, other, third);
        case Against::sum:
            return [=](Scene& scene) { return summed(scene, content); };
        case Against::microsecond:
            break;
    }
    return {};
}

/// Seconds that so many calls take.
double timed(const Call& call, int calls) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (int i = 0; i < calls; ++i) benchmark::DoNotOptimize(call());
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/// What takes turns, by its name in the report: "ours", "unit", "peer".
using Turns = std::vector<std::pair<std::string, Prepare>>;

/// Times an operation and what it is compared with in turn, so that a slow phase of the machine meets all
/// alike.
void run(benchmark::State& state, Scene& scene, const Turns& turns) {
    const int calls = limitsCount({scene.width, scene.height}) ? 1 : 16;  // reading the clock takes time, too
    struct Turn {
        std::string name;
        Call call;
        double seconds = 0;
    };
    std::vector<Turn> prepared;
    for (const auto& [name, prepare] : turns) {
        prepared.push_back({name, prepare(scene)});
        benchmark::DoNotOptimize(prepared.back().call());  // the peers allocate what they need in between
    }
    for (auto _ : state) {
        double all = 0;
        for (Turn& turn : prepared) {
            const double seconds = timed(turn.call, calls);
            turn.seconds += seconds / calls;
            all += seconds;
        }
        state.SetIterationTime(all);
    }
    for (const Turn& turn : prepared)
        state.counters[turn.name] = {turn.seconds, benchmark::Counter::kAvgIterations};
}

bool measuredAt(const Operation& operation, Size size) {
    return operation.sizes == Sizes::all || limitsCount(size);
}

/// Compares the outcomes of both sides on the smallest picture that the operation is timed on.
double compared(const Operation& operation, std::vector<Scene>& scenes) {
    for (std::size_t i = 0; i < scenes.size(); ++i)
        if (operation.peer && measuredAt(operation, sizes[i])) {
            const Call ours = operation.ours(scenes[i]), peer = operation.peer(scenes[i]);
            return difference(scenes[i], ours(), peer());
        }
    return -1;
}

/// A call that fails would be timed as a fast one.
void expectSuccess(const Operation& operation, Scene& scene) {
    const Outcome result = operation.ours(scene)();
    const auto exception = scene.host.exceptions.take();
    const auto* picture = std::get_if<1>(&result);
    const auto* string = std::get_if<2>(&result);
    if (exception || (picture && !picture->get()) || (string && !string->get()))
        throw std::runtime_error(operation.name + " failed" + (exception ? ": " + exception->message : ""));
}

benchmark::internal::Benchmark* add(const std::string& name, Scene& scene, Turns turns) {
    return benchmark::RegisterBenchmark(name.c_str(),
                                        [=, &scene](benchmark::State& state) { run(state, scene, turns); })
        ->UseManualTime();
}

/// The operations whose names match, and those whose peers they share.
std::vector<Operation> chosen(const std::regex& filter) {
    std::vector<Operation> operations = makingPictures();
    for (Operation& operation : lookingAtPictures()) operations.push_back(std::move(operation));
    std::set<std::string> names;
    for (const Operation& operation : operations)
        if (std::regex_search(operation.name, filter)) names.insert({operation.name, operation.peerOf});
    std::erase_if(operations, [&](const Operation& operation) { return !names.contains(operation.name); });
    return operations;
}

/// Checks an operation and has it and its peer timed on every size; nothing when the plug-in lacks it.
std::optional<Row> added(const Operation& operation, std::vector<Scene>& scenes) {
    if (!operation.ours(scenes.back())) {
        std::cerr << operation.name << ": the plug-in does not have it; skipped\n";
        return {};
    }
    expectSuccess(operation, scenes.back());
    for (std::size_t i = 0; i < scenes.size(); ++i) {
        if (!measuredAt(operation, sizes[i])) continue;
        Turns turns{{"ours", operation.ours}};
        if (Prepare unit = prepared(operation.unit)) turns.emplace_back("unit", std::move(unit));
        if (operation.peer && operation.peerOf.empty()) {
            if (operation.slowPeer) {
                add(slowPeer(operation.name, sizes[i]), scenes[i], {{"peer", operation.peer}})
                    ->Iterations(1)
                    ->Repetitions(3);
            } else {
                turns.emplace_back("peer", operation.peer);
            }
        }
        add(measurement(operation.name, sizes[i]), scenes[i], turns);
    }
    return Row{operation, compared(operation, scenes)};
}

int main(int argc, char** argv) {
    // Repetitions in random order, so that a slow phase of the machine meets all alike.
    std::vector<char*> arguments{argv[0]};
    std::string defaults[] = {"--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=9",
                              "--benchmark_min_time=0.1"};
    for (std::string& text : defaults) arguments.push_back(text.data());
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());  // leaves what it does not know
    std::string chart, pattern;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[static_cast<std::size_t>(i)];
        const bool isChart = argument.starts_with("--chart=");
        if (!isChart && (!pattern.empty() || argument.starts_with("--"))) {
            throw std::runtime_error("unknown argument " + argument);
        }
        (isChart ? chart : pattern) = isChart ? argument.substr(std::strlen("--chart=")) : argument;
    }
    const std::vector<Operation> operations = chosen(std::regex(pattern, std::regex::icase));
    cv::setNumThreads(1);
    std::cerr << "Timing in fresh memory\n";
    const std::vector<FreshMemory> fresh = inFreshMemory(operations);

    // Freed memory stays with the process: no new picture is paid for with page faults, whatever was freed
    // before it.
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    std::vector<Row> rows;
    Times times;
    {
        qkzhost::Host host;
        host.load(QKZ_PLUGIN);
        std::vector<Scene> scenes;
        for (const Size size : sizes) scenes.emplace_back(host, size.width, size.height);
        for (std::size_t i = 0; i < scenes.size(); ++i) {
            for (const Against against : told)
                add(measurement(nameOf(against), sizes[i]), scenes[i], {{"ours", prepared(against)}});
        }
        for (const Operation& operation : operations) {
            if (auto row = added(operation, scenes)) rows.push_back(std::move(*row));
        }
        std::cerr << "Timing " << rows.size() << " operations\n";
        benchmark::RunSpecifiedBenchmarks(&times);
    }
    if (!chart.empty()) {
        std::ofstream svg(chart);
        drawChart(svg, rows, times);
        if (!svg.flush()) throw std::runtime_error(chart + " cannot be written");
    }
    return print(std::cout, rows, times, fixedCosts(QKZ_PLUGIN, rows), fresh) ? 0 : 1;
}

}  // namespace
}  // namespace qkzbench

int main(int argc, char** argv) {
    try {
        return qkzbench::main(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "qkz_bench: " << error.what() << '\n';
        return 2;
    }
}
