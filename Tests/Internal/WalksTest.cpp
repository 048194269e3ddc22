// The walks over pictures, for what no host's picture shows: a format that is not known.
#include "Walks.h"

#include "Support.h"

namespace qkztest {
namespace {

/// An editor of a host's picture that says it does not know its format.
template <class Editor>
struct OfUnknownFormat : Editor {
    void forget() {
        this->format_ = pixelUnknown;
        this->bytesPerPixel_ = 0;
    }
};

TEST(Walks, UnknownFormatReadsAsZeroAndIsNotWritten) {
    Plugin host;
    const OwnedPicture source(host.newPicture(5, 3)), other(host.newPicture(5, 3, true)),
        target(host.newPicture(5, 3, true));
    OfUnknownFormat<PictureReader> reader;
    OfUnknownFormat<PictureWriter> writer;
    ASSERT_TRUE(reader.GetPictureReader(source));
    ASSERT_TRUE(writer.NewPictureWriter(target, 5, 3));
    reader.forget();

    int pixels = 0;
    forEachRow(reader, [&](auto row, std::int64_t width) {
        for (std::int64_t x = 0; x < width; ++x) pixels += row[x].red + row[x].green + row[x].blue == 0;
    });
    EXPECT_EQ(pixels, 15);
    EXPECT_EQ(countPixels(reader, [](const Pixel& p) { return colorWord(p) == 0; }), 15);
    // Alpha reads as 0, too, and another reader's pixels as they are; what is outside the area stays.
    const std::uint32_t odd = 0x90000005;
    host.objects.surface(other).write(2, 2, 1, &odd);
    PictureReader known;
    ASSERT_TRUE(known.GetPictureReader(other));
    mapPixels<Channels::colorAndAlpha>(
        writer, ::Area{1, 1, 3, 3},
        [](const Pixel& p, const Pixel& q) {
            return Pixel{p.red + 1, 2, q.blue, p.alpha + q.alpha / 16};
        },
        reader, known);
    EXPECT_EQ(host.objects.surface(target).word(1, 1), 0x00010200U);
    EXPECT_EQ(host.objects.surface(target).word(2, 2), 0x09010205U);
    for (const auto& [x, y] : {std::pair{0, 1}, {3, 1}, {1, 0}})
        EXPECT_EQ(host.objects.surface(target).word(x, y), 0U);

    writer.forget();
    mapPixels(
        writer, wholeArea(reader), [](const Pixel&) { return grayPixel(9); }, reader);
    paintRow(writer, 0, [](std::int64_t) { return grayPixel(9); });
    EXPECT_EQ(host.objects.surface(target).word(2, 2), 0x09010205U);
    EXPECT_EQ(host.objects.surface(target).word(0, 0), 0U);
}

}  // namespace
}  // namespace qkztest
