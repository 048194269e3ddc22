// What the table of operations cannot say about scrolling: bytes between rows, kinds of pictures, references.
#include <algorithm>

#include "Operations.h"

namespace qkztest {
namespace {

using Row = std::vector<std::uint8_t>;

TEST(Scroll, WholeRowsTakeTheirPaddingWithThem) {
    constexpr int width = 3, height = 4, stride = width * 4 + 20;
    constexpr auto white = -1;  // in place of the row that was there before
    const struct {
        const char* method;
        int delta;
        bool wrap;
        std::vector<int> rows;  // where the padding of each row comes from
    } cases[] = {
        {"ScrollVerticalQKZ", 1, true, {3, 0, 1, 2}},
        {"ScrollVerticalQKZ", -1, true, {1, 2, 3, 0}},
        {"ScrollVerticalQKZ", 3, false, {white, white, white, 0}},
        {"ScrollVerticalQKZ", -2, false, {2, 3, white, white}},
        {"ScrollVerticalQKZ", 4, false, {white, white, white, white}},
        {"ScrollHorizontalQKZ", 1, true, {0, 1, 2, 3}},
        {"ScrollHorizontalQKZ", -1, false, {0, 1, 2, 3}},
        {"ScrollHorizontalQKZ", 1, false, {0, 1, 2, 3}},
        {"ScrollHorizontalQKZ", 2, false, {0, 1, 2, 3}},
        {"ScrollHorizontalQKZ", 3, false, {white, white, white, white}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.method << ' ' << c.delta << c.wrap);
        Plugin host({.extraStride = 20});
        const OwnedPicture picture(host.newPicture(width, height));
        ASSERT_EQ(host.objects.surface(picture).rowBytes(), stride);
        const auto padding = [](int row) {
            return row == white ? Row(20, 255) : Row(20, static_cast<std::uint8_t>(0x40 + row));
        };
        for (int y = 0; y < height; ++y)
            std::ranges::copy(padding(y), host.objects.surface(picture).row(y) + width * 4);
        EXPECT_EQ(host.call(c.method, {picture, c.delta, c.wrap, false}), Value(true));
        for (int y = 0; y < height; ++y) {
            EXPECT_EQ(Row(host.objects.surface(picture).row(y) + width * 4,
                          host.objects.surface(picture).row(y) + stride),
                      padding(c.rows[static_cast<std::size_t>(y)]))
                << "row " << y;
        }
    }
}

TEST(Scroll, OnlyBitmapsThatMayChangeAreChanged) {
    Random random(1);
    const Image image = randomImage(random, Format::xrgb, false, 5, 4);
    const auto rotated = [&](int deltaX, int deltaY) {
        Image result = image;
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 5; ++x) result.word((x + deltaX) % 5, (y + deltaY) % 4) = image.word(x, y);
        return result;
    };
    for (const std::int64_t kind : {0, 1, 2, 3, 7}) {
        SCOPED_TRACE(kind);
        const bool changes = kind == 2 || kind == 7;
        Plugin host;
        const auto scrolled = [&](const char* method, std::vector<Value> arguments, bool result, int deltaX,
                                  int deltaY) {
            const OwnedPicture picture = makePicture(host, image), best = makePicture(host, image);
            host.objects.picture(picture).kind = kind;
            host.objects.picture(picture).representation = best;
            arguments[0] = picture.get();
            const int cleared = host.faults.called("REALPictureClearCache");
            EXPECT_EQ(host.call(method, arguments), Value(result)) << method;
            EXPECT_SAME_IMAGE(readPicture(host, picture), changes ? rotated(deltaX, deltaY) : image);
            EXPECT_SAME_IMAGE(readPicture(host, best), image);
            EXPECT_EQ(host.faults.called("REALPictureClearCache") > cleared, changes);
        };
        scrolled("ScrollVerticalQKZ", {nullptr, 1, true, false}, changes, 0, 1);
        scrolled("ScrollHorizontalQKZ", {nullptr, 1, true, false}, true, 1, 0);
        scrolled("ScrollQKZ", {nullptr, 2, 3, true, false}, changes, 2, 3);
        scrolled("ScrollQKZ", {nullptr, 1, 0, true, false}, true, 1, 0);  // rows that do not move cannot fail
    }
}

TEST(Scroll, MaskThatCannotBeScrolledStopsRowsOnly) {
    Plugin host;
    const Image image{Format::xrgb, false, 2, 2, {1, 2, 3, 4}};
    const OwnedPicture picture = makePicture(host, image), mask = makePicture(host, image);
    host.objects.picture(mask).kind = pictureVector;
    host.objects.picture(picture).mask = mask;
    EXPECT_EQ(host.call("ScrollVerticalQKZ", {picture, 1, true, true}), Value(false));
    EXPECT_EQ(host.call("ScrollVerticalQKZ", {picture, 0, true, true}), Value(true));
    EXPECT_SAME_IMAGE(readPicture(host, picture), image);
    EXPECT_EQ(host.call("ScrollQKZ", {picture, 1, 1, true, true}), Value(false));
    EXPECT_SAME_IMAGE(readPicture(host, picture), (Image{Format::xrgb, false, 2, 2, {2, 1, 4, 3}}));
    EXPECT_SAME_IMAGE(readPicture(host, mask), image);
}

TEST(Scroll, MaskOfTheMaskStays) {
    Plugin host;
    const Image image{Format::xrgb, false, 3, 1, {1, 2, 3}};
    const OwnedPicture pictures[] = {makePicture(host, image), makePicture(host, image),
                                     makePicture(host, image)};
    host.objects.picture(pictures[0]).mask = pictures[1];
    host.objects.picture(pictures[1]).mask = pictures[2];
    EXPECT_EQ(host.call("ScrollHorizontalQKZ", {pictures[0].get(), 1, true, true}), Value(true));
    EXPECT_SAME_IMAGE(readPicture(host, pictures[0]), (Image{Format::xrgb, false, 3, 1, {3, 1, 2}}));
    EXPECT_SAME_IMAGE(readPicture(host, pictures[1]), (Image{Format::xrgb, false, 3, 1, {3, 1, 2}}));
    EXPECT_SAME_IMAGE(readPicture(host, pictures[2]), image);
}

}  // namespace
}  // namespace qkztest
