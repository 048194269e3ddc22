// GDK's pixbufs, opened at run time.
#pragma once

struct GdkPixbuf;

/// Opens GTK (GTK 2 on hosts below 2017.02, GTK 3 from there on) on the first call; true when the functions
/// that read and release a pixbuf were found. Final for the process.
bool LoadGTK();

/// The functions used; null until `LoadGTK` has found them. GTK 3 has no `gdk_pixbuf_get_from_drawable`: it
/// stays null there.
struct GdkFunctions {
    GdkPixbuf* (*gdk_pixbuf_get_from_drawable)(GdkPixbuf* destination, void* drawable, void* colormap, int x,
                                               int y, int destinationX, int destinationY, int width,
                                               int height);
    void (*gdk_pixbuf_unref)(GdkPixbuf*);
    unsigned char* (*gdk_pixbuf_get_pixels)(const GdkPixbuf*);
    int (*gdk_pixbuf_get_rowstride)(const GdkPixbuf*);
};
extern GdkFunctions Gdk;
