// Operations that look at a picture and leave it alone: tests, counts, the search.
#include <algorithm>
#include <cstdlib>
#include <limits>

#include "Operations.h"

namespace qkztest {
namespace {

using Limits = std::numeric_limits<std::int64_t>;

/// Another colour in the same place; what else the word holds stays.
void recolor(std::uint32_t& word, int r, int g, int b) {
    word = (word & 0xFF000000) | static_cast<std::uint32_t>(r << 16 | g << 8 | b);
}

std::uint32_t& anyWord(Random& random, Image& image) {
    return image.word(random.below(image.width), random.below(image.height));
}

// ---- gray, white, black

/// Whether all pixels of a rectangle pass. Without a rectangle among the arguments: of the picture.
template <class Test>
bool all(const Image& picture, const Cells& cells, std::size_t rectangle, const Test& test) {
    Rectangle area{0, 0, picture.width, picture.height};
    if (cells.size() > rectangle) area = rectangleOf(picture, cells, rectangle, isNegative);
    bool passed = true;
    Image scratch = picture;
    mapRectangle(picture, scratch, area, [&](const Rgba& p) {
        passed = passed && test(p);
        return p;
    });
    return passed;
}

std::int64_t anyTolerance(Random& random) {
    return random.oneIn(5)
               ? random.of({Limits::min(), Limits::max(), std::int64_t{1} << 32, std::int64_t{256}})
               : std::int64_t{random.below(9)} - 4;
}

Cells toleranceArguments(Random& random, const Image&) { return {anyTolerance(random)}; }

Cells toleranceRectangleArguments(Random& random, const Image& picture) {
    Cells cells{anyTolerance(random)};
    for (const Cell& cell : rectangleArguments(random, picture)) cells.push_back(cell);
    return cells;
}

Cell isGray(Image& picture, Cells& cells) {
    const std::int64_t given = cells.empty() ? 0 : integer(cells, 0);
    const std::int64_t most = given == Limits::min() ? Limits::max() : std::abs(given);
    return all(picture, cells, 1, [&](const Rgba& p) {
        return std::abs(p.r - p.g) <= most && std::abs(p.r - p.b) <= most && std::abs(p.g - p.b) <= most;
    });
}

template <int level>
Cell isLevel(Image& picture, Cells& cells) {
    return all(picture, cells, 0, [](const Rgba& p) { return p.r == level && p.g == level && p.b == level; });
}

/// Channels that are at most so far apart as a tolerance, but perhaps in one pixel.
void nearlyGray(Random& random, Image& picture) {
    const int apart = random.below(4);
    for (std::uint32_t& word : picture.words) {
        const int level = random.below(256 - apart);
        const auto channel = [&] { return level + random.below(apart + 1); };
        recolor(word, channel(), channel(), channel());
    }
    if (random.oneIn(2)) return;
    const int off = random.below(4), channel = random.below(3);
    recolor(anyWord(random, picture), channel == 0 ? off : 0, channel == 1 ? off : 0, channel == 2 ? off : 0);
}

/// One level, but perhaps for the last bit of one channel of one pixel.
template <int level>
void nearlyLevel(Random& random, Image& picture) {
    for (std::uint32_t& word : picture.words) recolor(word, level, level, level);
    if (random.oneIn(2)) anyWord(random, picture) ^= 1U << random.of({0, 8, 16});
}

// ---- colourness and counts

Cells colornessArguments(Random& random, const Image&) {
    if (random.oneIn(3)) {
        return {random.of({Limits::min(), Limits::max(), std::int64_t{1} << 31, std::int64_t{-1} << 31,
                           (std::int64_t{1} << 32) + 10, (std::int64_t{1} << 31) - 1})};
    }
    return {std::int64_t{random.below(70)} - 10};
}

/// The default is 10. Only the low 32 bits count, and green is what red and blue are compared with.
Cell colorness(Image& picture, Cells& cells) {
    const std::int64_t threshold = cells.empty() ? 10 : static_cast<std::int32_t>(integer(cells, 0));
    int count = 0;
    for (const std::uint32_t word : picture.words) {
        const Rgba p = picture.decode(word);
        if (p.r <= 29 && p.g <= 29 && p.b <= 29) continue;
        const int d1 = p.g - p.r, d2 = p.g - p.b;
        count += std::max(d1, d2) > threshold || std::min(d1, d2) < -threshold;
    }
    return count / (static_cast<double>(picture.width) * picture.height);
}

/// Colours about the thresholds of darkness and of colour.
void nearlyColored(Random& random, Image& picture) {
    if (random.oneIn(3)) return;
    for (std::uint32_t& word : picture.words) {
        const int level = random.of({15, 25, 100, 225});
        const auto channel = [&] { return level + random.below(random.of({3, 14, 31})); };
        recolor(word, channel(), channel(), channel());
    }
}

/// Often one of the picture's. The top byte is anything.
Cells colorArguments(Random& random, const Image& picture) {
    const std::uint32_t top = random.word() & 0xFF000000;
    const std::uint32_t word = picture.word(random.below(picture.width), random.below(picture.height));
    return {Color{random.oneIn(3) ? random.of({0U, 0xFFFFFFU, random.word()}) : word ^ top}};
}

Cell countColor(Image& picture, Cells& cells) {
    const std::uint32_t color = std::get<Color>(cells[0]).word;
    return std::int64_t{
        std::ranges::count_if(picture.words, [&](std::uint32_t w) { return ((w ^ color) & 0xFFFFFF) == 0; })};
}

/// Nil or blocks that hold something already, now and then too short a one.
Cells histogramArguments(Random& random, const Image&) {
    Cells cells;
    for (int i = 0; i < 3; ++i) {
        if (random.oneIn(3)) {
            cells.emplace_back();
            continue;
        }
        Bytes bytes(static_cast<std::size_t>(random.oneIn(12) ? random.of({0, 1, 256, 1020, 1023})
                                                              : random.of({1024, 1024, 1027, 2000})));
        const std::uint32_t usual = random.of({0U, 0xFFU});  // counters may wrap
        for (std::uint8_t& byte : bytes)
            byte = static_cast<std::uint8_t>(random.oneIn(2) ? usual : random.word());
        cells.emplace_back(bytes);
    }
    cells.emplace_back(std::int64_t{random.below(100)});
    return cells;
}

/// The second block gets the greens and the third the blues, whatever they are called.
Cell countColors(Image& picture, Cells& cells) {
    bool fit = true;
    for (std::size_t i = 0; i < 3; ++i) {
        if (cells[i] == Cell()) cells[i] = Bytes(1024);
        fit = fit && std::get<Bytes>(cells[i]).size() >= 1024;
    }
    fit = fit && !picture.words.empty();
    cells[3] = std::int64_t{fit ? picture.width * picture.height : -1};
    for (const std::uint32_t word : fit ? picture.words : std::vector<std::uint32_t>{}) {
        for (std::size_t i = 0; i < 3; ++i) {
            std::uint8_t* counter = &std::get<Bytes>(cells[i])[(word >> (16 - 8 * i) & 255) * 4];
            for (int byte = 0; byte < 4 && ++counter[byte] == 0;) ++byte;
        }
    }
    return {};
}

// ---- search

/// Few colours that are hardly apart, in no order, in a pattern or all the same, so that much matches in
/// part. Now and then a larger picture.
template <bool large>
void hardToSearch(Random& random, Image& picture) {
    if (large && random.oneIn(4)) picture = picture.blank(150 + random.below(80), 100 + random.below(60));
    const std::uint32_t first = random.word() & 0xF8F8F8;
    std::uint32_t palette[3] = {first, first, first};
    for (std::uint32_t& color : palette) color += random.of({0U, 1U, 2U, 3U, 4U}) << random.of({0, 8, 16});
    if (random.oneIn(5)) palette[1] = 0, palette[2] = 0xFF00FF;  // as far apart as can be
    const int colors = 1 + random.below(3), period = random.oneIn(3) ? 1 + random.below(6) : 0;
    std::uint32_t next = 0;
    for (std::uint32_t& word : picture.words) {
        const std::uint32_t index = period ? next++ % static_cast<std::uint32_t>(period) % 3
                                           : static_cast<std::uint32_t>(random.below(colors));
        word = (word & 0xFF000000) | palette[index];
    }
    if (random.oneIn(2)) anyWord(random, picture) ^= 0x40000;
}

/// A piece of the picture, from anywhere in it or from near its end, as it is or a little different; it may
/// be too large by one. It may have no alpha channel where the picture has one, and the reverse.
Image needleOf(Random& random, const Image& picture) {
    const auto length = [&](int most) {
        const int chosen = 1 + random.below(random.oneIn(2) ? std::min(most, 8) : most);
        return random.oneIn(10) ? most + random.below(2) : chosen;
    };
    const int width = length(std::min(picture.width, 64)), height = length(std::min(picture.height, 64));
    const auto start = [&](int room) {
        return room <= 0 ? 0 : random.oneIn(3) ? room : random.below(room + 1);
    };
    const int left = start(picture.width - width), top = start(picture.height - height);
    Image needle = picture.blank(width, height);
    if (needle.format == Format::argb && random.oneIn(3)) needle.format = Format::xrgb, needle.alpha = false;
    if (needle.format == Format::rgb && random.oneIn(3)) needle.format = Format::xrgb;
    if (needle.format == Format::gd) needle.alpha = random.oneIn(2);
    const bool noisy = random.oneIn(3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            std::uint32_t& word = needle.word(x, y);
            word = picture.word(std::min(left + x, picture.width - 1), std::min(top + y, picture.height - 1));
            if (needle.format == Format::rgb) word &= 0xFFFFFF;
            if (noisy && random.oneIn(4)) word ^= random.of({1U, 2U, 3U}) << random.of({0, 8, 16});
        }
    }
    // Often it is the last pixels that tell.
    std::uint32_t& odd = random.oneIn(2) ? needle.words.back() : anyWord(random, needle);
    if (random.oneIn(3)) odd ^= random.of({1U, 2U, 4U, 128U}) << random.of({0, 8, 16});
    return needle;
}

Cells placeArguments(Random& random, const Image& picture) {
    Cell needle = needleOf(random, picture);
    if (random.oneIn(25)) needle = random.oneIn(2) ? Cell() : Cell(Image{});
    return {needle, std::int64_t{random.below(9)}, std::int64_t{random.below(9)}};
}

Cells findArguments(Random& random, const Image& picture) {
    Cells cells = placeArguments(random, picture);
    for (const int size : {picture.width, picture.height})
        cells.emplace_back(random.oneIn(2) ? std::int64_t{random.below(2)} : random.coordinate(size));
    cells.emplace_back(
        random.oneIn(3) ? random.of({std::int64_t{-1}, std::int64_t{0}, std::int64_t{255}, std::int64_t{256},
                                     std::int64_t{1} << 32, (std::int64_t{1} << 32) + 1, Limits::min(),
                                     Limits::max(), std::int64_t{1} << 31, (std::int64_t{3} << 32) + 3})
                        : random.of({std::int64_t{1}, std::int64_t{2}, std::int64_t{3}, std::int64_t{4},
                                     std::int64_t{5}}));
    return cells;
}

Cell find(Image& picture, Cells& cells) {
    std::int64_t startX = 0, startY = 0;
    std::int32_t tolerance = 3;
    if (cells.size() > 3) {
        startX = std::max<std::int64_t>(integer(cells, 3), 0);
        startY = std::max<std::int64_t>(integer(cells, 4), 0);
        tolerance = static_cast<std::int32_t>(integer(cells, 5));
    }
    cells[1] = cells[2] = std::int64_t{0};
    const auto* needle = std::get_if<Image>(&cells.front());
    if (!needle || needle->words.empty() || picture.words.empty() || startY >= picture.height) return false;
    if (startX >= picture.width) startX = 0, ++startY;
    const auto matchesAt = [&](int left, int top) {
        for (int y = 0; y < needle->height; ++y) {
            for (int x = 0; x < needle->width; ++x) {
                const Rgba a = picture.at(left + x, top + y), b = needle->at(x, y);
                if (std::abs(a.r - b.r) >= tolerance || std::abs(a.g - b.g) >= tolerance ||
                    std::abs(a.b - b.b) >= tolerance)
                    return false;
            }
        }
        return true;
    };
    for (int y = static_cast<int>(startY); y <= picture.height - needle->height; ++y, startX = 0) {
        for (int x = static_cast<int>(startX); x <= picture.width - needle->width; ++x) {
            if (matchesAt(x, y)) {
                cells[1] = std::int64_t{x};
                cells[2] = std::int64_t{y};
                return true;
            }
        }
    }
    return false;
}

}  // namespace

std::vector<Operation> lookingOperations() {
    return {
        {"isGray", "isGrayQKZ", noArguments, isGray, nullptr, nearlyGray},
        {"isGray_tolerance", "isGrayQKZ", toleranceArguments, isGray, nullptr, nearlyGray},
        {"isGray_rectangle", "isGrayQKZ", toleranceRectangleArguments, isGray, nullptr, nearlyGray},
        {"isWhite", "isWhiteQKZ", noArguments, isLevel<255>, nullptr, nearlyLevel<255>},
        {"isWhite_rectangle", "isWhiteQKZ", rectangleArguments, isLevel<255>, nullptr, nearlyLevel<255>},
        {"isBlack", "isBlackQKZ", noArguments, isLevel<0>, nullptr, nearlyLevel<0>},
        {"isBlack_rectangle", "isBlackQKZ", rectangleArguments, isLevel<0>, nullptr, nearlyLevel<0>},
        {"Colorness", "ColornessQKZ", noArguments, colorness, nullptr, nearlyColored},
        {"Colorness_threshold", "ColornessQKZ", colornessArguments, colorness, nullptr, nearlyColored},
        {"CountColor", "CountColorQKZ", colorArguments, countColor},
        {"CountColors", "CountColorsQKZ", histogramArguments, countColors},
        {"Find", "FindPictureQKZ", findArguments, find, nullptr, hardToSearch<false>},
        {"Find_in_larger", "FindPictureQKZ", findArguments, find, nullptr, hardToSearch<true>},
        {"Find_defaults", "FindPictureQKZ", placeArguments, find, nullptr, hardToSearch<false>},
    };
}

}  // namespace qkztest
