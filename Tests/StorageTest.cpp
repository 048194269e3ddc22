// Storage that is not what a picture says it is: descriptions too large or of something else, surfaces
// smaller than their picture, missing rows. And what Cairo is told.
#include <cairo.h>
#include <gd.h>

#include <climits>
#include <deque>
#include <memory>

#include "Operations.h"
#include "PictureString.h"

namespace qkztest {
namespace {

using Context = std::unique_ptr<cairo_t, decltype(&cairo_destroy)>;

const Settings onGd{.app = AppKind::console, .storage = Storage::gd};
constexpr std::uint32_t white = 0xFFFFFFFF;

Image part(const Image& image, const Rectangle& area) {
    Image result = image.blank(area.right - area.left, area.bottom - area.top);
    for (int y = 0; y < result.height; ++y)
        for (int x = 0; x < result.width; ++x) result.word(x, y) = image.word(area.left + x, area.top + y);
    return result;
}

Image filled(Image image, const Rectangle& area, std::uint32_t word) {
    for (int y = area.top; y < area.bottom; ++y)
        for (int x = area.left; x < area.right; ++x) image.word(x, y) = word;
    return image;
}

TEST(Storage, DescriptionOfGdLiesWithinItsImage) {
    const struct {
        const char* name;
        void (*change)(REALpictureDescription&, gdImage&);
        int width = 0, height = 0;  // that are seen, if it is taken
    } cases[] = {
        {"as it is", [](auto&, auto&) {}, 3, 2},
        {"narrower", [](auto& d, auto&) { d.width = 2; }, 2, 2},
        {"lower", [](auto& d, auto&) { d.height = 1; }, 3, 1},
        {"wider", [](auto& d, auto&) { d.width = 4; }},
        {"higher", [](auto& d, auto&) { d.height = 3; }},
        {"widest", [](auto& d, auto&) { d.width = INT_MAX; }},
        {"width below 0", [](auto& d, auto&) { d.width = -1; }},
        {"height below 0", [](auto& d, auto&) { d.height = INT_MIN; }},
        {"image narrower", [](auto&, auto& image) { image.sx = 2; }},
        {"another type", [](auto& d, auto&) { d.nativeType = pictureCairoContext; }},
        {"nothing", [](auto& d, auto&) { d.handle = nullptr; }},
        {"palette", [](auto&, auto& i) { i.pixels = reinterpret_cast<unsigned char**>(i.tpixels); }},
        {"no true colour", [](auto&, auto& image) { image.trueColor = 0; }},
        {"no rows", [](auto&, auto& image) { image.tpixels = nullptr; }},
    };
    const Image image = numbered(Format::gd, 3, 2);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Plugin host(onGd);
        const OwnedPicture picture = makePicture(host, image);
        bool ofTheResult = false;
        gdImage copy;
        host.faults.answerLock = [&](PictureHandle p, REALpictureDescription& d, bool locked) {
            if (ofTheResult != (p == picture.get())) {
                copy = *static_cast<gdImage*>(d.handle);
                d.handle = &copy;
                c.change(d, copy);
            }
            return locked;
        };
        const Rectangle seen{0, 0, c.width, c.height};
        const Image expected = c.width > 0 ? inverted(part(image, seen)) : Image{};
        EXPECT_SAME_IMAGE(readPicture(host, pictureOf(host, "InvertQKZ", {picture})), expected);
        host.call("ScrollHorizontalQKZ", {picture, 9, false, false});
        EXPECT_SAME_IMAGE(readPicture(host, picture), filled(image, seen, white));
        EXPECT_EQ(host.objects.picture(picture).descriptionLocks, 0);
        ofTheResult = true;  // in which nothing is written elsewhere
        const Image result = readPicture(host, pictureOf(host, "InvertQKZ", {picture}));
        EXPECT_EQ(result.words.empty(), c.width == 0);
        EXPECT_SAME_IMAGE(filled(result, seen, 0), result.blank());
    }
}

TEST(Storage, PixmapOfNoSizeIsDrawnIntoACopy) {
    if (!pixmapObstacle().empty()) GTEST_SKIP() << pixmapObstacle();
    Plugin host({.version = 2016.04, .storage = Storage::pixmap});
    const Image image = numbered(Format::rgb, 8, 12);  // GDK would take -1 for all of it
    const OwnedPicture picture = makePicture(host, image);
    for (std::int32_t REALpictureDescription::*side :
         {&REALpictureDescription::width, &REALpictureDescription::height}) {
        host.faults.answerLock = [&](PictureHandle p, REALpictureDescription& d, bool locked) {
            if (p == picture.get()) d.*side = -1;
            return locked;
        };
        const Owned packed(host.call("PicturetoBinaryStringQKZ", {picture}).string());
        EXPECT_EQ(host.objects.text(packed).size(), 40U + 8 * 12 * 3);
    }
}

/// A Cairo context on an image surface of its own.
Context contextOn(cairo_surface_t* surface) {
    Context context(cairo_create(surface), &cairo_destroy);
    cairo_surface_destroy(surface);  // the context's reference remains
    return context;
}

TEST(Storage, CairoContextWithoutWordsIsRefused) {
    const Context recording = contextOn(cairo_recording_surface_create(CAIRO_CONTENT_COLOR, nullptr));
    const Context bytes = contextOn(cairo_image_surface_create(CAIRO_FORMAT_A8, 300, 2));
    const struct {
        std::uint32_t type;
        void* handle;
        Lines log;
    } cases[] = {
        {pictureCairoContext, nullptr, {"Cairo context is nil"}},
        {pictureGDImagePtr, bytes.get(), {"Picture is not a cairo context"}},
        {pictureCairoContext, recording.get(), {"width is <= 0"}},
        {pictureCairoContext, bytes.get(), {}},
    };
    const Image image = numbered(Format::xrgb, 300, 2);
    for (const auto& c : cases) {
        Plugin host;
        const OwnedPicture picture = makePicture(host, image);
        host.faults.answerLock = [&](PictureHandle, REALpictureDescription& d, bool locked) {
            if (locked) d = {c.type, c.handle, d.width, d.height, d.depth, d.transparent};
            return locked;
        };
        Lines expected = c.log;
        expected.insert(expected.end(), {"REALLockPictureDescription with pictureGdkPixmap failed.",
                                         "GetPictureEditor failed"});
        EXPECT_EQ(host.log([&] { host.call("ScrollVerticalQKZ", {picture, 1, true, false}); }), expected);
        EXPECT_SAME_IMAGE(readPicture(host, picture), image);
        EXPECT_EQ(host.objects.picture(picture).descriptionLocks, 0);
    }
}

TEST(Storage, CairoSurfaceBoundsItsPicture) {
    const Rectangle window{1, 1, 4, 3};
    const Image around = numbered(Format::xrgb, 6, 5), source = numbered(Format::xrgb, 5, 4);
    Plugin host;
    const OwnedPicture picture = makePicture(host, source);
    const Value self = picture.get();
    const struct {
        const char* method;
        std::vector<Value> arguments;
        bool inPlace = false;
    } cases[] = {{"InvertQKZ", {self}},
                 {"ExtractColorRectangleMaskQKZ", {self}},
                 {"CombinePicturesQKZ", {self, self, self}},
                 {"BinaryStringtoPictureQKZ", {packedPicture(source)}},
                 {"ScrollHorizontalQKZ", {self, 1, true, false}, true}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.method);
        const OwnedPicture frame = makePicture(host, around);
        const Context context = contextOn(
            cairo_image_surface_create_for_data(host.objects.surface(frame).row(1) + 4, CAIRO_FORMAT_RGB24, 3,
                                                2, static_cast<int>(host.objects.surface(frame).rowBytes())));
        bool ofThePicture = true;
        host.faults.answerLock = [&](PictureHandle p, REALpictureDescription& d, bool locked) {
            if (locked && ofThePicture == (p == picture.get())) d.handle = context.get();
            return locked;
        };
        EXPECT_SAME_IMAGE(readPicture(host, pictureOf(host, "InvertQKZ", {self})),
                          inverted(part(around, window)));
        ofThePicture = c.inPlace;
        host.call(c.method, c.arguments);
        const Image written = readPicture(host, frame);
        EXPECT_NE(written, around);
        EXPECT_SAME_IMAGE(filled(written, window, 0), filled(around, window, 0));
    }
}

TEST(Storage, CairoIsToldOfNewPixels) {
    Plugin host;
    Image image = Image{Format::argb, true}.blank(3, 2);
    for (std::uint32_t& word : image.words) word = 0xFF336699;
    const OwnedPicture scrolled = makePicture(host, image), masked = makePicture(host, image);
    // Cairo draws a new surface as empty until it is told of pixels in it.
    const auto drawn = [&](PictureHandle picture) {
        const OwnedPicture canvas(host.newPicture(3, 2, true));
        const auto surfaceOf = [&](PictureHandle each) {
            return cairo_get_target(
                static_cast<cairo_t*>(host.objects.surface(each).nativeHandle(pictureCairoContext)));
        };
        const Context context(cairo_create(surfaceOf(canvas)), &cairo_destroy);
        cairo_set_source_surface(context.get(), surfaceOf(picture), 0, 0);
        cairo_paint(context.get());
        return readPicture(host, canvas);
    };
    EXPECT_SAME_IMAGE(drawn(scrolled), image.blank());
    host.call("ScrollHorizontalQKZ", {scrolled, 1, true, false});
    host.assign("EmbeddedMaskQKZ", {masked, true}, masked.get());
    const OwnedPicture made = pictureOf(host, "InvertQKZ", {scrolled});
    for (const OwnedPicture* written : {&scrolled, &masked, &made})
        EXPECT_SAME_IMAGE(drawn(*written), readPicture(host, *written));
}

/// Takes a row away from a GD image for as long as it lives.
class WithoutRow {
 public:
    WithoutRow(void* image, int y)
        : row_(&static_cast<gdImage*>(image)->tpixels[y]), kept_(std::exchange(*row_, nullptr)) {}
    WithoutRow(const WithoutRow&) = delete;
    ~WithoutRow() { *row_ = kept_; }

 private:
    int** row_;
    int* kept_;
};

class MissingRow : public testing::TestWithParam<int> {
 protected:
    MissingRow() {
        std::uint32_t next = 0;
        for (std::uint32_t& word : image_.words) word = ++next * 0x010101;
        for (int x = 0; x < 5; ++x) image_.word(x, GetParam()) &= 0xFF;
        picture_ = makePicture(host_, image_);
    }
    /// Calls without the row in the picture.
    Value without(const char* method, const std::vector<Value>& arguments) {
        const WithoutRow missing(host_.objects.surface(picture_).nativeHandle(pictureGDImagePtr), GetParam());
        return host_.call(method, arguments);
    }
    Image pictureWithout(const char* method, const std::vector<Value>& arguments) {
        return readPicture(host_, OwnedPicture(without(method, arguments).picture()));
    }
    /// Calls without the row in the picture that is made.
    Image madeWithout(const char* method, const std::vector<Value>& arguments) {
        OwnedPicture result;
        {
            std::deque<WithoutRow> missing;
            host_.faults.answerLock = [&](PictureHandle p, REALpictureDescription& d, bool locked) {
                if (p != picture_.get()) missing.emplace_back(d.handle, GetParam());
                return locked;
            };
            result = pictureOf(host_, method, arguments);
        }
        host_.faults.answerLock = nullptr;
        return readPicture(host_, result);
    }
    /// The image as if the row had not been written.
    Image rest(const Image& image) const { return filled(image, {0, GetParam(), 5, GetParam() + 1}, 0); }

    Plugin host_{onGd};
    Image image_ = Image{Format::gd}.blank(5, 4);  // gray but for the row
    OwnedPicture picture_;
};

TEST_P(MissingRow, OfASourceIsLeftOut) {
    const Value self = picture_.get();
    const int present = (GetParam() + 1) % 4;
    EXPECT_SAME_IMAGE(pictureWithout("InvertQKZ", {self}), rest(inverted(image_)));
    EXPECT_SAME_IMAGE(pictureWithout("MergePictureQKZ", {self, self}), rest(image_));
    EXPECT_SAME_IMAGE(pictureWithout("ExtractColorRectangleMaskQKZ", {self}),
                      filled(image_, {0, 0, 5, 4}, 0xFFFFFF));
    const OwnedString string(without("PicturetoBinaryStringQKZ", {self}).string());
    EXPECT_EQ(host_.objects.text(string), packedPicture(rest(image_)));
    EXPECT_EQ(without("isGrayQKZ", {self}), Value(true));
    EXPECT_EQ(without("CountColorQKZ", {self, Color{image_.word(0, GetParam())}}), Value(0));
    EXPECT_EQ(without("CountColorQKZ", {self, Color{image_.word(4, present)}}), Value(1));
    // Nothing is found in it, nor it in a picture of its other rows.
    Image others = image_.blank();
    std::copy_if(image_.words.begin(), image_.words.end(), others.words.begin(),
                 [](auto w) { return w > 20; });
    const OwnedPicture pixel = makePicture(host_, part(image_, {4, present, 5, present + 1})),
                       searched = makePicture(host_, others);
    Value x, y;
    EXPECT_EQ(without("FindPictureQKZ", {self, pixel.get(), &x, &y}), Value(false));
    EXPECT_EQ(without("FindPictureQKZ", {searched.get(), self, &x, &y}), Value(false));
}

TEST_P(MissingRow, OfAResultIsLeftOut) {
    const Value self = picture_.get();
    EXPECT_SAME_IMAGE(madeWithout("InvertQKZ", {self}), rest(inverted(image_)));
    EXPECT_SAME_IMAGE(madeWithout("BinaryStringtoPictureQKZ", {packedPicture(image_)}), rest(image_));
    EXPECT_SAME_IMAGE(madeWithout("ExtractColorRectangleMaskQKZ", {self}),
                      rest(readPicture(host_, pictureOf(host_, "ExtractColorRectangleMaskQKZ", {self}))));
    const OwnedBlock samples(host_.objects.newMemoryBlock({0, 255, 0, 255, 128, 128, 255, 0}));
    for (const int outline : {0, 1, 2}) {
        const std::vector<Value> arguments{samples.get(), 8, 0, 5, 4, outline};
        EXPECT_SAME_IMAGE(madeWithout("RenderSamplesQKZ", arguments),
                          rest(readPicture(host_, pictureOf(host_, "RenderSamplesQKZ", arguments))));
    }
}

/// Rows move past it: what would come from it or go there stays where it is.
TEST_P(MissingRow, StaysOutOfScrolling) {
    const auto moved = [&](int right, int down, bool wrap) {
        Image result = image_;
        for (int y = 0; y < 4; ++y) {
            const int from = wrap ? (y - down + 4) % 4 : y - down;
            for (int x = 0; x < 5 && y != GetParam() && from != GetParam(); ++x)
                result.word(x, y) = from < 0 || from > 3 ? white : image_.word((x - right + 5) % 5, from);
        }
        return result;
    };
    const struct {
        const char* method;
        int delta;
        bool wrap;
        Image expected;
    } cases[] = {
        {"ScrollVerticalQKZ", 1, true, moved(0, 1, true)},
        {"ScrollVerticalQKZ", 1, false, moved(0, 1, false)},
        {"ScrollVerticalQKZ", -1, false, moved(0, -1, false)},
        {"ScrollVerticalQKZ", 4, false, moved(0, 9, false)},
        {"ScrollHorizontalQKZ", 5, false, moved(0, 9, false)},
        {"ScrollHorizontalQKZ", 1, true, moved(1, 0, true)},
    };
    for (const auto& c : cases) {
        picture_ = makePicture(host_, image_);
        EXPECT_EQ(without(c.method, {picture_.get(), c.delta, c.wrap, false}), Value(true));
        EXPECT_SAME_IMAGE(readPicture(host_, picture_), c.expected) << &c - cases;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, MissingRow, testing::Values(0, 1, 2, 3));

}  // namespace
}  // namespace qkztest
