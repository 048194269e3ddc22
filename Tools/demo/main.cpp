// What the demonstration draws itself: a test card, and a contact sheet of results.
#include <cairo.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Surface = std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)>;
using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

Surface newSurface(int width, int height) {
    return {cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), cairo_surface_destroy};
}

Context draw(const Surface& surface) { return {cairo_create(surface.get()), cairo_destroy}; }

void write(const Surface& surface, const std::string& file) {
    const cairo_status_t status = cairo_surface_write_to_png(surface.get(), file.c_str());
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error(file + ": " + cairo_status_to_string(status));
    }
}

Surface read(const std::string& file) {
    Surface surface(cairo_image_surface_create_from_png(file.c_str()), cairo_surface_destroy);
    const cairo_status_t status = cairo_surface_status(surface.get());
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error(file + ": " + cairo_status_to_string(status));
    }
    return surface;
}

/// Colour bars, a gray ramp, a sweep of hues and a few shapes: something for every operation to show on.
void drawCard(const std::string& file) {
    constexpr int width = 600, height = 400;
    const Surface card = newSurface(width, height);
    const Context cr = draw(card);
    for (int x = 0; x < width; ++x) {
        const double position = static_cast<double>(x) / (width - 1);
        for (const auto& [top, bottom, saturation] : {std::tuple{0, 120, 1.0}, std::tuple{120, 200, 0.0}}) {
            const auto channel = [=, s = saturation](double shift) {
                const double hue = 0.5 + 0.5 * std::cos(2 * std::numbers::pi * (position - shift));
                return s * hue + (1 - s) * position;
            };
            cairo_set_source_rgb(cr.get(), channel(0), channel(1.0 / 3), channel(2.0 / 3));
            cairo_rectangle(cr.get(), x, top, 1, bottom - top);
            cairo_fill(cr.get());
        }
    }
    for (int bar = 0; bar < 8; ++bar) {
        const int color = 7 - bar;
        cairo_set_source_rgb(cr.get(), (color >> 1) & 1, (color >> 2) & 1, color & 1);
        cairo_rectangle(cr.get(), bar * width / 8.0, 200, width / 8.0, 80);
        cairo_fill(cr.get());
    }
    cairo_set_source_rgb(cr.get(), 0.5, 0.5, 0.5);
    cairo_rectangle(cr.get(), 0, 280, width, 120);
    cairo_fill(cr.get());
    for (int disc = 0; disc < 5; ++disc) {
        cairo_set_source_rgb(cr.get(), 0.2 * disc, 0.9 - 0.2 * disc, 0.3 + 0.15 * disc);
        cairo_arc(cr.get(), 70 + 115 * disc, 340, 15 + 8 * disc, 0, 2 * std::numbers::pi);
        cairo_fill(cr.get());
    }
    write(card, file);
}

/// The pictures side by side, each scaled into a tile with its name below.
void drawSheet(const std::vector<std::pair<std::string, std::string>>& tiles, int columns,
               const std::string& file) {
    constexpr int tileWidth = 240, tileHeight = 170, text = 24, gap = 10;
    const int rows = (static_cast<int>(tiles.size()) + columns - 1) / columns;
    const Surface sheet =
        newSurface(gap + columns * (tileWidth + gap), gap + rows * (tileHeight + text + gap));
    const Context cr = draw(sheet);
    cairo_set_source_rgb(cr.get(), 0.96, 0.96, 0.94);
    cairo_paint(cr.get());
    cairo_select_font_face(cr.get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
    for (int i = 0; i < static_cast<int>(tiles.size()); ++i) {
        const auto& [name, picture] = tiles[static_cast<std::size_t>(i)];
        const Surface image = read(picture);
        const double width = cairo_image_surface_get_width(image.get());
        const double height = cairo_image_surface_get_height(image.get());
        const double scale = std::min(tileWidth / width, tileHeight / height);
        const int row = i / columns;
        const double left = gap + i % columns * (tileWidth + gap);
        const double top = gap + row * (tileHeight + text + gap);
        cairo_save(cr.get());
        cairo_translate(cr.get(), left + (tileWidth - width * scale) / 2,
                        top + (tileHeight - height * scale) / 2);
        cairo_scale(cr.get(), scale, scale);
        cairo_set_source_surface(cr.get(), image.get(), 0, 0);
        cairo_paint(cr.get());
        cairo_restore(cr.get());
        cairo_set_source_rgb(cr.get(), 0.1, 0.1, 0.1);
        double size = 13;
        cairo_text_extents_t extents;
        do {  // long names in smaller letters
            cairo_set_font_size(cr.get(), size--);
            cairo_text_extents(cr.get(), name.c_str(), &extents);
        } while (extents.width > tileWidth && size > 5);
        cairo_move_to(cr.get(), left + (tileWidth - extents.width) / 2, top + tileHeight + 16);
        cairo_show_text(cr.get(), name.c_str());
    }
    write(sheet, file);
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app("Draws the demonstration's test card, or a contact sheet of PNG files.", "qkz-demo");
    app.require_subcommand(1);
    std::string output;
    CLI::App* const card = app.add_subcommand("card", "Draw the test card.");
    card->add_option("-o,--output", output, "PNG file to write")->required();
    CLI::App* const sheet = app.add_subcommand("sheet", "Draw pictures side by side.");
    sheet->add_option("-o,--output", output, "PNG file to write")->required();
    int columns = 5;
    sheet->add_option("--columns", columns, "Pictures in a row")->check(CLI::Range(1, 20));
    std::vector<std::pair<std::string, std::string>> tiles;
    sheet->add_option("tiles", tiles, "A name and a PNG file, again and again")->required();
    CLI11_PARSE(app, argc, argv);
    *card ? drawCard(output) : drawSheet(tiles, columns, output);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "qkz-demo: %s\n", error.what());
    return 1;
}
