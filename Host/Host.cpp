#include "Host.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "Imports.h"

namespace qkzhost {
namespace {

Host* theHost = nullptr;
int hostsSoFar = 0;

}  // namespace

Host::Host(Settings chosen) : settings(chosen), number_(++hostsSoFar) {
    if (theHost) throw std::logic_error("another host is alive");
    theHost = this;
}

Host::~Host() { theHost = nullptr; }

Host& Host::current() {
    if (!theHost) throw std::logic_error("no host is alive");
    return *theHost;
}

void Host::load(const std::filesystem::path& file) {
    if (!std::filesystem::is_regular_file(file)) throw std::runtime_error(file.string() + " is not a file");
    // The loader knows a library again by its name and its inode; a new copy is new in both.
    struct Copy {
        std::string name = (std::filesystem::temp_directory_path() / "plugin-XXXXXX.so").string();
        const int descriptor = mkstemps(name.data(), 3);
        ~Copy() {
            if (descriptor < 0) return;
            close(descriptor);
            unlink(name.c_str());
        }
    };
    void* entry = nullptr;
    {
        const Copy copy;
        if (copy.descriptor < 0) throw std::runtime_error("no temporary file can be made");
        std::error_code error;
        std::filesystem::copy_file(file, copy.name, std::filesystem::copy_options::overwrite_existing, error);
        if (error) throw std::runtime_error(file.string() + ": " + error.message());
        void* const library = dlopen(copy.name.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library) {
            std::string reason = dlerror();
            const std::string prefix = copy.name + ": ";
            if (const auto at = reason.find(prefix); at != reason.npos) reason.erase(at, prefix.size());
            throw std::runtime_error(file.string() + ": " + reason);
        }
        if (allowImport) redirectImports(library);
        entry = dlsym(library, "REALPluginMain");
    }
    if (!entry) throw std::runtime_error(file.string() + " has no REALPluginMain");
    start(reinterpret_cast<void (*)(void* (*)(const char*))>(entry));
}

void Host::start(void (*pluginMain)(void* (*resolver)(const char*))) { pluginMain(&Host::resolve); }

int Host::asked(std::string_view name) const {
    const auto found = faults_.find(canonical(name));
    return found == faults_.end() ? 0 : found->second.asked;
}

int Host::called(std::string_view name) const {
    const auto found = faults_.find(canonical(name));
    return found == faults_.end() ? 0 : found->second.called;
}

bool Host::succeeds(std::string_view name) {
    const std::lock_guard turn(services_);
    return enter(fault(name), nullptr);
}

std::vector<std::string> Host::names() const {
    std::vector<std::string> all;
    for (const auto& [name, state] : faults_) all.push_back(name);
    return all;
}

void Host::failCall(std::string_view name, int nth, Failure how) {
    Fault& state = fault(name);
    state.failIn = nth;
    state.failure = how;
}

bool Host::enter(Fault& state, const void* firstArgument) {
    state.called++;
    if (state.failIn == 0 || --state.failIn != 0) return true;
    failedOn = firstArgument;
    switch (state.failure) {
        case Failure::neutral:
            break;
        case Failure::lasting:
            state.failIn = 1;
            break;
        case Failure::raises:
            if (pending_) break;
            raise("RuntimeException", "a service fails");
            pendingByFault_ = true;
            break;
        case Failure::throwsError:
            throw InjectedError("a service fails");
        case Failure::throwsNumber:
            throw 1;
    }
    return false;
}

const Registration* Host::registration(std::string_view name) const {
    for (const Registration& r : registrations_)
        if (!name.empty() && sameText(r.name, name)) return &r;
    return nullptr;
}

void Host::add(Registration r) {
    switch (r.kind) {
        case Registration::classType:
            addMethods(r.methods, r.name, r.name, false);
            addMethods(r.sharedMethods, r.name, "", true);
            break;
        case Registration::extension:
            addMethods(r.methods, r.name, r.name, false);
            break;
        case Registration::module:
        case Registration::method:
            addMethods(r.methods, r.name, "", false);
            break;
    }
    registrations_.push_back(std::move(r));
}

void Host::addMethods(const std::vector<RegisteredMethod>& rows, const std::string& owner,
                      const std::string& self, bool shared) {
    for (const RegisteredMethod& row : rows) try {
            Method method{
                parseDeclaration(row.declaration), row.function, owner, self, false, shared, row.attributes};
            auto& parameters = method.declaration.parameters;
            if (!parameters.empty() && parameters.front().extends) {
                method.selfClass = parameters.front().typeName;
                parameters.erase(parameters.begin());
            }
            method.assigns = !parameters.empty() && parameters.back().assigns;
            if (row.function) methods_.push_back(method);
            if (!row.setterFunction) continue;
            method.function = row.setterFunction;
            method.assigns = true;
            Declaration& declaration = method.declaration;
            declaration.parameters.push_back({.name = "value",
                                              .typeName = std::exchange(declaration.resultName, ""),
                                              .type = std::exchange(declaration.result, Type::none),
                                              .assigns = true});
            methods_.push_back(method);
        } catch (const std::invalid_argument& error) {
            objects_.note("registered declaration \"" + row.declaration + "\": " + error.what());
        }
}

REALpictureStruct* Host::newPicture(std::int64_t width, std::int64_t height, bool alpha) {
    auto surface = Surface::create(settings.storage, width, height, alpha, settings.extraStride);
    if (!surface) return nullptr;
    Picture& picture = objects_.add(std::make_unique<Picture>());
    picture.surface = std::move(surface);
    return static_cast<REALpictureStruct*>(picture.handle());
}

REALpictureStruct* Host::newPicture(int width, int height, bool alpha, std::span<const std::uint32_t> argb) {
    REALpictureStruct* picture = newPicture(width, height, alpha);
    if (!picture) return nullptr;
    Surface& pixels = surface(picture);
    const auto count = static_cast<std::size_t>(width);
    std::vector<std::uint32_t> words(count);
    for (int y = 0; y < height; y++) {
        for (std::size_t x = 0; x < count; x++)
            words[x] = pixels.fromArgb(argb[static_cast<std::size_t>(y) * count + x]);
        pixels.write(0, y, width, words.data());
    }
    return picture;
}

REALstringStruct* Host::newString(std::string_view bytes, std::uint32_t encoding) {
    return reinterpret_cast<REALstringStruct*>(
        objects_.add(std::make_unique<String>(std::string(bytes), encoding)).handle());
}

REALmemoryBlockStruct* Host::newMemoryBlock(std::vector<std::uint8_t> bytes) {
    MemoryBlock& block = objects_.add(std::make_unique<MemoryBlock>());
    block.bytes = std::move(bytes);
    return static_cast<REALmemoryBlockStruct*>(block.handle());
}

std::string Host::text(REALstringStruct* handle) {
    const String* string = objects_.find<String>(handle, "text");
    return string ? string->bytes : "";
}

std::uint32_t Host::encoding(REALstringStruct* handle) {
    const String* string = objects_.find<String>(handle, "encoding");
    return string ? string->encoding : REALencodingUnknown;
}

std::span<std::uint8_t> Host::bytes(REALmemoryBlockStruct* handle) {
    MemoryBlock* block = objects_.find<MemoryBlock>(handle, "bytes");
    return block ? std::span(block->bytes) : std::span<std::uint8_t>();
}

Picture& Host::picture(REALpictureStruct* handle) {
    Picture* found = objects_.find<Picture>(handle, "picture");
    if (!found) throw std::invalid_argument("no picture");
    return *found;
}

Surface& Host::surface(REALpictureStruct* handle) {
    Picture& found = picture(handle);
    if (!found.surface) throw std::invalid_argument("the picture is not constructed");
    return *found.surface;
}

void Host::setKind(REALpictureStruct* handle, std::int64_t kind) { picture(handle).kind = kind; }

void Host::setBestRepresentation(REALpictureStruct* handle, REALpictureStruct* representation) {
    objects_.replace<REALobjectStruct>(picture(handle).representation, representation);
}

void Host::setMask(REALpictureStruct* handle, REALpictureStruct* mask) {
    objects_.replace<REALobjectStruct>(picture(handle).mask, mask);
}

REALpictureStruct* Host::mask(REALpictureStruct* handle) {
    return static_cast<REALpictureStruct*>(picture(handle).mask);
}

void Host::setResolution(REALpictureStruct* handle, std::int64_t horizontal, std::int64_t vertical) {
    picture(handle).horizontalResolution = horizontal;
    picture(handle).verticalResolution = vertical;
}

std::array<std::int64_t, 2> Host::resolution(REALpictureStruct* handle) {
    return {picture(handle).horizontalResolution, picture(handle).verticalResolution};
}

long Host::descriptionLocks(REALpictureStruct* handle) { return picture(handle).descriptionLocks; }

std::uint32_t Host::word(REALpictureStruct* handle, int x, int y) {
    Surface& pixels = surface(handle);
    if (x < 0 || y < 0 || x >= pixels.width || y >= pixels.height)
        throw std::out_of_range("no pixel at " + std::to_string(x) + ", " + std::to_string(y));
    std::uint32_t word = 0;
    pixels.read(x, y, 1, &word);
    return word;
}

void Host::setPixel(REALpictureStruct* handle, int x, int y, std::uint32_t value) {
    word(handle, x, y);  // checks the place
    surface(handle).write(x, y, 1, &value);
}

Rgba Host::pixel(REALpictureStruct* handle, int x, int y) {
    const std::uint32_t stored = word(handle, x, y);
    const Surface& pixels = surface(handle);
    const auto byte = [stored](int shift) { return static_cast<int>(stored >> shift & 0xFF); };
    const bool keepsAlpha = pixels.storage == Storage::gd || pixels.alpha;
    return {byte(16), byte(8), byte(0), keepsAlpha ? byte(24) : 255};
}

std::uint8_t* Host::row(REALpictureStruct* handle, int y) {
    Surface& pixels = surface(handle);
    if (y < 0 || y >= pixels.height) throw std::out_of_range("no row " + std::to_string(y));
    return pixels.row(y);
}

std::vector<std::uint32_t> Host::argb(REALpictureStruct* handle) {
    Surface& pixels = surface(handle);
    const auto width = static_cast<std::size_t>(pixels.width);
    std::vector<std::uint32_t> words(width * static_cast<std::size_t>(pixels.height));
    for (int y = 0; y < pixels.height; y++)
        pixels.read(0, y, pixels.width, words.data() + static_cast<std::size_t>(y) * width);
    for (std::uint32_t& word : words) word = pixels.toArgb(word);
    return words;
}

std::optional<RaisedException> Host::takeException() {
    if (!pending_) return {};
    REALobjectStruct* handle = std::exchange(pending_, nullptr);
    pendingByFault_ = false;
    RaisedException raised{std::string(classOf(handle)), "", 0};
    if (const Exception* exception = objects_.find<Exception>(handle, "exception")) {
        raised.message = text(exception->message);
        raised.errorNumber = exception->number;
    }
    unlock(handle);
    return raised;
}

std::ostream& operator<<(std::ostream& out, const Rgba& pixel) {
    return out << '(' << pixel.r << ' ' << pixel.g << ' ' << pixel.b << " alpha " << pixel.a << ')';
}

std::ostream& operator<<(std::ostream& out, const RaisedException& raised) {
    return out << raised.className << ": " << raised.message;
}

}  // namespace qkzhost
