#include "rbgtk.h"

#include "PluginMain.h"
#include "rbDL.h"

GdkFunctions Gdk{};

namespace {

bool open() {
    using Paths = const char* const[7];
    static constexpr Paths toolkit[] = {QKZ_LIBRARY_PATHS("libgtk-x11-2.0.so", "libgtk-x11-2.0.so.0"),
                                        QKZ_LIBRARY_PATHS("libgtk-3.so", "libgtk-3.so.0")};
    static constexpr Paths drawingKit[] = {QKZ_LIBRARY_PATHS("libgdk-x11-2.0.so", "libgdk-x11-2.0.so.0"),
                                           QKZ_LIBRARY_PATHS("libgdk-3.so", "libgdk-3.so.0")};
    static constexpr Paths objects = QKZ_LIBRARY_PATHS("libgobject-2.0.so", "libgobject-2.0.so.0");
    static constexpr Paths base = QKZ_LIBRARY_PATHS("libglib-2.0.so", "libglib-2.0.so.0");

    const int generation = HostVersion() >= 2017.02 ? 1 : 0;
    dlopenMulti(toolkit[generation]);
    void* const library = dlopenMulti(drawingKit[generation]);
    dlopenMulti(objects);
    dlopenMulti(base);
    ResolveSymbol(library, "gdk_pixbuf_get_from_drawable", Gdk.gdk_pixbuf_get_from_drawable);
    ResolveSymbol(library, "gdk_pixbuf_unref", Gdk.gdk_pixbuf_unref);
    ResolveSymbol(library, "gdk_pixbuf_get_pixels", Gdk.gdk_pixbuf_get_pixels);
    ResolveSymbol(library, "gdk_pixbuf_get_rowstride", Gdk.gdk_pixbuf_get_rowstride);
    // compatibility.md#gtk-without-its-copier
    return Gdk.gdk_pixbuf_get_pixels && Gdk.gdk_pixbuf_get_rowstride && Gdk.gdk_pixbuf_unref;
}

}  // namespace

bool LoadGTK() {
    static const bool loaded = open();
    return loaded;
}
