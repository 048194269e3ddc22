#include "HostShare.h"

#include <dlfcn.h>
#include <x86intrin.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <span>
#include <stdexcept>

namespace qkzbench {
namespace {

// Times are in ticks of the processor's counter, which is quicker to read than a clock of the system.
double now() { return static_cast<double>(__rdtsc()); }

// What the plug-in's calls of the host have taken so far.
double hostTicks = 0;
int hostCalls = 0;

struct Stopwatch {
    ~Stopwatch() {
        hostTicks += now() - start;
        ++hostCalls;
    }
    double start = now();
};

/// Stands before a function of the host and times it.
template <const auto& type>
struct Timed;
template <class R, class... A, const HostFunctionType<R(A...)>& type>
struct Timed<type> {
    static inline R (*real)(A...) = nullptr;
    static R call(A... arguments) {
        const Stopwatch stopwatch;
        return real(arguments...);
    }
    static void* before(void* function) {
        real = reinterpret_cast<R (*)(A...)>(function);
        return reinterpret_cast<void*>(&call);
    }
};

struct Entry {
    const char* name;
    void* (*before)(void* function);
};
template <const auto& type>
constexpr Entry timed{type.name, &Timed<type>::before};

void* withTimer(std::span<const Entry> entries, const char* name, void* function) {
    for (const Entry& entry : entries) {
        if (function && std::strcmp(entry.name, name) == 0) return entry.before(function);
    }
    return function;
}

constexpr Entry objectMethods[] = {
    timed<hostmethod::bestRepresentation>,
    timed<hostmethod::getMask>,
    timed<hostmethod::constructPicture>,
};

// What operations on Cairo pictures ask the host for; the registration at the start is not timed.
constexpr Entry services[] = {
    timed<service::REALLockObject>,           timed<service::REALUnlockObject>,
    timed<service::PluginNewInstance>,        timed<service::REALLoadObjectMethod>,
    timed<service::REALInDebugMode>,          timed<service::REALGetPropValueInteger>,
    timed<service::REALGetPropValueBool>,     timed<service::REALSetPropValueInteger>,
    timed<service::PluginGetStringData>,      timed<service::PluginDisposeStringData>,
    timed<service::REALBuildString>,          timed<service::REALBuildStringWithEncoding>,
    timed<service::REALLockString>,           timed<service::REALUnlockString>,
    timed<service::StringGetCString>,         timed<service::REALGetStringEncoding>,
    timed<service::REALSetStringEncoding>,    timed<service::REALLockPictureDescription>,
    timed<service::unlockPictureDescription>, timed<service::REALPictureClearCache>,
    timed<service::REALGetPictureMask>,       timed<service::newPicture>,
    timed<service::PluginPictureGetType>,     timed<service::memoryBlockGetPtr>,
    timed<service::memoryBlockGetSize>,
};

using Text = const char*;
using Object = REALobjectStruct*;

void* (*realResolver)(Text) = nullptr;
void* (*realLoadObjectMethod)(Object, Text) = nullptr;

void* loadObjectMethod(Object object, Text declaration) {
    return withTimer(objectMethods, declaration, realLoadObjectMethod(object, declaration));
}

void* resolve(Text name) {
    void* function = realResolver(name);
    if (function && name == std::string_view(service::REALLoadObjectMethod.name)) {
        realLoadObjectMethod = reinterpret_cast<void* (*)(Object, Text)>(function);
        function = reinterpret_cast<void*>(&loadObjectMethod);
    }
    return withTimer(services, name, function);
}

void (*realMain)(void* (*)(Text)) = nullptr;

void timedMain(void* (*resolver)(Text)) {
    realResolver = resolver;
    realMain(&resolve);
}

constexpr HostFunctionType<void()> emptyFunction{""};
void nothing() {}

/// Ticks that timing a host call adds to the time around it (first) and to its own (second).
std::pair<double, double> costOfTiming() {
    Timed<emptyFunction>::before(reinterpret_cast<void*>(&nothing));
    void (*volatile call)() = &Timed<emptyFunction>::call;
    std::pair best{1e9, 1e9};
    for (int batch = 0; batch < 100; ++batch) {
        constexpr int calls = 1000;
        hostTicks = 0;
        const double start = now();
        for (int i = 0; i < calls; ++i) call();
        best = std::min(best, std::pair{(now() - start) / calls, hostTicks / calls});
    }
    return best;
}

double ticksPerSecond() {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    const double ticks = now();
    while (Clock::now() - start < std::chrono::milliseconds(50)) {
    }
    return (now() - ticks) / std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

std::vector<FixedCost> fixedCosts(const std::string& plugin, const std::vector<Row>& rows) {
    void* library = dlopen(plugin.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!library) throw std::runtime_error(dlerror());
    realMain = reinterpret_cast<void (*)(void* (*)(Text))>(dlsym(library, "REALPluginMain"));
    if (!realMain) throw std::runtime_error(plugin + " has no REALPluginMain");
    qkzhost::Host host;
    host.start(&timedMain);
    std::vector<FixedCost> costs;
    {
        Scene scene(host, sizes[0].width, sizes[0].height);
        const auto [around, inside] = costOfTiming();
        const double tick = 1 / ticksPerSecond();
        for (const auto& [operation, difference] : rows) {
            const Call call = operation.sizes == Sizes::all ? operation.ours(scene) : Call{};
            if (!call) continue;
            call();
            FixedCost best{operation.name, 0, 1e9, 0};
            for (int batch = 0; batch < 50; ++batch) {  // the quietest counts
                constexpr int calls = 50;
                double ticks = 0;
                hostTicks = 0;
                hostCalls = 0;
                for (int i = 0; i < calls; ++i) {
                    const double start = now();
                    const Outcome result = call();
                    ticks += now() - start;
                }
                const double seconds = (ticks - around * hostCalls) / calls * tick;
                if (seconds >= best.seconds) continue;
                best.seconds = seconds;
                best.hostCalls = hostCalls / calls;
                best.hostSeconds = std::max(0.0, (hostTicks - inside * hostCalls) / calls * tick);
            }
            costs.push_back(best);
        }
    }
    return costs;
}

}  // namespace qkzbench
