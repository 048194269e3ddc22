#include "Host.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>

#include "Imports.h"

namespace qkzhost {
namespace {

Host* theHost = nullptr;
int hostsSoFar = 0;

}  // namespace

Host::Host(Settings chosen) : number(++hostsSoFar), settings(chosen) {
    if (theHost) throw std::logic_error("another host is alive");
    theHost = this;
}

Host::~Host() { theHost = nullptr; }  // references among the objects that are left need not be counted

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
        if (faults.allowImport) redirectImports(library);
        entry = dlsym(library, "REALPluginMain");
    }
    if (!entry) throw std::runtime_error(file.string() + " has no REALPluginMain");
    start(reinterpret_cast<void (*)(void* (*)(const char*))>(entry));
}

void Host::start(void (*pluginMain)(void* (*resolver)(const char*))) { pluginMain(&Host::resolve); }

OwnedPicture Host::newPicture(std::int64_t width, std::int64_t height, bool alpha) {
    auto surface = Surface::create(settings.storage, width, height, alpha, settings.extraStride);
    if (!surface) return nullptr;
    Picture& picture = objects.add(std::make_unique<Picture>());
    picture.surface = std::move(surface);
    return OwnedPicture(static_cast<REALpictureStruct*>(picture.handle()));
}

OwnedPicture Host::newPicture(int width, int height, bool alpha, std::span<const std::uint32_t> argb) {
    OwnedPicture picture = newPicture(width, height, alpha);
    if (!picture) return nullptr;
    Surface& pixels = objects.surface(picture);
    const auto count = static_cast<std::size_t>(width);
    std::vector<std::uint32_t> words(count);
    for (int y = 0; y < height; ++y) {
        for (std::size_t x = 0; x < count; ++x) {
            words[x] = pixels.fromArgb(argb[static_cast<std::size_t>(y) * count + x]);
        }
        pixels.write(0, y, width, words.data());
    }
    return picture;
}

void addReference(REALobjectStruct* object) {
    if (object && theHost) theHost->objects.lock(object);
}

void addReference(REALstringStruct* string) {
    if (string && theHost) theHost->objects.lock(string);
}

void dropReference(REALobjectStruct* object) {
    if (object && theHost) theHost->objects.unlock(object);
}

void dropReference(REALstringStruct* string) {
    if (string && theHost) theHost->objects.unlock(string);
}

}  // namespace qkzhost
