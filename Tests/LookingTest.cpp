// What the table of operations cannot say about counting, searching and masks.
#include <algorithm>
#include <array>
#include <limits>

#include "Operations.h"

namespace qkztest {
namespace {

TEST(Looking, NothingIsSeenInAPictureThatCannotBeRead) {
    Plugin host;
    const OwnedPicture empty(host, static_cast<PictureHandle>(host.newInstance("Picture")));
    const OwnedPicture good(host, host.newPicture(2, 2));
    for (const Value& picture : {Value(nullptr), Value(empty.get())}) {
        for (const char* method : {"isGrayQKZ", "isWhiteQKZ", "isBlackQKZ", "HasMaskQKZ"})
            EXPECT_EQ(host.call(method, {picture}), Value(false)) << method;
        EXPECT_EQ(host.call("isGrayQKZ", {picture, 0, 0, 0, 0, 0}), Value(false));
        EXPECT_EQ(host.call("ColornessQKZ", {picture}), Value(0.0));
        EXPECT_EQ(host.call("CountColorQKZ", {picture, Color{0}}), Value(0));
        Value x = 5, y = 5;
        EXPECT_EQ(host.call("FindPictureQKZ", {picture, good.get(), &x, &y}), Value(false));
        EXPECT_EQ(x, Value(0));
        EXPECT_EQ(y, Value(0));
        for (const char* method : {"ScrollVerticalQKZ", "ScrollHorizontalQKZ"})
            for (const int delta : {0, 1})
                EXPECT_EQ(host.call(method, {picture, delta, true, true}),
                          Value(delta == 0 || std::string_view(method) == "ScrollHorizontalQKZ"))
                    << method << ' ' << delta;

        Value blocks[3], count = 5;
        host.call("CountColorsQKZ", {picture, &blocks[0], &blocks[1], &blocks[2], &count});
        EXPECT_EQ(count, Value(-1));
        for (const Value& block : blocks) {  // made before the picture is opened
            ASSERT_FALSE(block.isNil());
            const Owned<REALmemoryBlockStruct> owned(host, block.block());
            EXPECT_EQ(Bytes(host.bytes(owned).begin(), host.bytes(owned).end()), Bytes(1024));
        }
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
        const Owned<REALmemoryBlockStruct> blocks[] = {{host, host.newMemoryBlock(Bytes(1024))},
                                                       {host, host.newMemoryBlock(Bytes(1024))}};
        Value given[3], count;
        Bytes expected[2] = {Bytes(1024), Bytes(1024)};
        for (std::size_t i = 0; i < 3; i++) {
            const auto block = static_cast<std::size_t>(use[i]);
            given[i] = blocks[block].get();
            for (const std::uint32_t word : image.words) expected[block][(word >> (16 - 8 * i) & 255) * 4]++;
        }
        host.call("CountColorsQKZ", {picture.get(), &given[0], &given[1], &given[2], &count});
        EXPECT_EQ(count, Value(35));
        for (std::size_t i = 0; i < 2; i++)
            EXPECT_TRUE(std::ranges::equal(host.bytes(blocks[i]), expected[i])) << i;
    }
}

TEST(CountColors, BlockThatCannotBeMadeLeavesTheOthers) {
    for (int failing = 1; failing <= 3; failing++) {
        Plugin host;
        const OwnedPicture picture(host, host.newPicture(3, 3));
        host.failCall("MemoryBlock", failing);
        Value blocks[3], count = 7;
        host.call("CountColorsQKZ", {picture.get(), &blocks[0], &blocks[1], &blocks[2], &count});
        EXPECT_EQ(count, Value(-1));
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(blocks[i].isNil(), i == failing - 1) << failing << i;
            if (blocks[i].isNil()) continue;
            const Owned<REALmemoryBlockStruct> owned(host, blocks[i].block());
            EXPECT_EQ(Bytes(host.bytes(owned).begin(), host.bytes(owned).end()), Bytes(1024));
        }
    }
}

using Search = OnStorage;

/// Of one to three colours, so that much matches in part.
Image searched(Random& random, const StorageCase& storage) {
    Image image =
        randomImage(random, storage.format, storage.alpha, 3 + random.below(30), 3 + random.below(20));
    const int rarity = 1 + random.below(12);
    for (std::uint32_t& word : image.words)
        word = (word & 0xFF000000) | (random.oneIn(rarity) ? random.of({0x646464U, 0x646465U}) : 0x646664U);
    return image;
}

TEST_P(Search, RepeatedFindsEveryOccurrence) {
    for (std::uint64_t seed = 1; seed <= 150 && !HasFailure(); seed++) {
        Random random(seed);
        Image image = searched(random, storage);
        Image needle = image.blank(1 + random.below(3), 1 + random.below(3));
        const int left = random.below(image.width - needle.width + 1);
        const int top = random.below(image.height - needle.height + 1);
        for (int y = 0; y < needle.height; y++)
            for (int x = 0; x < needle.width; x++) needle.word(x, y) = image.word(left + x, top + y);
        const OwnedPicture picture = makePicture(host, image), piece = makePicture(host, needle);
        const std::int64_t tolerance = 1 + random.below(2);
        std::int64_t startX = 0, startY = 0;
        int found = 0;
        for (bool more = true; more && !HasFailure(); found++) {
            SCOPED_TRACE(testing::Message() << "from " << startX << ", " << startY);
            Cells cells{needle, std::int64_t{0}, std::int64_t{0}, startX, startY, tolerance};
            const Cell expected = operationOf("Find").answer(image, cells);
            Value x = 1, y = 1;
            const Value result =
                host.call("FindPictureQKZ", {picture.get(), piece.get(), &x, &y, startX, startY, tolerance});
            more = result.boolean();
            EXPECT_EQ(Cell(more), expected);
            EXPECT_EQ(Cell(x.integer()), cells[1]);
            EXPECT_EQ(Cell(y.integer()), cells[2]);
            startX = x.integer() + 1;
            startY = y.integer();
        }
        EXPECT_GT(found, 1);
    }
}

TEST_P(Search, PictureInItself) {
    Random random(1);
    const OwnedPicture picture =
        makePicture(host, randomImage(random, storage.format, storage.alpha, 70, 40));
    for (const std::int64_t tolerance : {0, 1}) {
        Value x = 9, y = 9;
        EXPECT_EQ(host.call("FindPictureQKZ", {picture.get(), picture.get(), &x, &y, 0, 0, tolerance}),
                  Value(tolerance > 0));
        EXPECT_EQ(x, Value(0));
        EXPECT_EQ(y, Value(0));
    }
}

/// One pixel tells, which lies beyond the stretches of 64 pixels that are compared at once, and places beyond
/// the 128 that are asked at once.
TEST_P(Search, WideNeedle) {
    const Image blank = Image{storage.format, storage.alpha}.blank(340, 4);
    for (const auto& [x, y] : {std::pair(0, 0), {63, 1}, {64, 1}, {127, 0}, {128, 2}, {138, 2}, {139, 2}})
        for (const int place : {0, 127, 128, 129, 200, -1}) {
            Image image = blank, needle = blank.blank(140, 3);
            needle.word(x, y) ^= 0x400000;
            if (place >= 0) image.word(place + x, 1 + y) ^= 0x400000;
            checkOperation(host, operationOf("Find"), image,
                           {needle, std::int64_t{5}, std::int64_t{5}, std::int64_t{0}, std::int64_t{0},
                            std::int64_t{3}});
        }
}

ON_EVERY_STORAGE(Search);

TEST(HasMask, TellsOfMasksAndMakesNone) {
    const char* const method = "Mask(create As Boolean = True) As Picture";
    for (const double version : {2012.0, 2020.0, 2020.01, 2024.0, 3000.0})
        for (const bool missing : {false, true}) {
            SCOPED_TRACE(testing::Message() << version << (missing ? ", no method" : ""));
            Plugin host({.version = version});
            if (missing) host.omit(method);
            const OwnedPicture picture(host, host.newPicture(2, 2)), mask(host, host.newPicture(2, 2));
            for (const bool has : {false, true, false}) {
                host.setMask(picture, has ? mask.get() : nullptr);
                EXPECT_EQ(host.call("HasMaskQKZ", {picture.get()}), Value(has));
                EXPECT_EQ(host.mask(picture), has ? mask.get() : nullptr);
            }
            const bool byMethod = version > 2020.0 && !missing;
            EXPECT_EQ(host.called(method), byMethod ? 3 : 0);
            EXPECT_EQ(host.called("REALGetPictureMask"), byMethod ? 0 : 3);
        }
}

}  // namespace
}  // namespace qkztest
