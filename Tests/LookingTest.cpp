// What the table of operations cannot say about counting, searching and masks.
#include <algorithm>
#include <array>
#include <limits>

#include "Operations.h"

namespace qkztest {
namespace {

/// Counts the colours of a picture that cannot be counted: which of the three blocks are made even so.
std::array<bool, 3> blocksMade(Host& host, const Value& picture) {
    Value blocks[3], count = 5;
    host.call("CountColorsQKZ", {picture, &blocks[0], &blocks[1], &blocks[2], &count});
    EXPECT_EQ(count, Value(-1));
    std::array<bool, 3> made{};
    for (std::size_t i = 0; i < 3; ++i) {
        if (blocks[i].isNil()) continue;
        EXPECT_TRUE(std::ranges::equal(host.objects.bytes(blocks[i].block()), Bytes(1024)));
        made[i] = true;
    }
    return made;
}

TEST(Looking, NothingIsSeenInAPictureThatCannotBeRead) {
    Plugin host;
    const OwnedPicture empty(Value(host.newInstance("Picture")).picture());
    const OwnedPicture good(host.newPicture(2, 2));
    for (const Value& picture : {Value(nullptr), Value(empty.get())}) {
        for (const char* method : {"isGrayQKZ", "isWhiteQKZ", "isBlackQKZ", "HasMaskQKZ"})
            EXPECT_EQ(host.call(method, {picture}), Value(false)) << method;
        EXPECT_EQ(host.call("isGrayQKZ", {picture, 0, 0, 0, 0, 0}), Value(false));
        EXPECT_EQ(host.call("ColornessQKZ", {picture}), Value(0.0));
        EXPECT_EQ(host.call("CountColorQKZ", {picture, Color{0}}), Value(0));
        Value x = 5, y = 5;
        EXPECT_EQ(host.call("FindPictureQKZ", {picture, good, &x, &y}), Value(false));
        EXPECT_EQ(x, Value(0));
        EXPECT_EQ(y, Value(0));
        for (const char* method : {"ScrollVerticalQKZ", "ScrollHorizontalQKZ"}) {
            for (const int delta : {0, 1}) {
                EXPECT_EQ(host.call(method, {picture, delta, true, true}),
                          Value(delta == 0 || std::string_view(method) == "ScrollHorizontalQKZ"))
                    << method << ' ' << delta;
            }
        }

        EXPECT_EQ(blocksMade(host, picture), (std::array{true, true, true}));  // before it is opened
    }
}

TEST(Looking, KnownPixels) {
    const struct {
        std::uint32_t word;
        const char* method;
        std::vector<Value> arguments;
        Value answer;
    } cases[] = {
        {0x646969, "isGrayQKZ", {5}, true},
        {0x64695F, "isGrayQKZ", {5}, false},
        {0x64695F, "isGrayQKZ", {-10}, true},
        {0x64695F, "isGrayQKZ", {std::numeric_limits<std::int64_t>::min()}, true},
        {0xFF0000, "isWhiteQKZ", {1, 0, 5, 5}, true},  // no pixel in it
        {0xFF0000, "isBlackQKZ", {0, 0, 5, 0}, true},
        {0xFF0000, "isBlackQKZ", {-1, 0, -1, 1}, true},  // columns up to the one before the first
        {0xFF0000, "isWhiteQKZ", {0, 0, -1, -1}, false},
        {0xFF0000, "ColornessQKZ", {}, 1.0},
        {0x141D00, "ColornessQKZ", {}, 0.0},  // dark
        {0x646F64, "ColornessQKZ", {10}, 1.0},
        {0x646E64, "ColornessQKZ", {10}, 0.0},
        {0x6E645A, "ColornessQKZ", {}, 0.0},  // red and blue are not compared with each other
        {0x6E645A, "ColornessQKZ", {(std::int64_t{1} << 32) + 9}, 1.0},
    };
    Plugin host;
    for (const auto& c : cases) {
        const OwnedPicture picture = makePicture(host, {Format::xrgb, false, 1, 1, {c.word}});
        std::vector<Value> arguments{picture.get()};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        EXPECT_EQ(host.call(c.method, arguments), c.answer) << c.method << std::hex << ' ' << c.word;
    }
}

TEST(CountColors, OneBlockMayTakeSeveralChannels) {
    Plugin host;
    Random random(1);
    const Image image = randomImage(random, Format::xrgb, false, 7, 5);
    const OwnedPicture picture = makePicture(host, image);
    for (const auto& use : {std::array{0, 0, 1}, {0, 1, 0}, {1, 0, 0}, {0, 0, 0}}) {
        const OwnedBlock blocks[] = {host.objects.newMemoryBlock(Bytes(1024)),
                                     host.objects.newMemoryBlock(Bytes(1024))};
        Value given[3], count;
        Bytes expected[2] = {Bytes(1024), Bytes(1024)};
        for (std::size_t i = 0; i < 3; ++i) {
            const auto block = static_cast<std::size_t>(use[i]);
            given[i] = blocks[block].get();
            for (const std::uint32_t word : image.words) ++expected[block][(word >> (16 - 8 * i) & 255) * 4];
        }
        host.call("CountColorsQKZ", {picture, &given[0], &given[1], &given[2], &count});
        EXPECT_EQ(count, Value(35));
        for (std::size_t i = 0; i < 2; ++i)
            EXPECT_TRUE(std::ranges::equal(host.objects.bytes(blocks[i]), expected[i])) << i;
    }
}

TEST(CountColors, BlockThatCannotBeMadeLeavesTheOthers) {
    for (const int failing : {0, 1, 2}) {
        Plugin host;
        const OwnedPicture picture(host.newPicture(3, 3));
        host.faults.failCall("MemoryBlock", failing + 1);
        EXPECT_EQ(blocksMade(host, picture.get()), (std::array{failing != 0, failing != 1, failing != 2}));
    }
}

using Search = OnStorage;

/// One pixel tells, which lies beyond the stretches of 64 pixels that are compared at once, and places beyond
/// the 128 that are asked at once.
TEST_P(Search, WideNeedle) {
    const Image blank = Image{storage.format, storage.alpha}.blank(340, 4);
    for (const auto& [x, y] : {std::pair(0, 0), {63, 1}, {64, 1}, {127, 0}, {128, 2}, {138, 2}, {139, 2}}) {
        for (const int place : {0, 127, 128, 129, 200, -1}) {
            Image image = blank, needle = blank.blank(140, 3);
            needle.word(x, y) ^= 0x400000;
            if (place >= 0) image.word(place + x, 1 + y) ^= 0x400000;
            checkOperation(host, operationOf("Find"), image,
                           {needle, std::int64_t{5}, std::int64_t{5}, std::int64_t{0}, std::int64_t{0},
                            std::int64_t{3}});
        }
    }
}

ON_EVERY_STORAGE(Search);

/// Pictures large enough, and needles that are found late enough, for the search to learn, and to learn
/// again.
TEST_P(Search, InLargePictures) {
    const Operation& find = operationOf("Find");
    Random random(5);
    for (const auto& [width, height] : {std::pair(640, 300), {90, 700}}) {
        for (int round = 0; round < 12; ++round) {
            Image picture = randomImage(random, storage.format, storage.alpha, width, height);
            const int colors = 2 + round % 3;
            for (std::uint32_t& word : picture.words) {
                word = (word & 0xFF000000) | static_cast<std::uint32_t>(random.below(colors)) * 0x030300;
            }
            const int side = 2 + round;
            Image needle = picture.blank(side, side);
            for (int y = 0; y < side; ++y) {
                for (int x = 0; x < side; ++x) {
                    needle.word(x, y) = picture.word(width - side - 3 + x, height - side - 2 + y) & 0xFFFFFF;
                }
            }
            if (round % 4 == 3) needle.word(side - 1, side - 1) ^= 0x8000;
            checkOperation(host, find, picture,
                           {needle, std::int64_t{0}, std::int64_t{0}, std::int64_t{0}, std::int64_t{0},
                            std::int64_t{round % 2 == 0 ? 3 : 1}});
        }
    }
}

TEST(HasMask, TellsOfMasksAndMakesNone) {
    const char* const method = "Mask(create As Boolean = True) As Picture";
    for (const double version : {2012.0, 2020.0, 2020.01, 2024.0, 3000.0}) {
        for (const bool missing : {false, true}) {
            SCOPED_TRACE(testing::Message() << version << (missing ? ", no method" : ""));
            Plugin host({.version = version});
            if (missing) host.faults.omit(method);
            const OwnedPicture picture(host.newPicture(2, 2)), mask(host.newPicture(2, 2));
            for (const bool has : {false, true, false}) {
                host.objects.picture(picture).mask = has ? mask : nullptr;
                EXPECT_EQ(host.call("HasMaskQKZ", {picture}), Value(has));
                EXPECT_EQ(host.objects.picture(picture).mask, has ? mask.get() : nullptr);
            }
            const bool byMethod = version > 2020.0 && !missing;
            EXPECT_EQ(host.faults.called(method), byMethod ? 3 : 0);
            EXPECT_EQ(host.faults.called("REALGetPictureMask"), byMethod ? 0 : 3);
        }
    }
}

}  // namespace
}  // namespace qkztest
