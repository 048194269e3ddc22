// Pictures of audio samples.
#include <cmath>
#include <limits>

#include "Support.h"

namespace qkztest {
namespace {

using Signal = std::vector<double>;  // -1..1

constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min(), most = -1 - least;
constexpr std::uint32_t back = 0xFFFFFF, fore = 0x0000FF, outline = 0xFF0000;

struct Request {
    std::int64_t width = 4, height = 9, outlineWidth = 0, smooth = 0, bits = 16;
    bool autoScale = false;
};

Bytes encoded(const Signal& signal, std::int64_t bits) {
    Bytes bytes;
    const double limit = std::ldexp(1, static_cast<int>(bits) - 1);
    for (const double value : signal) {
        auto word = static_cast<std::int64_t>(std::clamp(value * limit, -limit, limit - 1));
        if (bits == 8) word += 128;
        for (std::int64_t i = 0; i < bits; i += 8)
            bytes.push_back(static_cast<std::uint8_t>(word >> i & 255));
    }
    return bytes;
}

/// The picture; one of no size for nil.
Image render(Host& host, const Request& r, const Bytes& bytes, std::int64_t count) {
    const OwnedBlock block(host.objects.newMemoryBlock(bytes));
    return readPicture(host, pictureOf(host, "RenderSamplesQKZ",
                                       {block.get(), count, r.smooth, r.width, r.height, r.outlineWidth,
                                        Color{back}, Color{fore}, Color{outline}, r.bits, r.autoScale}));
}

Image renderSignal(Host& host, const Request& r, const Signal& signal) {
    return render(host, r, encoded(signal, r.bits), static_cast<std::int64_t>(signal.size()));
}

/// A sine of numbers that 8 bits hold.
Signal wave(double loudness) {
    Signal signal;
    for (int i = 0; i < 700; ++i) signal.push_back(loudness * std::round(120 * std::sin(i * 0.09)) / 128);
    return signal;
}

/// The colours of a column from the top: background, foreground, outline, or a blend.
std::string column(const Image& image, int x) {
    std::string letters;
    for (int y = 0; y < image.height; ++y) {
        const std::uint32_t color = image.word(x, y) & 0xFFFFFF;
        letters += color == back ? '.' : color == fore ? '#' : color == outline ? 'O' : '+';
    }
    return letters;
}

TEST(RenderSamples, BadInputGivesNil) {
    Plugin host;
    const auto drawn = [&](const Request& r, std::int64_t count) {
        return render(host, r, Bytes(24), count).width > 0;
    };
    for (const std::int64_t bits : {least, -8L, 0L, 12L, 40L, (1L << 32) + 8, most})
        EXPECT_FALSE(drawn({.bits = bits}, 1)) << bits;
    for (const std::int64_t bits : {8, 16, 24, 32}) {
        const std::int64_t held = 24 * 8 / bits;
        EXPECT_TRUE(drawn({.bits = bits}, held));
        for (const std::int64_t count : {least, 0L, held + 1, (most >> 2) + 2, (most >> 1) + 2, most})
            EXPECT_FALSE(drawn({.bits = bits}, count)) << count;
    }
    for (const std::int64_t size : {least, -1L, 0L, 32768L, most})
        EXPECT_FALSE(drawn({.width = size}, 1) || drawn({.height = size}, 1)) << size;
    EXPECT_TRUE(
        host.call("RenderSamplesQKZ", {nullptr, 1, 0, 4, 4, 0, Color{}, Color{}, Color{}, 8, false}).isNil());
    host.faults.failCall("newPicture", 1);
    EXPECT_FALSE(drawn({}, 1));
}

TEST(RenderSamples, ColumnsSpanTheirSamples) {
    const Signal pairs = {0, 0, 0.5, -0.5, -1, -1, 0, 1};
    struct {
        const char* name;
        Request request;
        Signal signal;
        std::vector<std::string> columns;
    } const cases[] = {
        {"plain", {}, pairs, {"....#....", "..######.", "......###", "#######.."}},
        {"odd share", {.width = 2}, {0, 0.5, -0.5, -1, 1}, {"..###....", "#########"}},
        {"smooth", {.smooth = 2}, pairs, {"....#....", "...###...", ".....###.", "....###.."}},
        {"smooth, all", {.width = 2, .smooth = most}, pairs, {".#######.", ".#######."}},
        {"outline", {.outlineWidth = 1}, pairs, {"...+O+...", "..O+++O+.", ".+++++++O", "O+++O+++."}},
        {"even height", {.width = 2, .height = 8}, {0, 0}, {"...##...", "...##..."}},
        {"one row", {.height = 1}, pairs, {"#", "#", "#", "#"}},
        {"one sample", {.width = 2, .height = 5}, {1}, {"#....", "#...."}},
        {"joined", {.width = 3}, {0.5, -0.5}, {"..##.....", "...###...", ".....##.."}},
    };
    Plugin host;
    for (const auto& c : cases) {
        const Image image = renderSignal(host, c.request, c.signal);
        std::vector<std::string> columns;
        columns.reserve(static_cast<std::size_t>(image.width));
        for (int x = 0; x < image.width; ++x) columns.push_back(column(image, x));
        EXPECT_EQ(columns, c.columns) << c.name;
    }
}

TEST(RenderSamples, DepthsAndScalesOfOneSignalGiveOnePicture) {
    Plugin host;
    Request request{.width = 150, .height = 65, .outlineWidth = 2, .smooth = 3};
    for (const bool autoScale : {false, true}) {
        request.autoScale = autoScale;
        request.bits = 24;
        const Image expected = renderSignal(host, request, wave(1));
        EXPECT_EQ(difference(renderSignal(host, request, wave(1. / 1024)), expected).empty(), autoScale);
        for (const int bits : {8, 16, 32}) {
            request.bits = bits;
            EXPECT_SAME_IMAGE(renderSignal(host, request, wave(1)), expected);
        }
    }
}

TEST(RenderSamples, OutlinesAreSoftAndAsWideAsAsked) {
    Plugin host;
    for (const int width : {61, 301}) {  // steep and flat
        for (const int outlineWidth : {1, 2, 3, 9}) {
            const Request request{.width = width, .height = 362 - width, .outlineWidth = outlineWidth};
            const Image image = renderSignal(host, request, {-1, 1});
            double covered = 0;
            for (const std::uint32_t word : image.words) covered += 1 - (word & 255) / 255.0;
            EXPECT_NEAR(covered / std::hypot(60, 300), outlineWidth, 0.1 * outlineWidth);
            EXPECT_NE(column(image, width / 3 + 1).find('+'), std::string::npos) << "no soft edge";
        }
    }
    for (const std::int64_t outlineWidth : {40L, most}) {
        const Image image = renderSignal(host, {.width = 1, .height = 20, .outlineWidth = outlineWidth}, {1});
        EXPECT_EQ(column(image, 0), std::string(20, 'O'));
    }
}

TEST(RenderSamples, AnyStorageShowsAnyNumbers) {
    for (const StorageCase& storage : storages()) {
        if (storage.settings.storage == Storage::pixmap && !pixmapObstacle().empty()) continue;
        SCOPED_TRACE(storage.name);
        Plugin host(storage.settings);
        const Request request{.width = 200, .height = 65, .outlineWidth = 3};
        Image image = renderSignal(host, request, wave(1)), flipped = renderSignal(host, request, wave(-1));
        for (std::uint32_t& word : image.words) word &= 0xFFFFFF;
        static const Image first = image;
        EXPECT_EQ(image.words, first.words);
        ASSERT_EQ(image.words.size(), 200U * 65U);
        for (int i = 0; i < 200 * 65; ++i)
            EXPECT_NEAR(image.at(i % 200, i / 200).g, flipped.at(i % 200, 64 - i / 200).g, 1) << i;

        Random random(7);
        for (int round = 0; round < 100; ++round) {
            Bytes bytes(static_cast<std::size_t>(random.of({1, 3, 50}) * 12));
            for (std::uint8_t& byte : bytes) byte = random.oneIn(3) ? 255 : random.word() & 255;
            const int width = 1 + random.below(random.of({1, 3, 90})),
                      height = 1 + random.below(random.of({1, 3, 90}));
            const std::int64_t wide = random.coordinate(height), smooth = random.coordinate(width);
            const Request any{width, height, wide, smooth, random.of({8, 16, 24, 32}), random.oneIn(2)};
            const Image drawn = render(host, any, bytes, static_cast<int>(bytes.size()) * 8 / any.bits);
            ASSERT_EQ(std::pair(drawn.width, drawn.height), std::pair(width, height));
            for (int x = 0; x < width && wide <= 0; ++x)
                EXPECT_NE(column(drawn, x).find('#'), std::string::npos) << "nothing in column " << x;
        }
    }
}

}  // namespace
}  // namespace qkztest
