// A small real host: it loads the plug-in as an application does, keeps its objects and pictures, offers
// the services that the plug-in asks for by name, and calls what the plug-in registered.
#pragma once

#include <array>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Declaration.h"
#include "HostTypes.h"
#include "NativeCall.h"
#include "Objects.h"
#include "Registration.h"
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

/// One pixel as it is stored. Alpha: the top byte of a Cairo picture with alpha, 255 of one without,
/// 0..127 of a GD picture (0 is opaque), 255 of a pixmap.
struct Rgba {
    int r = 0, g = 0, b = 0, a = 0;
    bool operator==(const Rgba&) const = default;
};
std::ostream& operator<<(std::ostream&, const Rgba&);

/// An exception that the plug-in raised.
struct RaisedException {
    std::string className, message;
    std::int64_t errorNumber = 0;
    bool operator==(const RaisedException&) const = default;
};
std::ostream& operator<<(std::ostream&, const RaisedException&);

/// What a call that is made to fail does besides giving the neutral result: nothing, raising a host
/// exception, throwing an InjectedError or an int into the plug-in, or nothing as do all later calls.
enum class Failure { neutral, raises, throwsError, throwsNumber, lasting };
struct InjectedError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A function that can be called: a method of a module, class or extension, or a global one.
struct Method {
    Declaration declaration;  // without the extended object
    void* function = nullptr;
    std::string owner;      // module or class; empty for a loose global method
    std::string selfClass;  // class of the object it is called on, if any
    bool assigns = false;   // the last parameter is the assigned value
    bool shared = false;    // of a class, called without an object
    Attributes attributes;

    /// How a user writes it: `Picture.InvertQKZ(left as integer, ...) as picture`.
    std::string text() const;
    /// Fewest arguments, the object not counted.
    std::size_t leastArguments() const;
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

    Settings settings;  // may be changed between calls

    /// Loads a private copy of the file, whose process-wide state is new, and starts it. It is never
    /// unloaded. Throws std::runtime_error with the reason.
    void load(const std::filesystem::path&);
    /// Starts an entry that is linked into the process.
    void start(void (*pluginMain)(void* (*resolver)(const char*)));

    // Faults. A name is a service as the plug-in asks for it ("newPicture"), a method of an object or a
    // global method by its declaration text, or a class. Case and blanks do not matter.

    /// From now on the look-up (for a class also the making of instances) answers null.
    void omit(std::string_view name) { fault(name).omitted = true; }
    void offer(std::string_view name) { fault(name).omitted = false; }
    /// The nth call from now (1 is the next; 0 takes it back) fails; of a class the nth instance is not made.
    void failCall(std::string_view name, int nth, Failure how = Failure::neutral);
    /// How often looked up, and how often called.
    int asked(std::string_view name) const;
    int called(std::string_view name) const;
    /// Counts a call of something that is not the host's, and tells whether it is to succeed.
    bool succeeds(std::string_view name);
    /// Every name that was looked up, called or given to these functions.
    std::vector<std::string> names() const;
    /// The first argument, if it is an address, of the latest call that was made to fail.
    const void* failedOn = nullptr;

    /// Replaces the answer to a lock of a picture's description: is given the picture, the description that
    /// would be answered, to be changed, and whether the lock would succeed; returns whether it does.
    std::function<bool(REALpictureStruct*, REALpictureDescription&, bool)> answerLock;

    /// Set before a plug-in is loaded: is asked before each of its own calls of the C library for memory, a
    /// library, a symbol or output whether it is to succeed. What succeeds in being written goes nowhere.
    std::function<bool()> allowImport;

    // What the plug-in told.

    std::int32_t sdkVersion = 0;  // 0 until it is told
    /// In the order of registration.
    const std::deque<Registration>& registrations() const { return registrations_; }
    const Registration* registration(std::string_view name) const;
    const std::vector<Method>& methods() const { return methods_; }
    const std::vector<std::string>& messages() const { return messages_; }  // of message boxes

    // Objects. Whatever makes a handle gives one reference to the caller, to be unlocked.

    REALpictureStruct* newPicture(std::int64_t width, std::int64_t height, bool alpha = false);
    /// Takes straight ARGB words, row by row. Null when the picture cannot be made.
    REALpictureStruct* newPicture(int width, int height, bool alpha, std::span<const std::uint32_t> argb);
    REALstringStruct* newString(std::string_view bytes, std::uint32_t encoding = REALencodingUTF8);
    REALmemoryBlockStruct* newMemoryBlock(std::vector<std::uint8_t> bytes);
    /// Null when the class is unknown.
    REALobjectStruct* newInstance(std::string_view className);
    void lock(REALobjectStruct* object) { objects_.lock(object); }
    void unlock(REALobjectStruct* object) { objects_.unlock(object); }
    void unlock(REALstringStruct* string) { objects_.unlock(string); }
    /// The class of a live handle, else empty.
    std::string_view classOf(const void* handle) const { return objects_.classOf(handle); }
    std::string text(REALstringStruct*);  // the bytes
    std::uint32_t encoding(REALstringStruct*);
    std::span<std::uint8_t> bytes(REALmemoryBlockStruct*);
    Census census() const { return objects_.census(); }
    const std::vector<std::string>& errors() const { return objects_.errors(); }

    // Pictures. These throw std::invalid_argument for a handle that is no constructed picture and
    // std::out_of_range outside it.

    Surface& surface(REALpictureStruct*);
    int width(REALpictureStruct* picture) { return surface(picture).width; }
    int height(REALpictureStruct* picture) { return surface(picture).height; }
    bool hasAlpha(REALpictureStruct* picture) { return surface(picture).alpha; }
    void setKind(REALpictureStruct*, std::int64_t kind);
    /// Each holds a reference of its own; nil takes it away.
    void setBestRepresentation(REALpictureStruct*, REALpictureStruct*);
    void setMask(REALpictureStruct*, REALpictureStruct*);
    /// Borrowed; nil without.
    REALpictureStruct* mask(REALpictureStruct*);
    void setResolution(REALpictureStruct*, std::int64_t horizontal, std::int64_t vertical);
    std::array<std::int64_t, 2> resolution(REALpictureStruct*);  // horizontal, vertical
    long descriptionLocks(REALpictureStruct*);

    Rgba pixel(REALpictureStruct*, int x, int y);
    std::uint32_t word(REALpictureStruct*, int x, int y);  // as stored
    void setPixel(REALpictureStruct*, int x, int y, std::uint32_t word);
    std::uint8_t* row(REALpictureStruct*, int y);  // null for a pixmap
    std::ptrdiff_t rowBytes(REALpictureStruct* picture) { return surface(picture).rowBytes(); }
    std::vector<std::uint32_t> argb(REALpictureStruct*);  // straight ARGB, row by row

    // Calls. A handle in a result carries a reference for the caller. An exception pends afterwards.

    /// The methods of a name, of the assigning form or the other.
    std::vector<const Method*> find(std::string_view name, bool assigning = false) const;
    /// Calls the overload that fits. The first argument is the object where there is one. Throws
    /// std::invalid_argument when none fits.
    Value call(std::string_view method, std::vector<Value> arguments);
    /// `object.method(arguments) = value`.
    Value assign(std::string_view method, std::vector<Value> arguments, Value value);
    /// Missing arguments get their defaults. Throws std::invalid_argument naming the parameter that does
    /// not fit.
    Value invoke(const Method&, std::vector<Value> arguments);

    /// Nothing when there is no such property.
    std::optional<Value> property(REALobjectStruct*, std::string_view name);
    std::optional<Value> property(std::string_view module, std::string_view name);
    /// False when there is none, or it does not take the value.
    bool setProperty(REALobjectStruct*, std::string_view name, Value);
    bool setProperty(std::string_view module, std::string_view name, Value);

    /// The pending exception, which pends no longer.
    std::optional<RaisedException> takeException();

 private:
    friend struct Services;
    struct Fault {
        bool omitted = false;
        int asked = 0, called = 0, failIn = 0;
        Failure failure = Failure::neutral;
    };

    static void* resolve(const char* name) noexcept;
    Fault& fault(std::string_view name) { return faults_[canonical(name)]; }
    /// Counts a call. When it is to fail, raises or throws as asked for, or returns false.
    bool enter(Fault&, const void* firstArgument);
    Picture& picture(REALpictureStruct*);
    std::uint32_t at(REALpictureStruct*, int x, int y);
    void add(Registration);
    void addMethods(const std::vector<RegisteredMethod>&, const std::string& owner, const std::string& self,
                    bool shared);
    Argument prepared(const Parameter&, const Value&, std::vector<REALstringStruct*>& texts);
    void raise(std::string_view className, std::string_view message);

    const int number_;  // of the host in this process
    std::unordered_map<std::string, Fault> faults_;
    std::deque<Registration> registrations_;  // a deque: instances refer to their class
    std::vector<Method> methods_;
    std::vector<std::string> messages_;
    ObjectTable objects_;
    REALobjectStruct* pending_ = nullptr;
    bool pendingByFault_ = false;  // one that a failing call raised: another may take its place
    std::recursive_mutex services_;
};

/// A reference that is released at the end of its scope. The host must outlive it.
template <class Handle>
class Owned {
 public:
    Owned(Host& host, Handle* handle) : host_(&host), handle_(handle) {}
    Owned(Owned&& other) noexcept : host_(other.host_), handle_(std::exchange(other.handle_, nullptr)) {}
    Owned& operator=(Owned other) noexcept {
        std::swap(handle_, other.handle_);
        return *this;
    }
    ~Owned() {
        if (handle_) host_->unlock(handle_);
    }
    Handle* get() const { return handle_; }
    operator Handle*() const { return handle_; }

 private:
    Host* host_;
    Handle* handle_;
};

}  // namespace qkzhost
