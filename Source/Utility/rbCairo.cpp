#include "rbCairo.h"

#include "rbDL.h"

CairoFunctions Cairo{};

bool LoadCairo() {
    static bool tried = false;
    static bool loaded = false;
    if (tried) return loaded;
    tried = true;
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
    loaded = Cairo.cairo_image_surface_get_data && Cairo.cairo_image_surface_get_width &&
             Cairo.cairo_image_surface_get_height && Cairo.cairo_image_surface_get_stride &&
             Cairo.cairo_image_surface_get_format && Cairo.cairo_get_target && Cairo.cairo_surface_mark_dirty;
    return loaded;
}
