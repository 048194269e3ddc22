// What the plug-in asks of others fails: the C library, and the host's services.
#include <map>

#include "Soak.h"

namespace qkzsoak {
namespace {

/// How often each service was called, or the imports.
using Counts = std::map<std::string, int>;

Counts counted(const Host& host, bool imports) {
    Counts counts;
    for (const std::string& name : host.faults.names()) {
        if ((name == "import") == imports && !host.registry.registration(name))
            counts[name] = host.faults.called(name);
    }
    return counts;
}

/// Each call between the two counts fails in every way.
void eachFailure(const Counts& before, const Counts& after,
                 const std::function<void(const std::string& name, int nth, Failure)>& attempt) {
    for (const auto& [name, count] : after) {
        for (int nth = count - (before.contains(name) ? before.at(name) : 0); nth > 0; --nth) {
            for (int i = 0; const char* text : {"gives nothing", "raises", "throws an error",
                                                "throws a number", "and all later ones give nothing"}) {
                const auto way = static_cast<Failure>(i++);
                const bool throws = way == Failure::throwsError || way == Failure::throwsNumber;
                if (name == "import" && (throws || way == Failure::raises)) continue;
                // That a lock did nothing cannot be known, and only one lost release can be accounted for.
                if (!throws && (name == "reallockobject" || name == "reallockstring")) continue;
                if (way == Failure::lasting && name.find("unlock") != name.npos) continue;
                trying("call " + std::to_string(nth) + " of " + name + ' ' + text);
                attempt(name, nth, way);
            }
        }
    }
}

/// Makes each call fail that the function makes, or also those that the plug-in makes when it starts.
void failEach(bool imports, const Scene& scene, bool fromStart) {
    Counts before, between;
    std::string clean;
    const auto callFailing = [&](Room& room, const std::string& name) {
        std::string outcome = room.call({}, name);
        const std::string result = outcome.substr(0, outcome.find(';'));
        room.faults.failCall(name, 0);
        if (imports && !clean.starts_with(result) && result != "nil" && result != "false" && result != "0")
            finding("gives " + outcome + " instead of " + clean);
        return outcome;
    };
    {
        Room room(scene);
        if (!fromStart) before = counted(room, imports);
        clean = room.call();
        between = counted(room, imports);
        room.expect(clean);
        const Counts after = counted(room, imports);
        eachFailure(between, after, [&](const std::string& name, int nth, Failure way) {
            room.faults.failCall(name, nth, way);
            callFailing(room, name);
            room.expect(clean);
        });
        // Calls that are made as often each time need not fail again.
        for (auto& [name, count] : between)
            if (!fromStart && count - before[name] == after.at(name) - count) count = before[name];
    }
    eachFailure(before, between, [&](const std::string& name, int nth, Failure way) {
        Room room(scene, [&](Host& host) { host.faults.failCall(name, before[name] + nth, way); });
        room.expect(clean, callFailing(room, name));  // what is done once may stay as it failed
    });
}

}  // namespace

void failAsked(const Scene& scene, bool imports) {
    if (!scene.function.empty()) failEach(imports, scene, false);
    Scene start = scene;
    start.function = "Picture.InvertQKZ as picture";
    for (const double version : {0.0, 2009.05, 2012.0, 2013.0, 2019.03, 2020.02, 2024.0, 3000.0}) {
        start.storage.settings.version = version;
        if (scene.function.empty()) failEach(imports, start, true);
    }
    if (imports) return;
    Counts looked;
    {
        Room room(scene);
        room.call();
        for (const std::string& name : room.faults.names())
            if (!room.registry.registration(name)) looked[name] = room.faults.asked(name);
    }
    // The first is there in a host that takes plug-ins; without the others references cannot be counted.
    for (const char* needed : {"registerpluginversion", "reallockobject", "realunlockobject",
                               "reallockstring", "realunlockstring", "unlockpicturedescription"})
        looked[needed] = 0;
    for (const auto& [name, times] : looked) {
        if (times == 0) continue;
        trying("without " + name);
        Room room(scene, [&omitted = name](Host& host) { host.faults.omit(omitted); });
        for (int i = 0; i < 2; ++i) room.call();
    }
}

}  // namespace qkzsoak
