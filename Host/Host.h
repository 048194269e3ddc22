// A small real host: it loads the plug-in as an application does, keeps its objects and pictures, offers
// the services that the plug-in asks for by name, and calls what the plug-in registered.
#pragma once

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Exceptions.h"
#include "Faults.h"
#include "HostTypes.h"
#include "NativeCall.h"
#include "Objects.h"
#include "Owned.h"
#include "Registry.h"
#include "Surface.h"
#include "Value.h"

namespace qkzhost {

/// Which of the classes "Application", "ConsoleApplication" and "WebApplication" exists.
enum class AppKind { none, desktop, console, web };

struct Settings {
    double version = 2024.0;
    bool answersVersion = true;  // false: the plug-in cannot ask for the version
    AppKind app = AppKind::desktop;
    Storage storage = Storage::cairo;  // of new pictures
    int extraStride = 0;               // bytes added to each row of a new Cairo picture; a multiple of 4
    bool wholeNumberGraphics = false;  // DrawPicture takes integers
};

/// One may be alive at a time. Services answer on any thread; everything else is for one thread at a time.
class Host {
 public:
    explicit Host(Settings = {});
    ~Host();
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    /// The one that is alive. Throws std::logic_error when there is none.
    static Host& current();

    /// Loads a private copy of the file, whose process-wide state is new, and starts it. It is never
    /// unloaded. Throws std::runtime_error with the reason.
    void load(const std::filesystem::path&);
    /// Starts an entry that is linked into the process.
    void start(void (*pluginMain)(void* (*resolver)(const char*)));

    const int number;   // of the host in this process
    Settings settings;  // may be changed between calls
    ObjectTable objects;
    Exceptions exceptions{objects};
    Faults faults{exceptions};

    Registry registry{objects};
    std::int32_t sdkVersion = 0;  // of the plug-in; 0 until it is told

    // New objects, as ObjectTable makes others; null when one cannot be made.

    OwnedPicture newPicture(std::int64_t width, std::int64_t height, bool alpha = false);
    /// Takes straight ARGB words, row by row.
    OwnedPicture newPicture(int width, int height, bool alpha, std::span<const std::uint32_t> argb);
    OwnedObject newInstance(std::string_view className);

    // Calls. An exception pends afterwards.

    /// Calls the overload that fits. The first argument is the object where there is one. Throws
    /// std::invalid_argument when none fits.
    Value call(std::string_view name, const std::vector<Value>& arguments);
    /// `object.method(arguments) = value`.
    Value assign(std::string_view name, std::vector<Value> arguments, Value value);
    /// Missing arguments get their defaults. Throws std::invalid_argument naming the parameter that does
    /// not fit.
    Value invoke(const Method&, const std::vector<Value>& given);

    /// Nothing when there is no such property.
    std::optional<Value> property(REALobjectStruct*, std::string_view name);
    std::optional<Value> property(std::string_view module, std::string_view name) const;
    /// False when there is none, or it does not take the value.
    bool setProperty(REALobjectStruct*, std::string_view name, const Value&);
    bool setProperty(std::string_view module, std::string_view name, const Value&) const;

 private:
    static void* resolve(const char* name) noexcept;
    Value callOverload(std::string_view name, bool assigning, const std::vector<Value>& given);
    Argument argument(const Parameter&, const Value& given);
    std::vector<Argument> arguments(const Method&, const std::vector<Value>& given);
};

}  // namespace qkzhost
