// First use from several threads at once, and many calls one after the other.
#include <malloc.h>

#include <barrier>
#include <deque>
#include <fstream>
#include <thread>

#include "Soak.h"

namespace qkzsoak {

/// Every thread calls every function, all in the same order.
void race(const Scene& scene) {
    if (scene.storage.settings.storage == Storage::pixmap) return;  // GDK is for one thread
    std::vector<std::pair<std::size_t, std::string>> calls;         // which function, and its outcome
    {
        Room room(scene);
        for (std::size_t i = 0; room.function && i < room.registry.methods().size(); ++i) {
            room.function = &room.registry.methods()[i];
            // Exceptions of two threads would meet in the host.
            if (const std::string outcome = room.call(); outcome.find("Exception") == outcome.npos)
                calls.push_back({i, outcome});
        }
    }
    std::mt19937_64 engine(scene.seed);
    std::shuffle(calls.begin(), calls.end(), engine);
    Room room(scene);
    room.slowImports = true;
    const std::size_t threadCount = 2UL << engine() % 3;
    std::deque<Arguments> arguments;
    for (std::size_t i = 0; i < threadCount * calls.size(); ++i) {
        room.function = &room.registry.methods()[calls[i % calls.size()].first];
        arguments.emplace_back(room);
    }
    std::barrier together(static_cast<std::ptrdiff_t>(threadCount));
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            together.arrive_and_wait();
            for (std::size_t k = 0; k < calls.size(); ++k) arguments[i * calls.size() + k].call();
        });
    }
    threads.clear();
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto& [index, clean] = calls[i % calls.size()];
        trying(room.registry.methods()[index].text() + " in " + std::to_string(threadCount) + " threads");
        if (const std::string outcome = arguments[i].outcome(); outcome != clean)
            finding("gives " + outcome + " instead of " + clean);
    }
}

/// The same calls in each of many periods: nothing may grow from one to the next.
void endure(const Scene& scene) {
    Room room(scene);
    std::vector<long> bytes, pages;  // allocated; resident
    for (int period = 0; period < 23; ++period) {
        for (room.scene.seed = scene.seed; room.scene.seed < scene.seed + 10000; room.scene.seed += 4) {
            room.function = &room.registry.methods()[room.scene.seed / 4 % room.registry.methods().size()];
            trying(room.function->declaration.name);
            room.call();
        }
        bytes.push_back(static_cast<long>(mallinfo2().uordblks));
        std::ifstream("/proc/self/statm") >> pages.emplace_back() >> pages.back();
    }
#ifndef QKZ_SANITIZED  // sanitizers keep memory for themselves, as does GDK
    if (scene.storage.settings.storage == Storage::pixmap) return;
    for (const auto& sizes : {bytes, pages}) {  // after a warm-up
        if (sizes.back() - sizes[3] > (sizes == bytes ? 16 << 10 : 256))
            finding("memory grows from " + std::to_string(sizes[3]) + " to " + std::to_string(sizes.back()));
    }
#endif
}

}  // namespace qkzsoak
