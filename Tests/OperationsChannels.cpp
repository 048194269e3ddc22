// Operations on several pictures, and the two classes.
#include <algorithm>
#include <limits>

#include "Operations.h"

namespace qkztest {
namespace {

using Integers = std::numeric_limits<std::int64_t>;

/// Another picture of a storage that may meet the first one's.
Image other(Random& random, const Image& picture, int width, int height) {
    Format format = picture.format;
    if (format == Format::rgb && random.oneIn(2)) format = Format::argb;
    if (format != Format::gd && format != Format::rgb) format = random.oneIn(2) ? Format::argb : Format::xrgb;
    const bool alpha = format == Format::argb || (format == Format::gd && random.oneIn(2));
    return randomImage(random, format, alpha, width, height);
}

/// Mostly of the size, but nil, unreadable, a little smaller or larger as well.
Cell otherPicture(Random& random, const Image& picture) {
    if (random.oneIn(15)) return random.oneIn(2) ? Cell() : Cell(Image{});
    const auto size = [&](int length) {
        return random.oneIn(6) ? std::max(1, length + random.below(6) - 2) : length;
    };
    const int width = size(picture.width);
    return other(random, picture, width, size(picture.height));
}

template <int count>
Cells pictures(Random& random, const Image& picture) {
    Cells cells;
    for (int i = 0; i < count; ++i) cells.emplace_back(otherPicture(random, picture));
    return cells;
}

/// Null for nil and for a picture that cannot be read.
const Image* readable(const Cell& cell) {
    const auto* image = std::get_if<Image>(&cell);
    return image && image->width > 0 ? image : nullptr;
}

bool sameSize(const Image& a, const Image& b) { return a.width == b.width && a.height == b.height; }

Image joined(const Image& a, const Image& b, Rgba (*f)(const Rgba&, const Rgba&)) {
    return painted(a, opaque(a), [&](int x, int y) { return f(a.at(x, y), b.at(x, y)); });
}

template <int Rgba::*channel>
Rgba with(const Rgba& p, const Rgba& from) {
    Rgba result = p;
    result.*channel = from.*channel;
    return result;
}

template <int Rgba::*channel>
Cell channelReplaced(Image& picture, Cells& cells) {
    if (cells[0].index() == 0) return RaisedException{"NilObjectException", "The channel picture is nil.", 0};
    const Image* source = readable(cells[0]);
    if (!source || source->width < picture.width || source->height < picture.height) return {};
    return joined(picture, *source, with<channel>);
}

Cell combined(Image& picture, Cells& cells) {
    const Image *blue = readable(cells[0]), *green = readable(cells[1]);
    if (!blue || !green || !sameSize(picture, *blue) || !sameSize(picture, *green)) return {};
    return joined(joined(picture, *green, with<&Rgba::g>), *blue, with<&Rgba::b>);
}

Cell merged(Image& picture, Cells& cells) {
    const Image* second = readable(cells[0]);
    if (!second || !sameSize(picture, *second)) return {};
    return joined(picture, *second, [](const Rgba& a, const Rgba& b) {
        return Rgba{std::max(a.r, b.r), std::max(a.g, b.g), std::max(a.b, b.b)};
    });
}

Cells tablesAndDestination(Random& random, const Image& picture) {
    Cells cells;
    for (int i = 0; i < 3; ++i) {
        Bytes table(random.oneIn(20) ? random.of<std::size_t>({0, 1, 255}) : random.of({256U, 257U, 1024U}));
        for (std::uint8_t& byte : table) byte = static_cast<std::uint8_t>(random.word());
        cells.emplace_back(random.oneIn(20) ? Cell() : Cell(table));
    }
    cells.emplace_back(random.oneIn(2) ? Cell() : otherPicture(random, picture));
    return cells;
}

Cell transformed(Image& picture, Cells& cells) {
    constexpr std::pair<int, const char*> order[] = {{0, "red"}, {2, "green"}, {1, "blue"}};
    for (const auto& [i, name] : order) {
        if (cells[static_cast<std::size_t>(i)].index() == 0)
            return RaisedException{"NilObjectException", std::string(name) + " memoryblock is nil", 0};
    }
    const Bytes *red = std::get_if<Bytes>(&cells.front()), *blue = std::get_if<Bytes>(&cells[1]),
                *green = std::get_if<Bytes>(&cells[2]);
    if (std::min({red->size(), blue->size(), green->size()}) < 256) return {};
    Image* destination = std::get_if<Image>(&cells[3]);
    // A destination that is too small, or whose pixels are a copy, is not drawn into.
    if (destination && (destination->width < picture.width || destination->height < picture.height ||
                        destination->format == Format::rgb))
        destination = nullptr;
    Image target = destination ? *destination : opaque(picture);
    if (cells[3].index() != 0 && !destination && readable(cells[3])) {
        const Image& refused = std::get<Image>(cells[3]);
        if (refused.width >= picture.width && refused.height >= picture.height)
            target = opaque(refused, picture.width, picture.height);
    }
    const auto looked = [](const Bytes& table, int c) { return table[static_cast<std::size_t>(c)]; };
    target = mapped(picture, target, [&](const Rgba& p) {
        return Rgba{looked(*red, p.r), looked(*green, p.g), looked(*blue, p.b)};
    });
    if (destination) *destination = target;
    return target;
}

Cells tablesOnly(Random& random, const Image& picture) {
    Cells cells = tablesAndDestination(random, picture);
    cells.pop_back();
    return cells;
}

/// The picture is its own destination.
Cell transformedInPlace(Image& picture, Cells& cells) {
    Cells all = cells;
    all.emplace_back(picture);
    Cell result = transformed(picture, all);
    picture = std::get<Image>(all[3]);
    return result;
}

Value transformInPlace(Host& host, const std::vector<Value>& given) {
    return host.call("TransformColorsQKZ", {given[0], given[1], given[2], given[3], given[0]});
}

Cells swapAndMask(Random& random, const Image& picture) {
    return {random.oneIn(2), otherPicture(random, picture)};
}

/// The mask's red goes to the first byte of self's pixel, blue. A pixmap's pixels are a copy.
Cell maskSet(Image& picture, Cells& cells) {
    const Image* mask = readable(cells[1]);
    if (!mask || picture.format == Format::rgb) return {};
    for (int y = 0; y < std::min(picture.height, mask->height); ++y) {
        for (int x = 0; x < std::min(picture.width, mask->width); ++x) {
            const int red = mask->at(x, y).r, value = std::get<bool>(cells[0]) ? 255 - red : red;
            picture.word(x, y) = (picture.word(x, y) & 0xFFFFFF00) | static_cast<std::uint32_t>(value);
        }
    }
    return {};
}

Value setMask(Host& host, const std::vector<Value>& given) {
    return host.assign("EmbeddedMaskQKZ", {given[0], given[1]}, given[2]);
}

/// Runs an object whose properties have been set. Its destination picture, or nil when it tells false.
Value run(Host& host, REALobjectStruct* object, const Value& source) {
    EXPECT_TRUE(host.setProperty(object, "SourcePicture", source));
    const bool done = host.call("Run", {object}).boolean();
    Value result = host.property(object, "DestinationPicture").value();
    EXPECT_EQ(done, !result.isNil());
    return result;
}

const char* const areaNames[] = {"MinX", "MinY", "MaxX", "MaxY"};

Cells areaArguments(Random& random, const Image& picture) {
    if (random.oneIn(3)) return {std::int64_t{0}, std::int64_t{0}, std::int64_t{0}, std::int64_t{0}};
    return {random.coordinate(picture.width), random.coordinate(picture.height),
            random.coordinate(picture.width), random.coordinate(picture.height)};
}

void setArea(Host& host, REALobjectStruct* object, const std::vector<Value>& given) {
    for (std::size_t i = 0; i < 4; ++i) EXPECT_TRUE(host.setProperty(object, areaNames[i], given[i + 1]));
}

/// The area, then the three tints and the weights of red, green and blue.
Cells sepiaArguments(Random& random, const Image& picture) {
    using Reals = std::numeric_limits<double>;
    Cells cells = areaArguments(random, picture);
    for (int i = 0; i < 3; ++i) {
        cells.emplace_back(random.of({std::int64_t{0}, std::int64_t{random.below(512)} - 256,
                                      std::int64_t{0x7FFFFFF0}, std::int64_t{-0x7FFFFFF0}, Integers::max(),
                                      Integers::min(), (std::int64_t{7} << 32) + random.below(256)}));
    }
    for (const double usual : {0.299, 0.587, 0.114}) {
        cells.emplace_back(random.oneIn(2) ? usual
                                           : random.of({0.0, -0.5, 3.0009, 1e300, 8224.5, -8224.5, 2097151.9,
                                                        random.below(2000) / 1000.0, Reals::quiet_NaN(),
                                                        Reals::infinity(), -Reals::infinity()}));
    }
    return cells;
}

Cell sepia(Image& picture, Cells& cells) {
    __extension__ using Wide = __int128;
    const auto count = [&](std::size_t axis, int size) {  // always from the first row and column on
        const std::int64_t least = integer(cells, axis), most = integer(cells, axis + 2);
        const std::int64_t end = size <= most || most <= least ? size : most;
        return static_cast<int>(std::clamp<Wide>(Wide{end} - least, 0, size));
    };
    const auto narrow = [](Wide value) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
    };
    const auto weight = [&](std::size_t i) { return truncatedTo32(std::get<double>(cells[i]) * 1024); };
    const Wide wr = weight(7), wg = weight(8), wb = weight(9);
    Image result = opaque(picture);
    for (int y = 0; y < count(1, picture.height); ++y) {
        for (int x = 0; x < count(0, picture.width); ++x) {
            const Rgba p = picture.at(x, y);
            const int gray = narrow(p.r * wr + p.g * wg + p.b * wb) / 1024;
            const auto tint = [&](std::size_t i) { return byteOf(narrow(Wide{integer(cells, i)} + gray)); };
            result.set(x, y, {tint(4), tint(5), tint(6), picture.format == Format::gd ? 0 : 255});
        }
    }
    return result;
}

Value runSepia(Host& host, const std::vector<Value>& given) {
    // The names of two factors are crossed.
    constexpr const char* names[] = {"SepiaRed",  "SepiaGreen", "SepiaBlue",
                                     "FactorRed", "FactorBlue", "FactorGreen"};
    const OwnedObject object(host.newInstance("PictureSepiaQKZ"));
    setArea(host, object, given);
    for (std::size_t i = 0; i < 6; ++i) EXPECT_TRUE(host.setProperty(object, names[i], given[i + 5]));
    return run(host, object, given[0]);
}

/// A table's entries r, g, b, x, from a number. Where neighbours are equal nothing may be lost by rounding.
std::vector<double> lut(std::int64_t seed) {
    using Reals = std::numeric_limits<double>;
    Random random(static_cast<std::uint64_t>(seed));
    const bool wild = random.oneIn(3);
    std::vector<double> table;
    if (random.oneIn(4)) table.assign(18 * 18 * 18 * 3, random.below(256));
    while (table.size() < 18 * 18 * 18 * 3) {
        table.push_back(wild && random.oneIn(8)
                            ? random.of({Reals::quiet_NaN(), Reals::infinity(), -Reals::infinity(), 1e300,
                                         -1e300, 1.7e308, 255.99, 256.0, -0.99, 4294967295.0})
                            : random.below(300000) / 1000.0 - 20);
    }
    return table;
}

/// The area, then the table.
Cells lutArguments(Random& random, const Image& picture) {
    Cells cells = areaArguments(random, picture);
    cells.emplace_back(std::int64_t{random.below(1000)});
    return cells;
}

Cell lutApplied(Image& picture, Cells& cells) {
    const std::vector<double> table = lut(integer(cells, 4));
    const auto inside = [&](std::size_t axis, int at) {
        const std::int64_t least = integer(cells, axis), most = integer(cells, axis + 2);
        return at >= least && (most <= least || at < most);
    };
    return painted(picture, opaque(picture), [&](int x, int y) {
        const Rgba p = picture.at(x, y);
        if (!inside(0, x) || !inside(1, y)) return p;
        const auto cell = [](int c) { return std::min(c / 17 + 1, 15); };
        const auto between = [](double a, double b, int c) { return a + (b - a) * (c % 17 / 17.0); };
        const auto channel = [&](int i) {
            const auto point = [&](int r, int g, int b) {
                return table[static_cast<std::size_t>(((r * 18 + g) * 18 + b) * 3 + i)];
            };
            const auto alongBlue = [&](int r, int g) {
                return between(point(r, g, cell(p.b)), point(r, g, cell(p.b) + 1), p.b);
            };
            const auto alongGreen = [&](int r) {
                return between(alongBlue(r, cell(p.g)), alongBlue(r, cell(p.g) + 1), p.g);
            };
            const double value = between(alongGreen(cell(p.r)), alongGreen(cell(p.r) + 1), p.r);
            return !(value > 0) ? 0 : value >= 255 ? 255 : static_cast<int>(value);
        };
        return Rgba{channel(0), channel(1), channel(2)};
    });
}

Value runLut(Host& host, const std::vector<Value>& given) {
    const OwnedObject object(host.newInstance("PictureLut3DQKZ"));
    setArea(host, object, given);
    // Behind two handles and four integers; setting entry by entry is tested, but too slow for here.
    std::byte* const data = reinterpret_cast<std::byte*>(object.get()) +
                            host.registry.registration("PictureLut3DQKZ")->instanceOffset;
    std::ranges::copy(lut(given[5].integer()), reinterpret_cast<double*>(data + 48));
    return run(host, object, given[0]);
}

}  // namespace

std::vector<Operation> channelOperations() {
    return {{"ReplaceRed", "ReplaceRedChannelQKZ", pictures<1>, channelReplaced<&Rgba::r>},
            {"ReplaceGreen", "ReplaceGreenChannelQKZ", pictures<1>, channelReplaced<&Rgba::g>},
            {"ReplaceBlue", "ReplaceBlueChannelQKZ", pictures<1>, channelReplaced<&Rgba::b>},
            {"Combine", "CombinePicturesQKZ", pictures<2>, combined},
            {"Merge", "MergePictureQKZ", pictures<1>, merged},
            {"Transform", "TransformColorsQKZ", tablesAndDestination, transformed},
            {"TransformInPlace", "TransformColorsQKZ", tablesOnly, transformedInPlace, transformInPlace},
            {"SetEmbeddedMask", "EmbeddedMaskQKZ", swapAndMask, maskSet, setMask}};
}

std::vector<Operation> classOperations() {
    return {{"Sepia", "PictureSepiaQKZ", sepiaArguments, sepia, runSepia},
            {"Lut3D", "PictureLut3DQKZ", lutArguments, lutApplied, runLut}};
}

}  // namespace qkztest
