#include "Files.h"

#include <algorithm>

namespace qkzplayground {

Files& files() {
    static Files all;
    return all;
}

}  // namespace qkzplayground

namespace qkz {
namespace {

template <class Content>
const Content& named(const std::map<std::string, Content>& all, const std::string& name) {
    const auto found = all.find(name);
    if (found == all.end()) throw std::runtime_error(name + ": there is no such file");
    return found->second;
}

}  // namespace

using qkzhost::Host;
using qkzplayground::files;
using std::filesystem::path;

PictureFile readPicture(Host& host, const path& name, const Limits&) {
    const auto& image = named(files().pictures, name.string());
    return {host.newPicture(image.width, image.height, image.alpha, image.argb), nullptr};
}

std::vector<std::uint8_t> readFile(const path& name, std::uint64_t most) {
    const auto& bytes = named(files().others, name.string());
    if (bytes.size() > most) {
        throw std::runtime_error(name.string() + ": is longer than " + std::to_string(most) + " bytes");
    }
    return bytes;
}

std::vector<std::uint8_t> readPacked(const path& name, const Limits& limits) {
    return readFile(name, limits.bytes());
}

void writePicture(Host& host, REALpictureStruct* picture, const path& name, const KeptMetadata&,
                  const Encoding&) {
    qkzhost::Surface& surface = host.objects.surface(picture);
    files().pictures[name.string()] = {surface.width, surface.height, surface.alpha, surface.argb()};
}

void writeFile(const path& name, const void* bytes, std::size_t count) {
    const auto* const first = static_cast<const std::uint8_t*>(bytes);
    files().others[name.string()].assign(first, first + count);
}

}  // namespace qkz
