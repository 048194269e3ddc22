#include "Operations.h"

namespace qkztest {
namespace {

class Operations : public testing::TestWithParam<std::tuple<Operation, StorageCase>> {};

TEST_P(Operations, EqualNaiveComputation) {
    const auto& [operation, storage] = GetParam();
    SKIP_WITHOUT(storage);
    Plugin host(storage.settings);
    checkOperation(host, operation, storage, 40);
}

INSTANTIATE_TEST_SUITE_P(All, Operations,
                         testing::Combine(testing::ValuesIn(operations()), testing::ValuesIn(storages())),
                         [](const auto& param) {
                             return std::string(std::get<0>(param.param).label) + "_on_" +
                                    std::get<1>(param.param).name;
                         });

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
        const OwnedPicture all = pictureOf(host, "InvertQKZ", {picture.get()});
        const OwnedPicture gray = pictureOf(host, "InvertGrayQKZ", {picture.get()});
        EXPECT_EQ(host.word(all, 0, 0), c.all) << std::hex << c.image.words[0];
        EXPECT_EQ(host.word(gray, 0, 0), c.gray) << std::hex << c.image.words[0];
    }
}

}  // namespace
}  // namespace qkztest
