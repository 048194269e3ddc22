// Operations that compute a picture's new colours from its own.
#include <algorithm>
#include <limits>
#include <tuple>

#include "Operations.h"

namespace qkztest {
namespace {

double real(const Cells& cells, std::size_t i) { return std::get<double>(cells[i]); }
Color color(const Cells& cells, std::size_t i) { return std::get<Color>(cells[i]); }

Rgba colorsOf(Color c) {
    const auto byte = [&](int shift) { return static_cast<int>(c.word >> shift & 255); };
    return {byte(16), byte(8), byte(0)};
}

Rgba gray(int level) { return {level, level, level}; }

bool sameColors(const Rgba& a, const Rgba& b) { return a.r == b.r && a.g == b.g && a.b == b.b; }

template <int count>
Cells reals(Random& random, const Image&) {
    using Limits = std::numeric_limits<double>;
    Cells cells;
    for (int i = 0; i < count; ++i) {
        const double any = random.below(60001) - 30000;
        if (random.oneIn(3)) {
            cells.emplace_back(random.of({Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), 1e300,
                                          -1e300, 1e10, -1e10, 2147483520.5, -2147483520.5, -0.0, -1.0, 255.0,
                                          -255.0, 300.0, 16909320.0}));
        } else {
            cells.emplace_back(any / random.of({1.0, 100.0, 10000.0}));
        }
    }
    return cells;
}

int contrast(int c, double by, double) { return byteOf(truncatedTo32((c - 127) * (by + 1) + 127)); }
int absolute(int c, double by, double) { return byteOf(truncatedTo32(c + by)); }
double linearOf(double value, double by) {
    const double offset = by < 0 ? 0 : by;
    const double scale = (by < 0 ? by + 255 : 255 - by) / 255;
    return value * scale + offset;
}
int linear(int c, double by, double) { return truncatedTo32(linearOf(c, by)) & 255; }
int contrastAbsolute(int c, double first, double second) {
    return byteOf(truncatedTo32(((c - 127) * (first + 1) + 127) + second));
}
int contrastLinear(int c, double first, double second) {
    return byteOf(truncatedTo32(linearOf((c - 127) * (first + 1) + 127, second)));
}
int custom(int c, double factor, double summand) { return byteOf(truncatedTo32(c * factor + summand)); }

/// One or two parameters for all channels, or three or six: a channel's first, then its second.
template <int (*change)(int, double, double)>
Cell channels(Image& picture, Cells& cells) {
    const bool each = cells.size() > 2, second = cells.size() % 2 == 0;
    const auto changed = [&](int value, std::size_t channel) {
        const std::size_t first = each ? channel : 0;
        return change(value, real(cells, first), second ? real(cells, each ? first + 3 : 1) : 0);
    };
    return mapped(picture, picture.blank(), [&](const Rgba& p) {
        return Rgba{changed(p.r, 0), changed(p.g, 1), changed(p.b, 2)};
    });
}

Cell custom6(Image& picture, Cells& cells) {
    Cells sorted{cells[0], cells[0], cells[4], cells[1], cells[3], cells[5]};  // green has red's factor
    return channels<custom>(picture, sorted);
}

Cells saturationArguments(Random& random, const Image&) {
    return {random.oneIn(2) ? random.coordinate(255) : std::int64_t{random.below(68000)} - 34000};
}

Cell saturation(Image& picture, Cells& cells) {
    const std::uint64_t factor = static_cast<std::uint64_t>(integer(cells, 0)) + 255;
    return mapped(picture, picture.blank(), [&](const Rgba& p) {
        const int level = (p.r + 2 * p.g + p.b) / 4;
        const auto channel = [&](int c) {
            const std::uint64_t product = static_cast<std::uint64_t>(c - level) * factor;
            const std::int64_t quotient = static_cast<std::int64_t>(product) / 255;
            return byteOf(static_cast<std::int32_t>(level + quotient));
        };
        return Rgba{channel(p.r), channel(p.g), channel(p.b)};
    });
}

/// The first is often a colour of the picture. The top byte is anything.
template <int count>
Cells colors(Random& random, const Image& picture) {
    Cells cells;
    for (int i = 0; i < count; ++i) cells.emplace_back(Color{random.word()});
    const std::uint32_t word = picture.word(random.below(picture.width), random.below(picture.height));
    if (random.oneIn(2)) cells[0] = Color{word ^ (random.word() & 0xFF000000)};
    return cells;
}

Cell replaced(Image& picture, Cells& cells) {
    const Rgba from = colorsOf(color(cells, 0)), to = colorsOf(color(cells, 1));
    return mapped(picture, picture.blank(), [&](const Rgba& p) { return sameColors(p, from) ? to : p; });
}

Cell extracted(Image& picture, Cells& cells) {
    const Rgba from = colorsOf(color(cells, 0)), to = colorsOf(color(cells, 1)),
               back = colorsOf(color(cells, 2));
    return mapped(picture, opaque(picture), [&](const Rgba& p) { return sameColors(p, from) ? to : back; });
}

Cells thresholdArguments(Random& random, const Image&) { return {random.coordinate(256)}; }

Cell threshold(Image& picture, Cells& cells) {
    return mapped(picture, picture.blank(), [&](const Rgba& p) {
        return gray(p.b < integer(cells, 0) || p.g < integer(cells, 0) ? 0 : 255);
    });
}

Cells swapArguments(Random& random, const Image&) { return {random.oneIn(2)}; }

Cell embeddedMask(Image& picture, Cells& cells) {
    return painted(picture, opaque(picture), [&](int x, int y) {
        const int top = static_cast<int>(picture.word(x, y) >> 24);
        int alpha = 255;
        if (picture.format == Format::argb) alpha = top;
        if (picture.format == Format::gd) alpha = top * 2 % 256 | top % 2;
        return gray(std::get<bool>(cells[0]) ? 255 - alpha : alpha);
    });
}

Cell tinted(Image& picture, Cells& cells) {
    const Rgba weight = colorsOf(color(cells, 0)), tone = colorsOf(color(cells, 1));
    return mapped(picture, picture.blank(), [&](const Rgba& p) {
        const double level = p.r * (weight.r / 255.0) + p.g * (weight.g / 255.0) + p.b * (weight.b / 255.0);
        const auto channel = [&](int c) { return std::min(static_cast<int>(c / 255.0 * level), 255); };
        return Rgba{channel(tone.r), channel(tone.g), channel(tone.b)};
    });
}

/// The pixel of the region's column x; three-byte pixels start four bytes per column left of the region.
bool isColored(const Image& image, int left, int x, int y) {
    Rgba p = image.at(x, y);
    if (image.format == Format::rgb) {
        const int start = y * image.width * 3 + left * 4 + (x - left) * 3;
        if (start + 3 > image.width * image.height * 3) return false;
        const auto byte = [&](int i) {
            return static_cast<int>(image.words[static_cast<std::size_t>(i / 3)] >> (16 - i % 3 * 8) & 255);
        };
        p = {byte(start), byte(start + 1), byte(start + 2)};
    }
    return p.r != p.g || p.g != p.b;
}

/// Often a larger picture, and few of its pixels are coloured.
void sparselyColored(Random& random, Image& picture) {
    if (random.oneIn(3)) return;
    picture = picture.blank(4 * (1 + random.below(random.of({4, 40}))), 1 + random.below(80));
    const int rarity = random.of({2, 4, 7, 20, 60});
    for (std::uint32_t& word : picture.words)
        if (random.oneIn(rarity)) word = picture.encode({1, 0, 0, 255});
}

/// Grows each rectangle a row or column at a time and looks for the next one from the start.
Cell rectangleMask(Image& picture, Cells& cells) {
    const int width = picture.width, height = picture.height;
    Rectangle region{0, 0, width, height};
    if (!cells.empty()) region = rectangleOf(picture, cells, 0, isNegative);
    std::vector<std::uint8_t> colored(static_cast<std::size_t>((width + 2) * (height + 2)));
    std::vector<std::uint8_t> covered = colored;
    const auto at = [&](int x, int y) { return static_cast<std::size_t>((y + 1) * (width + 2) + x + 1); };
    for (int y = region.top; y < region.bottom; ++y) {  // from the picture's first row on
        for (int x = region.left; x < region.right; ++x)
            colored[at(x, y)] = isColored(picture, region.left, x, y - region.top);
    }

    const auto first = [&] {
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x)
                if (colored[at(x, y)]) return std::pair(x, y);
        }
        return std::pair(-1, -1);
    };
    for (auto [x0, y0] = first(); x0 >= 0; std::tie(x0, y0) = first()) {
        int left = x0, right = x0, top = y0, bottom = y0;
        const auto any = [&](int firstX, int lastX, int firstY, int lastY) {
            for (int y = firstY; y <= lastY; ++y) {
                for (int x = firstX; x <= lastX; ++x)
                    if (colored[at(x, y)]) return true;
            }
            return false;
        };
        for (bool grew = true; grew;) {
            const bool up = any(left, right, top - 1, top - 1);
            top -= up;
            const bool down = any(left, right, bottom + 1, bottom + 1);
            bottom += down;
            const bool toLeft = any(left - 1, left - 1, top, bottom);
            left -= toLeft;
            const bool toRight = any(right + 1, right + 1, top, bottom);
            right += toRight;
            grew = up || down || toLeft || toRight;
        }
        for (int y = top; y <= bottom; ++y)
            for (int x = left; x <= right; ++x) colored[at(x, y)] = 0, covered[at(x, y)] = 1;
    }
    return painted(picture, opaque(picture), [&](int x, int y) { return gray(covered[at(x, y)] ? 0 : 255); });
}

}  // namespace

std::vector<Operation> colorOperations() {
    return {
        {"Contrast_1", "ChangeContrastQKZ", reals<1>, channels<contrast>},
        {"Contrast_3", "ChangeContrastQKZ", reals<3>, channels<contrast>},
        {"Absolute_1", "ChangeBrightnessAbsoluteQKZ", reals<1>, channels<absolute>},
        {"Absolute_3", "ChangeBrightnessAbsoluteQKZ", reals<3>, channels<absolute>},
        {"Linear_1", "ChangeBrightnessLinearQKZ", reals<1>, channels<linear>},
        {"Linear_3", "ChangeBrightnessLinearQKZ", reals<3>, channels<linear>},
        {"ContrastAbsolute_2", "ChangeContrastBrightnessAbsoluteQKZ", reals<2>, channels<contrastAbsolute>},
        {"ContrastAbsolute_6", "ChangeContrastBrightnessAbsoluteQKZ", reals<6>, channels<contrastAbsolute>},
        {"ContrastLinear_2", "ChangeContrastBrightnessLinearQKZ", reals<2>, channels<contrastLinear>},
        {"ContrastLinear_6", "ChangeContrastBrightnessLinearQKZ", reals<6>, channels<contrastLinear>},
        {"Custom_2", "ChangeCustomQKZ", reals<2>, channels<custom>},
        {"Custom_6", "ChangeCustomQKZ", reals<6>, custom6},
        {"Saturation", "ChangeSaturationQKZ", saturationArguments, saturation},
        {"Replace", "ReplaceColorQKZ", colors<2>, replaced},
        {"Extract", "ExtractColorQKZ", colors<3>, extracted},
        {"Threshold", "ThresholdQKZ", thresholdArguments, threshold},
        {"EmbeddedMask", "EmbeddedMaskQKZ", swapArguments, embeddedMask},
        {"Tint", "TintPictureQKZ", colors<2>, tinted},
        {"RectangleMask", "ExtractColorRectangleMaskQKZ", noArguments, rectangleMask, nullptr,
         sparselyColored},
        {"RectangleMask_region", "ExtractColorRectangleMaskQKZ", rectangleArguments, rectangleMask, nullptr,
         sparselyColored},
    };
}

}  // namespace qkztest
