// The storages that pictures have where the plug-in is used: Cairo, GD and GDK pixmaps.
#include <cairo.h>
#include <dlfcn.h>
#include <gd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "Surface.h"

namespace qkzhost {
namespace {

using CairoHandle = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;

class CairoSurface : public Surface {
 public:
    static std::unique_ptr<Surface> make(int width, int height, bool alpha, int extraStride) {
        const cairo_format_t format = alpha ? CAIRO_FORMAT_ARGB32 : CAIRO_FORMAT_RGB24;
        std::unique_ptr<std::uint8_t, decltype(&std::free)> memory(nullptr, &std::free);
        CairoHandle surface(nullptr, &cairo_surface_destroy);
        if (extraStride > 0) {
            const int stride = width * 4 + extraStride;
            memory.reset(static_cast<std::uint8_t*>(
                std::calloc(static_cast<std::size_t>(height), static_cast<std::size_t>(stride))));
            if (!memory) return nullptr;
            surface.reset(cairo_image_surface_create_for_data(memory.get(), format, width, height, stride));
        } else {
            surface.reset(cairo_image_surface_create(format, width, height));
        }
        if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
        return std::unique_ptr<Surface>(
            new CairoSurface(width, height, alpha, std::move(memory), std::move(surface)));
    }

    void* nativeHandle(std::uint32_t nativeType) override {
        if (nativeType != pictureCairoContext) return nullptr;
        cairo_surface_flush(surface_.get());
        if (!context_) context_.reset(cairo_create(surface_.get()));
        return context_.get();
    }
    std::uint8_t* row(int y) override { return data_ + y * stride_; }
    std::ptrdiff_t rowBytes() const override { return stride_; }
    cairo_surface_t* surface() { return surface_.get(); }

 private:
    CairoSurface(int w, int h, bool a, std::unique_ptr<std::uint8_t, decltype(&std::free)> memory,
                 CairoHandle surface)
        : Surface(Storage::cairo, w, h, a),
          memory_(std::move(memory)),
          surface_(std::move(surface)),
          context_(nullptr, &cairo_destroy),
          data_(cairo_image_surface_get_data(surface_.get())),
          stride_(cairo_image_surface_get_stride(surface_.get())) {}

    std::unique_ptr<std::uint8_t, decltype(&std::free)> memory_;  // of a surface with wider rows
    CairoHandle surface_;
    std::unique_ptr<cairo_t, decltype(&cairo_destroy)> context_;  // made at the first lock
    std::uint8_t* data_;
    std::ptrdiff_t stride_;
};

class GdSurface : public Surface {
 public:
    GdSurface(gdImagePtr image, bool hasAlpha)
        : Surface(Storage::gd, gdImageSX(image), gdImageSY(image), hasAlpha), image_(image, &gdImageDestroy) {
        if (!hasAlpha) return;
        gdImageSaveAlpha(image, 1);
        gdImageAlphaBlending(image, 0);
        gdImageFilledRectangle(image, 0, 0, width - 1, height - 1,
                               gdTrueColorAlpha(0, 0, 0, gdAlphaTransparent));
    }
    void* nativeHandle(std::uint32_t nativeType) override {
        return nativeType == pictureGDImagePtr ? image_.get() : nullptr;
    }
    std::uint8_t* row(int y) override { return reinterpret_cast<std::uint8_t*>(image_->tpixels[y]); }

 private:
    std::unique_ptr<gdImage, decltype(&gdImageDestroy)> image_;
};

/// The few functions of GTK 2 that pixmaps need. Never closed: GTK cannot be unloaded.
class Gdk {
 public:
    static const Gdk& get() {
        static const Gdk gdk;
        return gdk;
    }

    int (*init)(int*, char***) = nullptr;
    void* (*rootWindow)() = nullptr;
    void* (*newPixmap)(void* drawable, int width, int height, int depth) = nullptr;
    void* (*newGc)(void* drawable) = nullptr;
    void (*setForeground)(void* gc, const void* color) = nullptr;
    void (*drawRectangle)(void* drawable, void* gc, int filled, int x, int y, int width,
                          int height) = nullptr;
    void (*drawRgb)(void* drawable, void* gc, int x, int y, int width, int height, int dither,
                    const std::uint8_t* bytes, int stride) = nullptr;
    void* (*grab)(void* to, void* drawable, void* map, int x, int y, int toX, int toY, int width,
                  int height) = nullptr;
    std::uint8_t* (*pixels)(const void* pixbuf) = nullptr;
    void (*unref)(void* object) = nullptr;
    int (*iterate)(void* context, int mayBlock) = nullptr;
    std::string obstacle;

 private:
    Gdk() {
        void* library = dlopen("libgdk-x11-2.0.so.0", RTLD_NOW | RTLD_GLOBAL);
        if (!library) {
            obstacle = dlerror();
            return;
        }
        find(library, "gdk_init_check", init);
        find(library, "gdk_get_default_root_window", rootWindow);
        find(library, "gdk_pixmap_new", newPixmap);
        find(library, "gdk_gc_new", newGc);
        find(library, "gdk_gc_set_foreground", setForeground);
        find(library, "gdk_draw_rectangle", drawRectangle);
        find(library, "gdk_draw_rgb_image", drawRgb);
        find(library, "gdk_pixbuf_get_from_drawable", grab);
        find(library, "gdk_pixbuf_get_pixels", pixels);
        find(library, "g_object_unref", unref);
        find(library, "g_main_context_iteration", iterate);
        if (obstacle.empty() && !init(nullptr, nullptr)) obstacle = "there is no display";
    }
    template <class F>
    void find(void* library, const char* name, F& function) {
        function = reinterpret_cast<F>(dlsym(library, name));
        if (!function) obstacle = std::string("GTK 2 lacks ") + name;
    }
};

class PixmapSurface : public Surface {
 public:
    PixmapSurface(int w, int h)
        : Surface(Storage::pixmap, w, h, false),
          pixmap_(gdk().newPixmap(gdk().rootWindow(), w, h, -1), gdk().unref),
          gc_(gdk().newGc(pixmap_.get()), gdk().unref) {
        const std::uint32_t black[3] = {};  // a GdkColor
        gdk().setForeground(gc_.get(), black);
        gdk().drawRectangle(pixmap_.get(), gc_.get(), 1, 0, 0, w, h);
    }
    /// Reading a pixmap brings events, which an application takes in its event loop. They would pile up here.
    ~PixmapSurface() override {
        while (gdk().iterate(nullptr, 0)) continue;
    }
    void* nativeHandle(std::uint32_t nativeType) override {
        return nativeType == pictureGdkPixmap ? pixmap_.get() : nullptr;
    }
    std::uint8_t* row(int) override { return nullptr; }
    void read(int x, int y, int count, std::uint32_t* words) override {
        const std::unique_ptr<void, void (*)(void*)> pixbuf(
            gdk().grab(nullptr, pixmap_.get(), nullptr, x, y, 0, 0, count, 1), gdk().unref);
        if (!pixbuf) {
            std::fill_n(words, count, 0);
            return;
        }
        const std::uint8_t* bytes = gdk().pixels(pixbuf.get());
        for (int i = 0; i < count; ++i, bytes += 3)
            words[i] = static_cast<std::uint32_t>(bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
    }
    void write(int x, int y, int count, const std::uint32_t* words) override {
        std::vector<std::uint8_t> bytes;
        for (int i = 0; i < count; ++i) {
            for (int shift = 16; shift >= 0; shift -= 8) {
                bytes.push_back(static_cast<std::uint8_t>(words[i] >> shift));
            }
        }
        gdk().drawRgb(pixmap_.get(), gc_.get(), x, y, count, 1, 0, bytes.data(), count * 3);
    }

 private:
    static const Gdk& gdk() { return Gdk::get(); }
    std::unique_ptr<void, void (*)(void*)> pixmap_, gc_;
};

/// A Cairo picture of the surface's pixels, made transparent where the mask is white.
std::unique_ptr<Surface> cairoCopy(Surface& source, Surface* mask) {
    auto copy = CairoSurface::make(source.width, source.height, true, 0);
    if (!copy) return nullptr;
    std::vector<std::uint32_t> words(static_cast<std::size_t>(source.width)), masking(words.size());
    for (int y = 0; y < source.height; ++y) {
        source.read(0, y, source.width, words.data());
        const int masked = mask && y < mask->height ? std::min(mask->width, source.width) : 0;
        if (masked > 0) mask->read(0, y, masked, masking.data());
        for (int x = 0; x < source.width; ++x) {
            const auto i = static_cast<std::size_t>(x);
            std::uint32_t argb = source.toArgb(words[i]);
            if (x < masked) {
                const std::uint32_t white = mask->toArgb(masking[i]) >> 8 & 0xFF;
                argb = (argb & 0xFFFFFF) | ((argb >> 24) * (255 - white) + 127) / 255 << 24;
            }
            words[i] = premultiplied(argb);
        }
        copy->write(0, y, source.width, words.data());
    }
    cairo_surface_mark_dirty(static_cast<CairoSurface&>(*copy).surface());
    return copy;
}

}  // namespace

std::unique_ptr<Surface> Surface::create(Storage storage, std::int64_t width, std::int64_t height, bool alpha,
                                         int extraStride) {
    if (width < 1 || height < 1 || width > 32767 || height > 32767) return nullptr;
    const int w = static_cast<int>(width), h = static_cast<int>(height);
    if (storage == Storage::gd) {
        const gdImagePtr image = gdImageCreateTrueColor(w, h);
        return image ? std::make_unique<GdSurface>(image, alpha) : nullptr;
    }
    if (storage == Storage::pixmap && !alpha)
        return pixmapObstacle().empty() ? std::make_unique<PixmapSurface>(w, h) : nullptr;
    return CairoSurface::make(w, h, alpha, extraStride);
}

const std::string& pixmapObstacle() { return Gdk::get().obstacle; }

void draw(Surface& destination, Area to, Surface& source, Surface* mask, Area from) {
    if (!(from.width > 0 && from.height > 0 && to.width > 0 && to.height > 0)) return;
    // Everything but a Cairo picture is drawn on a Cairo copy, and the touched part is written back.
    const auto paint = cairoCopy(source, mask);
    std::unique_ptr<Surface> copy;
    if (destination.storage != Storage::cairo) copy = cairoCopy(destination, nullptr);
    if (!paint || (destination.storage != Storage::cairo && !copy)) return;
    Surface& canvas = copy ? *copy : destination;
    const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> context(
        cairo_create(static_cast<CairoSurface&>(canvas).surface()), &cairo_destroy);
    cairo_rectangle(context.get(), to.x, to.y, to.width, to.height);
    cairo_clip(context.get());
    cairo_translate(context.get(), to.x, to.y);
    cairo_scale(context.get(), to.width / from.width, to.height / from.height);
    // Only the area is sampled: nothing from beyond its edges mixes in when it is scaled.
    const CairoHandle area(cairo_surface_create_for_rectangle(static_cast<CairoSurface&>(*paint).surface(),
                                                              from.x, from.y, from.width, from.height),
                           &cairo_surface_destroy);
    cairo_set_source_surface(context.get(), area.get(), 0, 0);
    cairo_pattern_t* const pattern = cairo_get_source(context.get());
    cairo_pattern_set_extend(pattern, CAIRO_EXTEND_PAD);
    if (to.width == from.width && to.height == from.height)
        cairo_pattern_set_filter(pattern, CAIRO_FILTER_NEAREST);
    cairo_paint(context.get());
    cairo_surface_flush(static_cast<CairoSurface&>(canvas).surface());
    if (!copy) return;

    const auto clipped = [](double value, int most) {
        return static_cast<int>(std::clamp(value, 0.0, static_cast<double>(most)));
    };
    const int left = clipped(std::floor(to.x), destination.width);
    const int right = clipped(std::ceil(to.x + to.width), destination.width);
    const int top = clipped(std::floor(to.y), destination.height);
    const int bottom = clipped(std::ceil(to.y + to.height), destination.height);
    std::vector<std::uint32_t> words(static_cast<std::size_t>(destination.width));
    for (int y = top; y < bottom && right > left; ++y) {
        canvas.read(left, y, right - left, words.data());
        for (std::uint32_t& word : words) word = destination.fromArgb(canvas.toArgb(word));
        destination.write(left, y, right - left, words.data());
    }
}

}  // namespace qkzhost
