// Cairo, opened at run time.
#pragma once

struct cairo_t;
struct cairo_surface_t;

/// Opens Cairo on the first call; true when all of its functions below were found. Final for the process.
bool LoadCairo();

/// The functions used; null until `LoadCairo` has found them.
struct CairoFunctions {
    unsigned char* (*cairo_image_surface_get_data)(cairo_surface_t*);
    int (*cairo_image_surface_get_width)(cairo_surface_t*);
    int (*cairo_image_surface_get_height)(cairo_surface_t*);
    int (*cairo_image_surface_get_stride)(cairo_surface_t*);
    int (*cairo_image_surface_get_format)(cairo_surface_t*);
    cairo_surface_t* (*cairo_get_target)(cairo_t*);
    void (*cairo_surface_mark_dirty)(cairo_surface_t*);
};
extern CairoFunctions Cairo;

/// Does the image surface keep four bytes a pixel?
bool HasFourBytePixels(cairo_surface_t* surface);
