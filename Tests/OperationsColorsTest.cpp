// The operations that make pictures: well-known pixels, and what random pictures of one storage do not show.
#include <algorithm>
#include <limits>

#include "Operations.h"

namespace qkztest {
namespace {

using Arguments = std::vector<Value>;

Arguments withSelf(const Value& self, const Arguments& others) {
    Arguments all = others;
    all.insert(all.begin(), self);
    return all;
}

Image opaqueImage(int width, int height, std::vector<std::uint32_t> words) {
    return {Format::xrgb, false, width, height, std::move(words)};
}

struct KnownPixel {
    const char* method;
    Arguments arguments;
    std::uint32_t from, to;
    bool newSize = false;  // made by size alone: without alpha and with the host's resolution
};

std::vector<KnownPixel> knownPixels() {
    constexpr Color white{0xFFFFFF}, red{0xFF0000};
    return {
        {"ChangeContrastQKZ", {-1.0}, 0x0080FF, 0x7F7F7F},
        {"ChangeContrastQKZ", {1.0}, 0x007E7F, 0x007D7F},
        {"ChangeContrastQKZ", {-0.5}, 0x0080FF, 0x3F7FBF},
        {"ChangeContrastQKZ", {1e10}, 0x7FFF80, 0x7F0000},
        {"ChangeContrastQKZ", {0.0, -1.0, 1.0}, 0x808080, 0x807F81},
        {"ChangeBrightnessAbsoluteQKZ", {-0.5}, 0x0001FF, 0x0000FE},
        {"ChangeBrightnessAbsoluteQKZ", {10.9}, 0x00F0FF, 0x0AFAFF},
        {"ChangeBrightnessAbsoluteQKZ", {1.0, 2.0, -3.0}, 0x101010, 0x11120D},
        {"ChangeBrightnessAbsoluteQKZ", {2147483647.0}, 0x0001FF, 0xFF0000},
        {"ChangeBrightnessLinearQKZ", {255.0}, 0x0080FF, 0xFFFFFF},
        {"ChangeBrightnessLinearQKZ", {300.0}, 0x007FFF, 0x2C15FF},
        {"ChangeBrightnessLinearQKZ", {-300.0}, 0x007FFF, 0x00EAD3},
        {"ChangeBrightnessLinearQKZ",
         {std::numeric_limits<double>::quiet_NaN(), 0.0, 1e300},
         0x404040,
         0x4000},
        {"ChangeContrastBrightnessLinearQKZ", {0.0, 300.0}, 0x0000FF, 0xFFFFFF},
        {"ChangeContrastBrightnessAbsoluteQKZ", {1.0, -100.0}, 0x00FFB4, 0x00FF85},
        {"ChangeCustomQKZ", {-1.0, 255.0}, 0x0080FF, 0xFF7F00},
        {"ChangeCustomQKZ", {0.0, 0.0, 1.0, 0.0, 1.0, 0.0}, 0x102030, 0x000030},
        {"ChangeSaturationQKZ", {-255}, 0xFFFFFE, 0xFEFEFE},
        {"ChangeSaturationQKZ", {255}, 0xC86400, 0xFF6400},
        {"ChangeSaturationQKZ", {-128}, 0xC86400, 0x956433},
        {"ChangeSaturationQKZ", {-510}, 0xC86400, 0x0064C8},
        {"ChangeSaturationQKZ", {100}, 0x0A141F, 0x071423},
        {"ReplaceColorQKZ", {Color{0xAB102030}, Color{0xCD405060}}, 0x102030, 0x405060},
        {"ExtractColorQKZ", {white, red, Color{0x010203}}, 0xFFFFFF, 0xFF0000, true},
        {"ExtractColorQKZ", {white, red, Color{0x010203}}, 0xFFFFFE, 0x010203, true},
        {"ThresholdQKZ", {1}, 0xFF0000, 0x000000},
        {"ThresholdQKZ", {255}, 0x00FFFF, 0xFFFFFF},
        {"EmbeddedMaskQKZ", {false}, 0x102030, 0xFFFFFF, true},
        {"EmbeddedMaskQKZ", {true}, 0x102030, 0x000000, true},
        {"ExtractColorRectangleMaskQKZ", {}, 0x101010, 0xFFFFFF, true},
        {"ExtractColorRectangleMaskQKZ", {0, 0, 0, -1}, 0x101011, 0xFFFFFF, true},
        {"ExtractColorRectangleMaskQKZ", {-1, -5, 2, 6}, 0x101011, 0x000000, true},
        {"TintPictureQKZ", {red, white}, 0x102030, 0x101010},
        {"TintPictureQKZ", {white, Color{0xFF8000}}, 0x102030, 0x603000},
        // Summed in another order these would differ by 1.
        {"TintPictureQKZ", {Color{0x17D019}, white}, 0xDC871F, 0x848484},
        {"TintPictureQKZ", {Color{0x11D38A}, white}, 0x56684E, 0x868686},
    };
}

TEST(PictureMakers, WellKnownPixels) {
    Plugin host;
    for (const KnownPixel& known : knownPixels()) {
        SCOPED_TRACE(testing::Message() << known.method << " of " << std::hex << known.from);
        const OwnedPicture picture = makePicture(host, opaqueImage(1, 1, {known.from}));
        const OwnedPicture result = pictureOf(host, known.method, withSelf(picture.get(), known.arguments));
        EXPECT_EQ(host.objects.surface(result).word(0, 0), 0xFF000000 | known.to);
    }
}

TEST(PictureMakers, TakeResolutionAndAlphaOnlyFromAReader) {
    for (const bool alpha : {false, true}) {
        Plugin host;
        const OwnedPicture picture(host.newPicture(2, 2, alpha));
        host.objects.picture(picture).resolution = {144, 150};
        for (const KnownPixel& known : knownPixels()) {
            const OwnedPicture result =
                pictureOf(host, known.method, withSelf(picture.get(), known.arguments));
            EXPECT_EQ(host.objects.surface(result).alpha, alpha && !known.newSize) << known.method;
            EXPECT_EQ(host.objects.picture(result).resolution[1], known.newSize ? 72 : 150) << known.method;
        }
    }
}

TEST(PictureMakers, GiveNilWithoutAPictureOrAPlaceForTheResult) {
    Plugin host;
    const OwnedPicture picture = makePicture(host, opaqueImage(1, 1, {0x102030}));
    const Value self = picture.get();
    const OwnedObject unreadable(host.newInstance("Picture"));
    const OwnedBlock block(host.objects.newMemoryBlock(Bytes(256)));
    std::vector<KnownPixel> calls = knownPixels();
    for (const char* method :
         {"ReplaceRedChannelQKZ", "ReplaceGreenChannelQKZ", "ReplaceBlueChannelQKZ", "MergePictureQKZ"})
        calls.push_back({method, {self}, 0, 0});
    calls.push_back({"CombinePicturesQKZ", {self, self}, 0, 0});
    calls.push_back({"TransformColorsQKZ", {block.get(), block.get(), block.get()}, 0, 0});
    for (const char* method : {"InvertQKZ", "InvertGrayQKZ"}) calls.push_back({method, {}, 0, 0});
    for (const KnownPixel& known : calls) {
        SCOPED_TRACE(known.method);
        for (const Value& none : {Value(unreadable.get()), self, Value()}) {
            if (none == self) host.faults.failCall("newPicture", 1);
            EXPECT_TRUE(host.call(known.method, withSelf(none, known.arguments)).isNil());
            const bool raises = none.isNil() && std::string_view(known.method) == "TransformColorsQKZ";
            EXPECT_EQ(host.exceptions.take().has_value(), raises);
        }
    }
}

TEST(PictureMakers, EmbeddedMaskWidensAllBitsOfGd) {
    Plugin host({.app = AppKind::console, .storage = Storage::gd});
    constexpr std::uint32_t tops[] = {0, 1, 0x40, 0x7E, 0x7F, 0x80, 0x81, 0xFF},
                            levels[] = {0, 3, 128, 252, 255, 0, 3, 255};
    Image image = Image{Format::gd}.blank(8, 1), expected = image;
    for (std::size_t i = 0; i < 8; ++i)
        image.words[i] = tops[i] << 24, expected.words[i] = levels[i] * 0x010101;
    const OwnedPicture picture = makePicture(host, image);
    EXPECT_SAME_IMAGE(readPicture(host, pictureOf(host, "EmbeddedMaskQKZ", {picture, false})), expected);
}

TEST(PictureMakers, EmbeddedMaskIsSetInPlace) {
    Plugin host;
    const OwnedPicture picture =
        makePicture(host, {Format::argb, true, 2, 2, {0x80102030, 0xFF405060, 0x00708090, 0x01000000}});
    const OwnedObject unreadable(host.newInstance("Picture"));
    const auto set = [&](bool swap, const Value& mask) {
        const int cleared = host.faults.called("REALPictureClearCache");
        host.assign("EmbeddedMaskQKZ", {picture, swap}, mask);
        return host.faults.called("REALPictureClearCache") > cleared;  // only then the change shows
    };
    EXPECT_TRUE(set(true, picture.get()));
    const Image expected{Format::argb, true, 2, 2, {0x801020EF, 0xFF4050BF, 0x0070808F, 0x010000FF}};
    EXPECT_SAME_IMAGE(readPicture(host, picture), expected);
    EXPECT_FALSE(set(false, nullptr));
    EXPECT_FALSE(set(false, unreadable.get()));
    EXPECT_SAME_IMAGE(readPicture(host, picture), expected);
    for (const Value& self : {Value(), Value(unreadable.get())})
        host.assign("EmbeddedMaskQKZ", {self, false}, picture.get());
}

TEST(PictureMakers, RectanglesSurroundWhatTouchesAtSides) {
    Plugin host;
    const struct {
        std::vector<const char*> rows;  // * is coloured
        std::vector<const char*> black;
        std::array<std::int64_t, 4> region = {0, 0, -1, -1};
    } cases[] = {
        {{"...", ".*.", "..."}, {"...", ".*.", "..."}},
        {{"*....", "*....", "***..", "....*"}, {"***..", "***..", "***..", "....*"}},
        {{"*...", ".*..", "..*.", "...*"}, {"*...", ".*..", "..*.", "...*"}},
        {{"..*..", "*.*.*", "***.*", "....."}, {"***..", "***.*", "***.*", "....."}},
        {{"*****", "*...*", "*.*.*", "*...*", "*****"}, {"*****", "*****", "*****", "*****", "*****"}},
        // The second covers part of the first, whose cells do not make it grow further.
        {{".*.*", "**.*", "...*", ".***"}, {"****", "****", ".***", ".***"}, {0, 0, 4, -1}},
        // A region reads the picture's first rows, but marks its own.
        {{"*..", ".*.", "..*"}, {"...", ".*.", "..."}, {1, 0, 1, 2}},
        {{"*..", ".*.", "..*"}, {"...", "*..", ".*."}, {-2, 1, 4, 9}},
    };
    for (const auto& c : cases) {
        const int height = static_cast<int>(c.rows.size());
        const int width = static_cast<int>(std::string(c.rows[0]).size());
        const auto imageOf = [&](const std::vector<const char*>& rows, std::uint32_t marked,
                                 std::uint32_t other) {
            Image image = opaqueImage(width, height, {});
            for (const char* row : rows)
                for (const char cell : std::string(row)) image.words.push_back(cell == '*' ? marked : other);
            return image;
        };
        const OwnedPicture picture = makePicture(host, imageOf(c.rows, 0xFF808081, 0xFF808080));
        const auto& r = c.region;
        const OwnedPicture result =
            pictureOf(host, "ExtractColorRectangleMaskQKZ", {picture, r[0], r[1], r[2], r[3]});
        EXPECT_SAME_IMAGE(readPicture(host, result), imageOf(c.black, 0xFF000000, 0xFFFFFFFF)) << &c - cases;
    }
}

/// Larger than a word of bits, and than what one summary word covers.
TEST(PictureMakers, RectanglesOfLargePictures) {
    Plugin host;
    Random random(9);
    for (const auto& [width, height] : {std::pair(70, 150), {150, 70}, {9000, 3}, {3, 9000}}) {
        for (const int apart : {2, 3, 5, 9, 40, 700}) {
            Image picture =
                opaqueImage(width, height,
                            std::vector<std::uint32_t>(static_cast<std::size_t>(width * height), 0xFF777777));
            for (std::uint32_t& word : picture.words) {
                if (random.oneIn(apart)) word ^= 0x10;
            }
            checkOperation(host, operationOf("RectangleMask"), picture, {});
        }
    }
}

/// Hooks around each other, of pixels that only the growing rectangle joins.
TEST(PictureMakers, RectanglesAroundRectangles) {
    Plugin host;
    Image picture = opaqueImage(130, 130, std::vector<std::uint32_t>(130 * 130, 0xFF777777));
    for (int end = 2; end < 129; end += 4) {
        for (int along = 0; along < end; ++along) {
            picture.word(end + along % 2, along) = 0xFF0000FF;
            picture.word(along, end + along % 2) = 0xFF0000FF;
        }
    }
    checkOperation(host, operationOf("RectangleMask"), picture, {});
}

TEST(PictureMakers, EveryColorAndAlphaIsInverted) {
    Plugin host;
    Image picture{Format::argb, true, 256, 256, {}};
    for (std::uint32_t i = 0; i < 65536; ++i) picture.words.push_back(i >> 8 << 24 | (i & 255) * 0x010101);
    checkOperation(host, operationOf("Invert"), picture, {});
}

TEST(PictureMakers, EveryDifferenceIsSaturatedExactly) {
    Plugin host;
    Image picture = opaqueImage(256, 4, {});
    for (const std::uint32_t green : {0U, 90U, 200U, 255U}) {  // differences of -191 to 191
        for (std::uint32_t level = 0; level < 256; ++level) {
            picture.words.push_back(0xFF000000 | level << 16 | green << 8 | (255 - level));
        }
    }
    for (std::int64_t amount = -33100; amount<33100; amount += amount> - 1200 && amount < 1200 ? 1 : 97) {
        checkOperation(host, operationOf("Saturation"), picture, {amount});
    }
}

TEST(PictureMakers, TransformRefusesInOrder) {
    Plugin host;
    const OwnedPicture picture = makePicture(host, opaqueImage(1, 1, {0x102030}));
    const OwnedBlock block(host.objects.newMemoryBlock(Bytes(256)));
    const Value self = picture.get(), table = block.get(), nil;
    const std::pair<Arguments, const char*> cases[] = {
        {{nil, nil, nil, nil}, "picture is nil"},
        {{self, nil, nil, nil}, "red memoryblock is nil"},
        {{self, table, nil, nil}, "green memoryblock is nil"},
        {{self, table, nil, table}, "blue memoryblock is nil"}};
    for (const auto& [arguments, message] : cases) {
        EXPECT_TRUE(host.call("TransformColorsQKZ", arguments).isNil());
        EXPECT_EQ(host.exceptions.take(), (RaisedException{"NilObjectException", message, 0}));
    }
    // The channel picture is looked at before the picture.
    EXPECT_TRUE(host.call("ReplaceRedChannelQKZ", {nullptr, nullptr}).isNil());
    EXPECT_EQ(host.exceptions.take(),
              (RaisedException{"NilObjectException", "The channel picture is nil.", 0}));
    // A destination that cannot be written is not touched.
    const Image four = opaqueImage(2, 2, {1, 2, 3, 4});
    const OwnedPicture destination = makePicture(host, four);
    host.objects.picture(destination).kind = 1;
    const OwnedPicture result =
        pictureOf(host, "TransformColorsQKZ", {self, table, table, table, destination});
    EXPECT_SAME_IMAGE(readPicture(host, result), opaqueImage(1, 1, {0xFF000000}));
    EXPECT_SAME_IMAGE(readPicture(host, destination), four);
}

}  // namespace
}  // namespace qkztest
