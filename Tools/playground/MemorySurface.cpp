// Pictures in plain memory, and the Cairo that the plug-in finds them by: it opens the library and asks for
// its functions as anywhere else.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "Surface.h"

namespace qkzhost {
namespace {

/// A Cairo image surface and, as the plug-in needs no more of it, its context.
class MemorySurface : public Surface {
 public:
    MemorySurface(int w, int h, bool hasAlpha)
        : Surface(Storage::cairo, w, h, hasAlpha),
          words_(static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}
    void* nativeHandle(std::uint32_t nativeType) override {
        return nativeType == pictureCairoContext ? this : nullptr;
    }
    std::uint8_t* row(int y) override { return reinterpret_cast<std::uint8_t*>(&words_[0]) + y * rowBytes(); }
    std::ptrdiff_t rowBytes() const override { return std::ptrdiff_t{width} * 4; }

 private:
    std::vector<std::uint32_t> words_;
};

MemorySurface& surface(void* handle) { return *static_cast<MemorySurface*>(handle); }

struct CairoFunction {
    template <class Function>
    CairoFunction(const char* symbol, Function does)
        : name(symbol), function(reinterpret_cast<void*>(+does)) {}
    const char* name;
    void* function;
};
const CairoFunction cairo[] = {
    {"cairo_get_target", [](void* context) { return context; }},
    {"cairo_image_surface_get_data", [](void* of) { return surface(of).row(0); }},
    {"cairo_image_surface_get_width", [](void* of) { return surface(of).width; }},
    {"cairo_image_surface_get_height", [](void* of) { return surface(of).height; }},
    {"cairo_image_surface_get_stride", [](void* of) { return static_cast<int>(surface(of).rowBytes()); }},
    {"cairo_image_surface_get_format", [](void* of) { return surface(of).alpha ? 0 : 1; }},  // ARGB32, RGB24
    {"cairo_surface_mark_dirty", [](void*) {}},
};

}  // namespace

std::unique_ptr<Surface> Surface::create(Storage, std::int64_t width, std::int64_t height, bool alpha, int) {
    if (width < 1 || height < 1 || width > 32767 || height > 32767) return nullptr;
    return std::make_unique<MemorySurface>(static_cast<int>(width), static_cast<int>(height), alpha);
}

const std::string& pixmapObstacle() {
    static const std::string obstacle = "there are no pixmaps here";
    return obstacle;
}

/// Only what the plug-in draws: a picture without a mask, at its size, from its first pixel on, onto a new
/// picture with alpha if it has some.
void draw(Surface& destination, Area to, Surface& source, Surface* mask, Area from) {
    if (mask || to.x != 0 || to.y != 0 || from.x != 0 || from.y != 0 || to.width != from.width ||
        to.height != from.height || source.alpha != destination.alpha) {
        throw std::invalid_argument("only a whole picture at its size is drawn here");
    }
    const auto end = [](double wanted, int a, int b) {
        return static_cast<int>(std::min(wanted, static_cast<double>(std::min(a, b))));
    };
    const int width = end(to.width, source.width, destination.width);
    const int height = end(to.height, source.height, destination.height);
    std::vector<std::uint32_t> words(static_cast<std::size_t>(std::max(width, 0)));
    for (int y = 0; y < height && width > 0; ++y) {
        source.read(0, y, width, words.data());
        destination.write(0, y, width, words.data());
    }
}

}  // namespace qkzhost

// The loader of the plug-in's process: it has one library.

extern "C" void* dlopen(const char* file, int) {
    return std::strcmp(file, "libcairo.so.2") == 0 ? const_cast<qkzhost::CairoFunction*>(qkzhost::cairo)
                                                   : nullptr;
}

extern "C" void* dlsym(void*, const char* symbol) {
    const auto found = std::find_if(std::begin(qkzhost::cairo), std::end(qkzhost::cairo),
                                    [&](const auto& f) { return std::strcmp(f.name, symbol) == 0; });
    return found == std::end(qkzhost::cairo) ? nullptr : found->function;
}
