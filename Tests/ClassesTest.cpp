// The two classes' objects: what they hold, when they release it, and a few well-known pixels.
#include "Operations.h"

namespace qkztest {
namespace {

struct Setting {
    const char* name;
    Value value;
};

Image row(std::vector<std::uint32_t> words) {
    const int width = static_cast<int>(words.size());
    return {Format::xrgb, false, width, 1, std::move(words)};
}

bool run(Host& host, REALobjectStruct* object) { return host.call("Run", {object}).boolean(); }

void set(Host& host, REALobjectStruct* object, const char* name, const Value& value) {
    EXPECT_TRUE(host.setProperty(object, name, value)) << name;
}

OwnedPicture destination(Host& host, REALobjectStruct* object) {
    return host.property(object, "DestinationPicture").value().picture();
}

TEST(Sepia, StartsWithCrossedWeights) {
    Plugin host;
    const OwnedObject object(host.newInstance("PictureSepiaQKZ"));
    EXPECT_EQ(host.property(object, "FactorRed"), Value(0.299));
    EXPECT_EQ(host.property(object, "FactorBlue"), Value(0.587));
    EXPECT_EQ(host.property(object, "FactorGreen"), Value(0.114));
    for (const char* name : {"MinX", "MinY", "MaxX", "MaxY", "SepiaRed", "SepiaGreen", "SepiaBlue"})
        EXPECT_EQ(host.property(object, name), Value(0)) << name;
    for (const char* name : {"SourcePicture", "DestinationPicture"})
        EXPECT_TRUE(host.property(object, name).value().isNil()) << name;
}

TEST(Sepia, WellKnownPixels) {
    const Image five = row({0xFFFFFFFF, 0xFF000000, 0xFFFF0000, 0xFF00FF00, 0xFF0000FF});
    const struct {
        std::vector<Setting> settings;
        std::vector<std::uint32_t> expected;  // without the top byte; outside the block the word is 0
    } cases[] = {
        {{}, {0xFEFEFE, 0, 0x4C4C4C, 0x959595, 0x1C1C1C}},
        {{{"SepiaRed", 40}, {"SepiaGreen", 20}}, {0xFFFFFE, 0x281400, 0x74604C, 0xBDA995, 0x44301C}},
        {{{"FactorBlue", 0.0}}, {0x696969, 0, 0x4C4C4C, 0, 0x1C1C1C}},
        {{{"FactorGreen", 0.0}}, {0xE1E1E1, 0, 0x4C4C4C, 0x959595, 0}},
        {{{"SepiaBlue", (std::int64_t{1} << 32) + 5}}, {0xFEFEFF, 0x000005, 0x4C4C51, 0x95959A, 0x1C1C21}},
        {{{"SepiaRed", 0xFFFFFFFF}}, {0xFDFEFE, 0, 0x4B4C4C, 0x949595, 0x1B1C1C}},  // -1
        {{{"MinX", 2}, {"MaxX", 4}}, {0xFEFEFE, 0}},
        {{{"MinX", 2}, {"MaxX", 9}}, {0xFEFEFE, 0, 0x4C4C4C}},
        {{{"MinX", 9}, {"MaxX", 3}}, {}},
        {{{"MinY", 1}}, {}},
    };
    Plugin host;
    const OwnedPicture source = makePicture(host, five);
    for (const auto& c : cases) {
        const OwnedObject object(host.newInstance("PictureSepiaQKZ"));
        set(host, object, "SourcePicture", source.get());
        for (const Setting& setting : c.settings) set(host, object, setting.name, setting.value);
        EXPECT_TRUE(run(host, object));
        Image expected = five.blank();
        for (std::size_t i = 0; i < c.expected.size(); ++i) expected.words[i] = 0xFF000000 | c.expected[i];
        EXPECT_SAME_IMAGE(readPicture(host, destination(host, object)), expected) << &c - cases;
    }
}

class Runs : public testing::TestWithParam<const char*> {};

TEST_P(Runs, FailAndChangeNothing) {
    Plugin host;
    const OwnedObject object(host.newInstance(GetParam()));
    EXPECT_FALSE(run(host, object));
    const OwnedPicture source = makePicture(host, row({0x102030})), old = makePicture(host, row({1, 2}));
    const OwnedObject unreadable(host.newInstance("Picture"));
    set(host, object, "DestinationPicture", old.get());
    set(host, object, "SourcePicture", unreadable.get());
    EXPECT_FALSE(run(host, object));
    set(host, object, "SourcePicture", source.get());
    host.faults.failCall("newPicture", 1);
    const Census before = host.objects.census();
    EXPECT_FALSE(run(host, object));
    EXPECT_EQ(host.objects.census(), before);
    EXPECT_EQ(destination(host, object).get(), old.get());
}

TEST_P(Runs, ReplaceTheDestination) {
    const bool releases = std::string_view(GetParam()) == "PictureLut3DQKZ";
    Plugin host;
    const OwnedObject object(host.newInstance(GetParam()));
    const OwnedPicture source = makePicture(host, row({0x102030}));
    set(host, object, "SourcePicture", source.get());
    EXPECT_TRUE(run(host, object));
    const PictureHandle first = destination(host, object).get();
    // Even when it is the source of the next run.
    set(host, object, "SourcePicture", first);
    EXPECT_TRUE(run(host, object));
    const PictureHandle second = destination(host, object).get();
    EXPECT_NE(first, second);
    set(host, object, "SourcePicture", nullptr);
    // The Sepia class keeps the earlier one alive: programs may still use it without a reference.
    EXPECT_EQ(host.objects.classOf(first), releases ? "" : "Picture");
    if (!releases) host.objects.unlock(first);
    EXPECT_EQ(host.objects.classOf(first), "");

    set(host, object, "SourcePicture", source.get());
    for (int i = 0; i < 2; ++i) {
        host.call("Close", {object});
        for (const char* name : {"SourcePicture", "DestinationPicture"})
            EXPECT_TRUE(host.property(object, name).value().isNil()) << name;
        EXPECT_EQ(host.objects.classOf(second), "");
    }
    EXPECT_FALSE(run(host, object));
}

INSTANTIATE_TEST_SUITE_P(All, Runs, testing::Values("PictureSepiaQKZ", "PictureLut3DQKZ"));

/// In large areas blue is interpolated once for all pixels.
TEST(Lut3D, LargePicturesAreComputedAlike) {
    Plugin host;
    Random random(3);
    for (std::int64_t seed = 1; seed <= 5; ++seed) {
        const Image picture = randomImage(random, Format::xrgb, false, 1024, 520);
        checkOperation(host, operationOf("Lut3D"), picture,
                       {std::int64_t{0}, std::int64_t{0}, std::int64_t{0}, std::int64_t{0}, seed});
    }
}

TEST(Lut3D, TableKeepsWhatIsWithinIt) {
    Plugin host;
    const OwnedObject object(host.newInstance("PictureLut3DQKZ"));
    const OwnedObject neighbour(host.newInstance("PictureLut3DQKZ"));
    const auto entry = [&](REALobjectStruct* of, std::int64_t r, std::int64_t g, std::int64_t b,
                           std::int64_t x) {
        return host.call("Table", {of, r, g, b, x}).real();
    };
    for (const bool written : {false, true}) {
        double next = 0.5;
        for (const int r : {0, 1, 17}) {
            for (const int g : {0, 2, 17}) {
                for (const int b : {0, 3, 17}) {
                    for (const int x : {0, 1, 2}) {
                        EXPECT_EQ(entry(object, r, g, b, x), written ? next : 0);
                        host.assign("Table", {object, r, g, b, x}, next++);
                    }
                }
            }
        }
    }
    constexpr std::int64_t largest = 0xFFFFFFFF;
    for (const auto& [r, g, b, x] : {std::array<std::int64_t, 4>{18, 0, 0, 0},
                                     {0, 18, 0, 0},
                                     {0, 0, 18, 0},
                                     {0, 0, 0, 3},
                                     {largest, largest, largest, largest},
                                     {0x80000000, 17, 17, 2}}) {
        host.assign("Table", {object, r, g, b, x}, 7.0);
        EXPECT_EQ(entry(object, r, g, b, x), 0);
    }
    EXPECT_EQ(entry(object, 0, 0, 0, 0), 0.5);
    EXPECT_EQ(entry(neighbour, 17, 17, 17, 2), 0);
}

TEST(Lut3D, WellKnownPixels) {
    Plugin host;
    const OwnedObject object(host.newInstance("PictureLut3DQKZ"));
    // Red follows red, green is blue's index alone, blue the sum of all: at the cells' corners exactly.
    for (int r = 0; r < 18; ++r) {
        for (int g = 0; g < 18; ++g) {
            for (int b = 0; b < 18; ++b) {
                const double values[] = {r * 10.0, b * 20.0 - 100, r + g + b + 0.5};
                for (int x = 0; x < 3; ++x) host.assign("Table", {object, r, g, b, x}, values[x]);
            }
        }
    }
    // Value v lies v mod 17 / 17 of the way from index min(v div 17 + 1, 15) to the next.
    const OwnedPicture source = makePicture(host, row({0xFF000000, 0x00112233, 0xFFFFFFFF, 0xFF08F0EF}));
    set(host, object, "SourcePicture", source.get());
    EXPECT_TRUE(run(host, object));
    EXPECT_SAME_IMAGE(readPicture(host, destination(host, object)),
                      row({0xFF0A0003, 0xFF140009, 0xFF96C82D, 0xFF0EC920}));
    set(host, object, "MinX", 1);
    set(host, object, "MaxX", 2);
    EXPECT_TRUE(run(host, object));
    EXPECT_SAME_IMAGE(readPicture(host, destination(host, object)),
                      row({0xFF000000, 0xFF140009, 0xFFFFFFFF, 0xFF08F0EF}));
}

}  // namespace
}  // namespace qkztest
