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
#include <vips/vips8>

namespace {

using vips::VImage;

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

/// A caption in the middle of as many lines as it takes, of dark letters on paper.
VImage caption(const std::string& text, int width, const std::vector<double>& paper) {
    const std::unique_ptr<char, decltype(&g_free)> markup(g_markup_escape_text(text.c_str(), -1), g_free);
    const VImage letters = VImage::text(markup.get(), VImage::option()
                                                          ->set("font", "DejaVu Sans 8")
                                                          ->set("dpi", 96)
                                                          ->set("width", width)
                                                          ->set("align", VIPS_ALIGN_CENTRE));
    return letters.ifthenelse(std::vector<double>{25, 25, 25}, paper, VImage::option()->set("blend", true));
}

/// The pictures side by side, each scaled into a tile with its name below.
void drawSheet(const std::vector<std::pair<std::string, std::string>>& tiles, int columns,
               const std::string& file) {
    constexpr int width = 240, height = 170, text = 44, gap = 10;
    const std::vector<double> paper{245, 245, 240};
    const auto onPaper = [&](const VImage& image, VipsCompassDirection where, int rows) {
        return image.gravity(
            where, width, rows,
            VImage::option()->set("extend", VIPS_EXTEND_BACKGROUND)->set("background", paper));
    };
    std::vector<VImage> cells;
    for (const auto& [name, picture] : tiles) {
        VImage image = VImage::thumbnail(picture.c_str(), width, VImage::option()->set("height", height))
                           .colourspace(VIPS_INTERPRETATION_sRGB);
        if (image.has_alpha()) image = image.flatten(VImage::option()->set("background", paper));
        cells.push_back(onPaper(image, VIPS_COMPASS_DIRECTION_CENTRE, height)
                            .join(onPaper(caption(name, width, paper), VIPS_COMPASS_DIRECTION_NORTH, text),
                                  VIPS_DIRECTION_VERTICAL,
                                  VImage::option()->set("shim", gap / 2)->set("background", paper)));
    }
    const VImage sheet = VImage::arrayjoin(
        cells, VImage::option()->set("across", columns)->set("shim", gap)->set("background", paper));
    sheet
        .embed(gap, gap, sheet.width() + 2 * gap, sheet.height() + 2 * gap,
               VImage::option()->set("extend", VIPS_EXTEND_BACKGROUND)->set("background", paper))
        .write_to_file(file.c_str());
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
    if (VIPS_INIT(argv[0]) != 0) throw std::runtime_error(vips_error_buffer());
    *card ? drawCard(output) : drawSheet(tiles, columns, output);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "qkz-demo: %s\n", error.what());
    return 1;
}
