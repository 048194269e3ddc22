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

#if defined(__GNUC__) && !defined(__clang__)
#define QKZ_BEST_TARGET __attribute__((target_clones("avx512f", "avx2", "default")))
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
Call copied(Scene& scene) {
    return [&scene, from = scene.mat(Content::photo)] {
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
Call summed(Scene& scene) {
    return [from = scene.mat(Content::photo)] {
        std::uint32_t sum = 0;
        for (int y = 0; y < from.rows; ++y) sum += sumOf(from.ptr<std::uint32_t>(y), from.cols);
        return Outcome(static_cast<double>(sum));
    };
}

std::vector<std::pair<Against, Prepare>> units() {
    using enum Content;
    return {{Against::copy, copied},
            {Against::one, pass(photo)},
            {Against::two, pass(photo, other)},
            {Against::three, pass(photo, other, third)},
            {Against::sum, summed}};
}

void run(benchmark::State& state, const Prepare& prepare, Scene& scene) {
    const Call call = prepare(scene);
    benchmark::DoNotOptimize(call());  // the peers allocate what they need in between
    for (auto _ : state) benchmark::DoNotOptimize(call());
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

void add(const std::string& name, const Prepare& prepare, Scene& scene, bool slow = false) {
    auto* benchmark = benchmark::RegisterBenchmark(
        name.c_str(), [=, &scene](benchmark::State& state) { run(state, prepare, scene); });
    if (slow) benchmark->Iterations(1)->Repetitions(3);
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
        add(measurement(operation.name, Side::ours, sizes[i]), operation.ours, scenes[i]);
        if (operation.peer && operation.peerOf.empty())
            add(measurement(operation.name, Side::peer, sizes[i]), operation.peer, scenes[i],
                operation.slowPeer);
    }
    return Row{operation, compared(operation, scenes)};
}

int main(int argc, char** argv) {
    // Repetitions in random order, so that a slow phase of the machine meets all alike.
    std::vector<char*> arguments{argv[0]};
    std::string defaults[] = {"--benchmark_enable_random_interleaving=true", "--benchmark_repetitions=9",
                              "--benchmark_min_time=0.05"};
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
            for (const auto& [unit, prepare] : units()) {
                add(measurement(nameOf(unit), Side::ours, sizes[i]), prepare, scenes[i]);
            }
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
