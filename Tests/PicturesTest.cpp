// How pictures are opened, copied and made, as far as it shows in what a method returns.
#include "Operations.h"

namespace qkztest {
namespace {

Image sample(int width = 5, int height = 3) { return numbered(Format::xrgb, width, height); }

Image invertedByPlugin(Host& host, PictureHandle picture) {
    return readPicture(host, pictureOf(host, "InvertQKZ", {picture}));
}

const std::string cairoFails = "REALLockPictureDescription with pictureCairoContext failed.",
                  pixmapFails = "REALLockPictureDescription with pictureGdkPixmap failed.",
                  gdFails = "REALLockPictureDescription with pictureGDImagePtr failed.",
                  noAlpha = "HasAlphaChannel property not found.",
                  noConstructor = "Failed to get picture constructor.",
                  pastEnd = "y too big: 3 of 3 in GetRow";

constexpr const char
    *best = "BestRepresentation(width As Integer, height As Integer, scale As Double) As Picture",
    *getMask = "Mask(create As Boolean = True) As Picture", *putMask = "Mask(assigns newMask As Picture)",
    *construct = "Constructor(width as integer, height as integer)",
    *draw =
        "DrawPicture(image As Picture, x As Double, y As Double, destWidth As Double = -10000, "
        "destHeight As Double = -10000, sourceX As Double = 0, sourceY As Double = 0, "
        "sourceWidth As Double = -10000, sourceHeight As Double = -10000)";

TEST(Pictures, KindAndVersionChooseTheRepresentation) {
    for (const double version : {2015.04, 2016.0, 2024.0}) {
        for (const std::int64_t kind : {0, 1, 2, 3, 7}) {
            for (const int missing : {0, 1, 2}) {  // nothing, the representation, the method
                SCOPED_TRACE(testing::Message() << version << " kind " << kind << " missing " << missing);
                Plugin host({.version = version});
                const OwnedPicture picture = makePicture(host, sample());
                const OwnedPicture larger = makePicture(host, sample(10, 6));
                host.objects.picture(picture).kind = kind;
                if (missing != 1) host.objects.picture(picture).representation = larger;
                if (missing == 2) host.faults.omit(best);
                const bool useBest = (kind == 0 || kind == 3) && version >= 2016.0 && missing == 0;
                EXPECT_SAME_IMAGE(invertedByPlugin(host, picture),
                                  inverted(useBest ? sample(10, 6) : sample()));
                EXPECT_EQ(host.objects.picture(larger).descriptionLocks, 0);
            }
        }
    }
}

TEST(Pictures, ResolutionGoesOverWhenBothArePositive) {
    for (const bool alpha : {false, true}) {
        for (const auto& [horizontal, vertical, expected] :
             {std::array{144, 150, 1}, {1, 1, 1}, {0, 150, 0}, {144, 0, 0}, {-1, 5, 0}}) {
            Plugin host;
            const OwnedPicture picture(host.newPicture(3, 3, alpha));
            host.objects.picture(picture).resolution = {horizontal, vertical};
            const OwnedPicture result = pictureOf(host, "InvertQKZ", {picture});
            EXPECT_EQ(host.objects.picture(result).resolution,
                      expected ? (std::array<std::int64_t, 2>{horizontal, vertical})
                               : (std::array<std::int64_t, 2>{72, 72}));
        }
    }
}

TEST(Pictures, ApplicationKindChoosesTheStorage) {
    const struct {
        AppKind app;
        Storage storage;
        bool opens;
        Lines log;
    } cases[] = {
        {AppKind::desktop, Storage::cairo, true, {"result", pastEnd, pastEnd}},
        {AppKind::none, Storage::cairo, true, {"result", pastEnd, pastEnd}},
        {AppKind::console, Storage::gd, true, {"result", pastEnd, pastEnd}},
        {AppKind::web, Storage::gd, true, {"result", pastEnd, pastEnd}},
        {AppKind::none, Storage::gd, true, {cairoFails, pixmapFails, "result", pastEnd, pastEnd}},
        {AppKind::console, Storage::cairo, false, {gdFails, "GetPictureEditor failed"}},
        {AppKind::web, Storage::cairo, false, {gdFails, "GetPictureEditor failed"}},
        {AppKind::desktop,
         Storage::gd,
         false,
         {cairoFails, pixmapFails, "Trying clone....", "set resoluton to 72, 72", cairoFails, pixmapFails,
          "GetPictureEditor failed"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(c.app) << ' ' << static_cast<int>(c.storage));
        Plugin host({.app = c.app, .storage = c.storage});
        const Image image = numbered(c.storage == Storage::gd ? Format::gd : Format::xrgb, 5, 3);
        const OwnedPicture picture = makePicture(host, image);
        Image result;
        EXPECT_EQ(host.log([&] { result = invertedByPlugin(host, picture); }), c.log);
        EXPECT_SAME_IMAGE(result, c.opens ? inverted(image) : Image{});
        EXPECT_EQ(host.faults.asked("Application"), 1);
    }
}

TEST(Pictures, FirstStorageSettlesAnUnknownApplication) {
    for (const bool gdFirst : {true, false}) {
        Plugin host({.app = AppKind::none});
        const OwnedPicture cairo = makePicture(host, sample());
        host.settings.storage = Storage::gd;
        const OwnedPicture gd = makePicture(host, numbered(Format::gd, 5, 3));
        for (const bool useGd : {gdFirst, !gdFirst}) {
            host.settings.storage = useGd ? Storage::gd : Storage::cairo;
            EXPECT_EQ(invertedByPlugin(host, useGd ? gd : cairo).width, useGd == gdFirst ? 5 : 0);
        }
    }
}

TEST(Pictures, NewerHostsOpenNoPixmaps) {
    const StorageCase& pixmap = storages().back();
    SKIP_WITHOUT(pixmap);
    Plugin host({.version = 2017.02, .storage = Storage::pixmap});
    const OwnedPicture picture = makePicture(host, Image{Format::rgb}.blank(4, 4));
    EXPECT_TRUE(host.call("InvertQKZ", {picture}).isNil());
}

TEST(Pictures, PictureThatCannotBeLockedIsCloned) {
    for (const bool alpha : {false, true}) {
        for (const bool wholeNumbers : {false, true}) {
            for (const double version : {2020.0, 2024.0}) {
                SCOPED_TRACE(testing::Message() << alpha << wholeNumbers << version);
                Plugin host({.version = version, .wholeNumberGraphics = wholeNumbers});
                Image image = sample(), white = sample();
                if (alpha) image.format = Format::argb, image.alpha = true;
                const OwnedPicture picture = makePicture(host, image);
                // Were it drawn with this mask on, nothing of the picture would show.
                for (std::uint32_t& word : white.words) word = 0xFFFFFFFF;
                const OwnedPicture mask = makePicture(host, white);
                if (!alpha) host.objects.picture(picture).mask = mask;
                host.objects.picture(picture).resolution = {90, 100};
                host.faults.failCall("REALLockPictureDescription", 1);
                OwnedPicture result;
                const Lines log = host.log([&] { result = pictureOf(host, "InvertQKZ", {picture}); });
                ASSERT_NE(result.get(), nullptr);
                EXPECT_SAME_IMAGE(readPicture(host, result), inverted(image));
                EXPECT_EQ(host.objects.picture(result).resolution, (std::array<std::int64_t, 2>{90, 100}));
                EXPECT_EQ(host.objects.picture(picture).mask, alpha ? nullptr : mask.get());
                Lines expected{cairoFails, "Trying clone....", "set resoluton to 90, 100", pastEnd, pastEnd};
                if (!alpha) expected.insert(expected.begin() + 3, "result");
                if (!alpha) expected.insert(expected.begin() + 1, pixmapFails);
                EXPECT_EQ(log, expected);
            }
        }
    }
}

TEST(Pictures, AlphaPicturesNeedAHostOf201104) {
    for (const double version : {2011.039, 2011.04}) {
        Plugin host({.version = version});
        const OwnedPicture picture(host.newPicture(2, 2, true));
        EXPECT_EQ(invertedByPlugin(host, picture).width, version < 2011.04 ? 0 : 2);
        EXPECT_EQ(host.faults.called("PluginNewInstance"), version < 2011.04 ? 0 : 1);
        const OwnedPicture plain = makePicture(host, sample());
        EXPECT_SAME_IMAGE(invertedByPlugin(host, plain), inverted(sample()));
    }
}

TEST(Pictures, MissingPiecesAreLogged) {
    const struct {
        bool alpha, clone, opens;
        const char* missing;
        Lines log;
    } cases[] = {
        {false, false, true, "REALGetPropValueBool", {noAlpha, noAlpha, "result", pastEnd, pastEnd}},
        {true, false, false, "Picture", {"Failed to allocate picture."}},
        {true, false, false, construct, {noConstructor}},
        {false, false, false, "newPicture", {}},
        {false,
         true,
         true,
         getMask,
         {cairoFails, pixmapFails, "Trying clone....", "No Mask function!?", "set resoluton to 72, 72",
          "result", pastEnd, pastEnd}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.missing);
        Plugin host({}, {c.missing});
        Image image = c.alpha ? Image{Format::argb, true}.blank(5, 3) : sample();
        const OwnedPicture picture = makePicture(host, image);
        if (c.clone) host.faults.failCall("REALLockPictureDescription", 1);
        Image result;
        EXPECT_EQ(host.log([&] { result = invertedByPlugin(host, picture); }), c.log);
        EXPECT_SAME_IMAGE(result, c.opens ? inverted(image) : Image{});
    }
}

TEST(Pictures, NothingIsLoggedWhileTheSwitchIsOff) {
    Plugin host({.app = AppKind::desktop, .storage = Storage::gd}, {"REALGetPropValueBool"});
    const OwnedPicture picture = makePicture(host, Image{Format::gd}.blank(2, 2));
    testing::internal::CaptureStderr();
    EXPECT_TRUE(host.call("InvertQKZ", {picture}).isNil());
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(Services, AreAskedForUntilTheyAreThere) {
    Plugin host({}, {"newPicture"});
    const OwnedPicture picture = makePicture(host, sample());
    for (int i = 1; i <= 3; ++i) {
        EXPECT_SAME_IMAGE(invertedByPlugin(host, picture), Image{});
        EXPECT_EQ(host.faults.asked("newPicture"), i);
    }
    host.faults.offer("newPicture");
    for (int i = 0; i < 2; ++i) {
        EXPECT_SAME_IMAGE(invertedByPlugin(host, picture), inverted(sample()));
        EXPECT_EQ(host.faults.asked("newPicture"), 4);
    }
}

// The services and methods on an Invert's way. Those that count references are not among them: a host
// without them is none.
const char* const onTheWay[] = {"pluginObjectType",
                                "PluginNewInstance",
                                "Picture",
                                "PluginPictureGetType",
                                "REALLoadObjectMethod",
                                "REALGetPropValueInteger",
                                "REALGetPropValueBool",
                                "REALSetPropValueInteger",
                                "REALLockPictureDescription",
                                "REALPictureClearCache",
                                "REALGetPictureMask",
                                "pluginPictureGraphicsGetter",
                                "newPicture",
                                best,
                                getMask,
                                putMask,
                                construct,
                                draw};

/// Faults after which a picture may come out that is not the right one, but one of its size: alpha is not
/// seen, or the copy of a picture that cannot be locked is not drawn or drawn with its mask.
bool mayMislead(std::string_view service, bool cloned) {
    return service == "REALGetPropValueBool" || service == "REALLoadObjectMethod" ||
           (cloned && (service == "pluginPictureGraphicsGetter" || service == draw || service == getMask ||
                       service == putMask));
}

class Faults : public testing::TestWithParam<StorageCase> {};

TEST_P(Faults, GiveNilOrTheRightPicture) {
    const StorageCase& storage = GetParam();
    SKIP_WITHOUT(storage);
    Random random(2);
    Image image = randomImage(random, storage.format, storage.alpha, 4, 3);
    if (storage.format == Format::argb)  // what drawing keeps exactly
        for (std::uint32_t& word : image.words) word |= 0xFF000000;
    for (const char* service : onTheWay) {
        for (const std::int64_t kind : {0, 2}) {
            for (const bool cloned : {false, true}) {
                bool calledOften = true;
                for (int nth = 0; calledOften; ++nth) {  // 0: not there at all
                    SCOPED_TRACE(testing::Message() << service << ", call " << nth << ", kind " << kind
                                                    << (cloned ? ", cloned" : ""));
                    Plugin host(storage.settings);
                    const OwnedPicture picture = makePicture(host, image);
                    host.objects.picture(picture).kind = kind;
                    if (storage.format == Format::xrgb) {
                        const OwnedPicture mask(host.newPicture(4, 3));
                        host.objects.picture(picture).mask = mask;
                    }
                    if (cloned) host.faults.failCall("REALLockPictureDescription", 1);
                    if (nth == 0) {
                        host.faults.omit(service);
                    } else {
                        host.faults.failCall(service, nth);
                    }
                    const int before = host.faults.called(service);
                    const Image result = invertedByPlugin(host, picture);
                    calledOften = nth == 0 || host.faults.called(service) - before >= nth;
                    if (result.words.empty()) continue;
                    if (mayMislead(service, cloned)) {
                        EXPECT_EQ(result.words.size(), image.words.size());
                    } else {
                        EXPECT_SAME_IMAGE(result, inverted(image));
                    }
                }
            }
        }
    }
}

ON_EVERY_STORAGE(Faults);

}  // namespace
}  // namespace qkztest
