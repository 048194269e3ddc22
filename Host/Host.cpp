#include "Host.h"

#include <algorithm>
#include <stdexcept>

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
        const auto row = argb.subspan(static_cast<std::size_t>(y) * count, count);
        std::copy(row.begin(), row.end(), words.begin());
        pixels.fromArgb(words);
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
