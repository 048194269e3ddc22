// Pictures as strings of bytes, in both directions.
#include <array>

#include "Operations.h"
#include "PictureString.h"

namespace qkztest {
namespace {

using OwnedString = OwnedString;

/// What the bytes are read as; a picture of no size for nil.
Image unpacked(Host& host, std::string_view bytes) {
    const OwnedString string(host.objects.newString(bytes, REALencodingUnknown));
    return readPicture(host, pictureOf(host, "BinaryStringtoPictureQKZ", {string}));
}

/// 1 x 1, red.
constexpr char redBytes[] =
    "PPIC\0\0\0\x2B\0\0\0\1\0\0\0\1\0\0\0\x20\0\0\0\x28\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\xFF\0\0";
const std::string red(redBytes, sizeof redBytes - 1);

TEST(PictureString, FixedBytesBothWays) {
    ASSERT_EQ(red.size(), 43U);
    Plugin host;
    const Image image{Format::xrgb, false, 1, 1, {0xFFFF0000}};
    const OwnedPicture picture = makePicture(host, image);
    const OwnedString string(host.call("PicturetoBinaryStringQKZ", {picture}).string());
    EXPECT_EQ(host.objects.text(string), red);
    EXPECT_EQ(host.objects.encoding(string), REALencodingUnknown);
    EXPECT_SAME_IMAGE(unpacked(host, red), image);
}

TEST(PictureString, IsAsciiWhenEveryByteIs) {
    Plugin host;
    const struct {
        Image image;
        std::uint32_t encoding;
    } cases[] = {{{Format::xrgb, false, 1, 1, {0xFF7F007F}}, REALencodingASCII},
                 {{Format::xrgb, false, 1, 1, {0xFF7F0080}}, REALencodingUnknown},
                 {{Format::argb, true, 1, 2, {0x80000000, 0x7F01017F}}, REALencodingASCII},
                 {Image{}.blank(128, 1), REALencodingUnknown},   // its width
                 {Image{}.blank(127, 1), REALencodingUnknown}};  // its length, 421
    for (const auto& c : cases) {
        const OwnedPicture picture = makePicture(host, c.image);
        const OwnedString string(host.call("PicturetoBinaryStringQKZ", {picture}).string());
        EXPECT_EQ(host.objects.encoding(string), c.encoding) << c.image;
    }
}

/// `red` with other numbers at some offsets, then cut or filled up to a length; the stored length fits.
std::string changed(std::initializer_list<std::pair<std::size_t, std::uint32_t>> numbers,
                    std::size_t length = 43) {
    std::string bytes = red;
    for (const auto& [at, number] : numbers) putNumber(bytes, at, number);
    bytes.resize(length, '\x55');
    if (length >= 8) putNumber(bytes, 4, static_cast<std::uint32_t>(length));
    return bytes;
}

TEST(PictureString, HeaderFaultsAreRefused) {
    Plugin host;
    EXPECT_TRUE(host.call("BinaryStringtoPictureQKZ", {nullptr}).isNil());
    std::vector<std::string> faults{red + '\0', red.substr(0, 42), "PPID" + red.substr(4)};
    for (std::size_t length = 0; length < 24; ++length) faults.push_back(changed({}, length));
    constexpr std::size_t width = 8, height = 12, offset = 20;
    for (const std::size_t side : {width, height}) {
        for (const std::uint32_t size : {0u, 2u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 0x55555556u})
            faults.push_back(changed({{side, size}}));
    }
    // Products that are small again after a wrap, or of two negatives.
    faults.push_back(changed({{width, 0xFFFFFFFF}, {height, 0xFFFFFFFF}}));
    faults.push_back(changed({{width, 32767}, {height, 32767}}));
    faults.push_back(changed({{width, 0x55555556}, {height, 0x40000000}}));
    faults.push_back(changed({{width, 0x7FFFFFFF}, {height, 0x7FFFFFFF}, {offset, 0x7FFFFFFF}}));
    faults.push_back(changed({{width, 0}, {height, 0}}, 40));
    for (const std::uint32_t start : {41u, 43u, 44u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu, 0xFFFFFFD8u})
        faults.push_back(changed({{offset, start}}));
    for (const std::size_t side : {width, height})  // one more than a picture can have
        faults.push_back(changed({{side, 32768}}, 40 + 32768 * 3));
    for (const std::string& bytes : faults) {
        ASSERT_TRUE(unpackedPicture(bytes, Format::xrgb).words.empty());
        EXPECT_SAME_IMAGE(unpacked(host, bytes), Image{}) << testing::PrintToString(bytes.substr(0, 48));
    }
    EXPECT_EQ(host.faults.called("newPicture"), 0);
}

using PictureStrings = OnStorage;

TEST_P(PictureStrings, AreReadAsTheHeaderSays) {
    int pictures = 0;
    for (std::uint64_t seed = 0; seed < 2000 && !HasFailure(); ++seed) {
        Random random(seed);
        std::string bytes(24 + static_cast<std::size_t>(random.below(300)), '\0');
        for (char& byte : bytes) byte = static_cast<char>(random.word());
        bytes.replace(0, 4, "PPIC");
        const auto length = static_cast<int>(bytes.size());
        const int width = random.below(12) - 1, height = random.below(9) - 1;
        const int last = length - width * height * 3;  // the last offset that is good
        const int offset = random.of({40, 0, -1, last, last + 1, random.below(length)});
        putNumber(bytes, 4, static_cast<std::uint32_t>(length - random.oneIn(20)));
        putNumber(bytes, 8, static_cast<std::uint32_t>(width));
        putNumber(bytes, 12, static_cast<std::uint32_t>(height));
        putNumber(bytes, 20, static_cast<std::uint32_t>(offset));
        const Image expected = unpackedPicture(bytes, opaque({storage.format}).format);
        pictures += !expected.words.empty();
        EXPECT_SAME_IMAGE(unpacked(host, bytes), expected);
    }
    EXPECT_GT(pictures, 300);
}

TEST_P(PictureStrings, GoUpToTheLongestRow) {
    for (const auto& [width, height] : {std::pair(32767, 1), std::pair(1, 32767)}) {
        Random random(1);
        const Image image = randomImage(random, opaque({storage.format}).format, false, width, height);
        const std::string bytes = packedPicture(image);
        EXPECT_SAME_IMAGE(unpacked(host, bytes), unpackedPicture(bytes, image.format));
    }
}

ON_EVERY_STORAGE(PictureStrings);

TEST(PictureString, ServicesThatFailGiveNil) {
    for (const char* service : {"newPicture", "REALLockPictureDescription", "REALBuildStringWithEncoding"}) {
        Plugin host;
        const OwnedPicture picture(host.newPicture(2, 2));
        const bool writing = std::string_view(service) == "REALBuildStringWithEncoding";
        host.faults.omit(service);
        if (writing) {
            EXPECT_TRUE(host.call("PicturetoBinaryStringQKZ", {picture}).isNil());
        } else {
            EXPECT_SAME_IMAGE(unpacked(host, red), Image{}) << service;
        }
    }
    Plugin host;
    const OwnedPicture empty(Value(host.newInstance("Picture")).picture());
    EXPECT_TRUE(host.call("PicturetoBinaryStringQKZ", {empty}).isNil());
    EXPECT_TRUE(host.call("PicturetoBinaryStringQKZ", {nullptr}).isNil());
}

TEST(PictureString, ResolutionAndMaskAreLost) {
    Plugin host;
    const OwnedPicture picture(host.newPicture(2, 2)), mask(host.newPicture(2, 2));
    host.objects.picture(picture).resolution = {300, 300};
    host.objects.picture(picture).mask = mask;
    const OwnedString string(host.call("PicturetoBinaryStringQKZ", {picture}).string());
    const OwnedPicture back = pictureOf(host, "BinaryStringtoPictureQKZ", {string});
    ASSERT_NE(back.get(), nullptr);
    EXPECT_EQ(host.objects.picture(back).resolution, (std::array<std::int64_t, 2>{72, 72}));
    EXPECT_EQ(host.objects.picture(back).mask, nullptr);
}

}  // namespace
}  // namespace qkztest
