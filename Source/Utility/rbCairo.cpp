#include "rbCairo.h"

#include "rbDL.h"

CairoFunctions Cairo{};

namespace {

bool open() {
    static constexpr const char* paths[] = QKZ_LIBRARY_PATHS("libcairo.so", "libcairo.so.2");
    void* const library = dlopenMulti(paths);
    if (!library) return false;
    ResolveSymbol(library, "cairo_image_surface_get_data", Cairo.cairo_image_surface_get_data);
    ResolveSymbol(library, "cairo_image_surface_get_width", Cairo.cairo_image_surface_get_width);
    ResolveSymbol(library, "cairo_image_surface_get_height", Cairo.cairo_image_surface_get_height);
    ResolveSymbol(library, "cairo_image_surface_get_stride", Cairo.cairo_image_surface_get_stride);
    ResolveSymbol(library, "cairo_image_surface_get_format", Cairo.cairo_image_surface_get_format);
    ResolveSymbol(library, "cairo_get_target", Cairo.cairo_get_target);
    ResolveSymbol(library, "cairo_surface_mark_dirty", Cairo.cairo_surface_mark_dirty);
    return Cairo.cairo_image_surface_get_data && Cairo.cairo_image_surface_get_width &&
           Cairo.cairo_image_surface_get_height && Cairo.cairo_image_surface_get_stride &&
           Cairo.cairo_image_surface_get_format && Cairo.cairo_get_target && Cairo.cairo_surface_mark_dirty;
}

}  // namespace

bool LoadCairo() {
    static const bool loaded = open();
    return loaded;
}

bool HasFourBytePixels(cairo_surface_t* surface) {
    constexpr int argb32 = 0, rgb24 = 1, rgb30 = 5;
    const int format = Cairo.cairo_image_surface_get_format(surface);
    return format == argb32 || format == rgb24 || format == rgb30;
}
