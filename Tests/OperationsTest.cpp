#include "Operations.h"

namespace qkztest {
namespace {

// What more rounds find, the optimised build finds sooner.
#ifdef QKZ_SANITIZED
constexpr int randomRounds = 8;
#else
constexpr int randomRounds = 40;
#endif

class Operations : public testing::TestWithParam<std::tuple<Operation, StorageCase>> {};

TEST_P(Operations, EqualNaiveComputation) {
    const auto& [operation, storage] = GetParam();
    SKIP_WITHOUT(storage);
    Plugin host(storage.settings);
    checkOperation(host, operation, storage, randomRounds);
}

INSTANTIATE_TEST_SUITE_P(All, Operations,
                         testing::Combine(testing::ValuesIn(operations()), testing::ValuesIn(storages())),
                         [](const auto& param) {
                             return std::string(std::get<0>(param.param).label) + "_on_" +
                                    std::get<1>(param.param).name;
                         });

using LongRows = OnStorage;

/// Of pixels of one kind but for one, which lies about the end of a stretch that is looked at as a whole.
TEST_P(LongRows, AreSeenUpToTheirEnd) {
    const std::int64_t all = -1;
    const struct {
        const char* label;
        int stretch, usual, odd;  // gray levels
        Cells arguments;
    } cases[] = {
        {"isWhite", 4096, 255, 254, {}},
        {"isBlack_rectangle", 4096, 0, 1, {std::int64_t{1}, all, all, all}},
        {"isGray", 4096, 128, -1, {}},
        {"isGray_rectangle", 4096, 128, -1, {std::int64_t{2}, std::int64_t{1}, std::int64_t{0}, all, all}},
        {"RectangleMask", 1024, 128, -1, {}},
        {"RectangleMask_region", 1024, 128, -1, {std::int64_t{3}, std::int64_t{0}, all, all}},
    };
    for (const auto& c : cases) {
        for (const int column : {0, c.stretch - 1, c.stretch, c.stretch + 1, c.stretch + 5, -1}) {
            Image image = Image{storage.format, storage.alpha}.blank(c.stretch + 6, 1);
            for (std::uint32_t& word : image.words) word = image.encode({c.usual, c.usual, c.usual, 255});
            if (column >= 0) image.set(column, 0, {c.usual, c.odd < 0 ? 120 : c.odd, c.usual, 255});
            checkOperation(host, operationOf(c.label), image, c.arguments);
        }
    }
}

ON_EVERY_STORAGE(LongRows);

TEST(Invert, WellKnownPixels) {
    struct {
        Image image;
        std::uint32_t all, gray;
    } const cases[] = {
        {{Format::xrgb, false, 1, 1, {0x000AC8FF}}, 0xFFF53700, 0xFF0AC8FF},
        {{Format::xrgb, false, 1, 1, {0xFF646464}}, 0xFF9B9B9B, 0xFF9B9B9B},
        {{Format::argb, true, 1, 1, {0x00102030}}, 0x00102030, 0x00102030},  // transparent: colours stay
        {{Format::argb, true, 1, 1, {0x80808080}}, 0x80000000, 0x80000000},  // white, half transparent
        {{Format::argb, true, 1, 1, {0x80000000}}, 0x80808080, 0x80808080},
        {{Format::argb, true, 1, 1, {0x80400000}}, 0x80408080, 0x80400000},
    };
    Plugin host;
    for (const auto& c : cases) {
        const OwnedPicture picture = makePicture(host, c.image);
        const OwnedPicture all = pictureOf(host, "InvertQKZ", {picture});
        const OwnedPicture gray = pictureOf(host, "InvertGrayQKZ", {picture});
        EXPECT_EQ(host.objects.surface(all).word(0, 0), c.all) << std::hex << c.image.words[0];
        EXPECT_EQ(host.objects.surface(gray).word(0, 0), c.gray) << std::hex << c.image.words[0];
    }
}

}  // namespace
}  // namespace qkztest
