// Picture editors and helpers, where a method's result does not show them.
#include <limits>

#include "PluginMain.h"
#include "Support.h"
#include "rbgtk.h"
#include "rbpictureUtil.h"
#include "rbpicturereader.h"

namespace qkztest {
namespace {

struct Writer : PictureWriter {
    using PictureEditor::bytesPerPixel_, PictureEditor::errorCount_, PictureEditor::nativeLayout_,
        PictureEditor::pixelBase_, PictureEditor::rowTable_;
    using PictureEditor::GetPictureEditor;
};

TEST(Editors, RowsOfEveryStorage) {
    for (const StorageCase& storage : storages()) {
        if (storage.settings.storage == Storage::pixmap && !pixmapObstacle().empty()) continue;
        SCOPED_TRACE(storage.name);
        Plugin host(storage.settings);
        const OwnedPicture picture(host.newPicture(7, 4, storage.alpha));
        {
            PictureReader reader;
            ASSERT_TRUE(reader.GetPictureReader(picture));
            EXPECT_EQ(host.objects.picture(picture).descriptionLocks, 1);
            EXPECT_EQ(reader.width(), 7);
            EXPECT_EQ(reader.height(), 4);
            EXPECT_EQ(static_cast<Format>(reader.format()), storage.format);
            EXPECT_EQ(reader.hasAlpha(), storage.alpha);
            const std::uint8_t* const first = reader.currentRow();
            for (int y = 0; y < 4; ++y) reader.AddPixelRow();
            EXPECT_EQ(reader.currentRow(), first);           // row 4 is row 0
            EXPECT_FALSE(reader.GetPictureReader(nullptr));  // opening begins with closing
            EXPECT_EQ(host.objects.picture(picture).descriptionLocks, 0);
            EXPECT_TRUE(reader.GetPictureReader(picture));
        }
        EXPECT_EQ(host.objects.picture(picture).descriptionLocks, 0);
    }
}

TEST(Editors, RowErrorsAreCountedAndLoggedNineTimes) {
    Plugin host;
    const OwnedPicture picture(host.newPicture(2, 3));
    Writer editor;
    ASSERT_TRUE(editor.GetPictureEditor(picture));
    EXPECT_EQ(host.log([&] {
        EXPECT_EQ(editor.GetRow(-1), editor.pixelBase_ - editor.rowBytes());
        EXPECT_EQ(editor.GetRow(3), editor.pixelBase_);
        EXPECT_EQ(editor.GetRow(100), editor.pixelBase_);
        EXPECT_EQ(editor.GetRow(2), editor.pixelBase_ + 2 * editor.rowBytes());
    }),
              (Lines{"y is too small -1", "y too big: 3 of 3 in GetRow", "y too big: 100 of 3 in GetRow"}));
    EXPECT_EQ(editor.errorCount_, 3);
    const auto fail = [&](int times) {
        for (int i = 0; i < times; ++i) editor.GetRow(3);
    };
    fail(4);  // counted, whether logged or not
    EXPECT_EQ(host.log([&] { fail(5); }).size(), 2u);
    EXPECT_EQ(editor.errorCount_, 12);
    editor.clear();
    EXPECT_EQ(editor.errorCount_, 0);
    Writer closed;
    EXPECT_EQ(host.log([&] { EXPECT_EQ(closed.GetRow(0), nullptr); }),
              (Lines{"Warning: Pixelbase is nil!", "y too big: 0 of 0 in GetRow"}));
}

TEST(Editors, MissingGdRow) {
    Plugin host({.app = AppKind::console, .storage = Storage::gd});
    const OwnedPicture picture(host.newPicture(2, 3));
    Writer editor;
    ASSERT_TRUE(editor.GetPictureEditor(picture));
    EXPECT_EQ(editor.nativeLayout_, 6);
    std::uint8_t* const row = std::exchange(editor.rowTable_[1], nullptr);
    EXPECT_EQ(host.log([&] { EXPECT_EQ(editor.GetRow(1), nullptr); }), Lines{"r is nil!"});
    editor.rowTable_[1] = row;
    EXPECT_EQ(editor.errorCount_, 1);
}

TEST(Editors, WritersRefuseSizes) {
    const std::int64_t huge = std::numeric_limits<std::int64_t>::max();
    const struct {
        std::int64_t width, height;
        const char* log;
    } cases[] = {{0, 0, "width < 1"},           {-huge, 1, "width < 1"},      {32768, 0, "height < 1"},
                 {huge, huge, "width > 32767"}, {1, 32768, "height > 32767"}, {32767, 1, "result"}};
    Plugin host;
    for (const auto& c : cases)
        EXPECT_EQ(host.log([&] { PictureWriter().NewPictureWriter(c.width, c.height); }), Lines{c.log});
    PictureWriter alpha;
    EXPECT_FALSE(alpha.NewPictureWriterWithAlphaChannel(0, 10) ||
                 alpha.NewPictureWriterWithAlphaChannel(10, -huge));
    EXPECT_EQ(host.faults.called("PluginNewInstance"), 0);
    // Beyond 32767 it is for the host to say.
    EXPECT_FALSE(alpha.NewPictureWriterWithAlphaChannel(32768, 1));
    EXPECT_EQ(host.faults.called("PluginNewInstance"), 1);
}

TEST(Editors, WriterReusesALargeEnoughPicture) {
    const struct {
        int width, height;
        std::int64_t kind;
        Lines log;
    } cases[] = {{6, 5, 2, {"reuse picture"}},
                 {4, 3, 2, {"reuse picture"}},
                 {9, 2, 2, {"result"}},
                 {6, 5, 1, {"reuse picture", "Create new picture", "result"}}};
    Plugin host;
    for (const auto& c : cases) {
        const OwnedPicture destination(host.newPicture(c.width, c.height));
        host.objects.picture(destination).kind = c.kind;
        PictureWriter writer;
        EXPECT_EQ(host.log([&] { EXPECT_TRUE(writer.NewPictureWriter(destination, 4, 3)); }), c.log);
        const bool reused = c.log.size() == 1 && c.log[0] != "result";
        EXPECT_EQ(writer.width(), reused ? c.width : 4);
        const OwnedPicture result(writer.RenderPictureWriter());
        EXPECT_EQ(result.get() == destination.get(), reused);
    }
}

TEST(Editors, ResultIsThePictureThatWasOpened) {
    Plugin host;
    const OwnedPicture picture(host.newPicture(2, 2));
    Writer editor;
    EXPECT_EQ(editor.RenderPictureWriter(), nullptr);
    EXPECT_TRUE(editor.GetPictureEditor(picture));
    const OwnedPicture result(editor.RenderPictureWriter());
    EXPECT_EQ(result.get(), picture.get());
    EXPECT_EQ(host.objects.picture(picture).descriptionLocks, 0);
}

TEST(Editors, CopiesOfPixmapsAreReleased) {
    SKIP_WITHOUT(storages().back());
    Plugin host(storages().back().settings);
    const OwnedPicture picture(host.newPicture(2, 2));
    PictureReader reader;
    ASSERT_TRUE(reader.GetPictureReader(picture));
    static int released = 0;
    static void (*const unref)(GdkPixbuf*) = Gdk.gdk_pixbuf_unref;
    Gdk.gdk_pixbuf_unref = [](GdkPixbuf* pixbuf) { unref(pixbuf), ++released; };
    EXPECT_TRUE(reader.GetPictureReader(picture));
    EXPECT_EQ(released, 1);
    reader.clear();
    EXPECT_EQ(released, 2);
    Gdk.gdk_pixbuf_unref = unref;
}

TEST(Editors, PictureOfBothApplicationKindsIsRefused) {
    Plugin host;
    const OwnedPicture picture(host.newPicture(2, 2));
    Application.checked = Application.desktop = Application.console = true;
    PictureReader reader;
    EXPECT_FALSE(reader.GetPictureReader(picture));
    EXPECT_EQ(host.faults.called("REALLockPictureDescription"), 0);
}

TEST(PictureHelpers, Resolution) {
    Plugin host;
    const OwnedPicture source(host.newPicture(4, 5)), target(host.newPicture(1, 1));
    using Both = std::array<std::int64_t, 2>;
    for (const Both given : {Both{0, 100}, Both{90, 0}, Both{-1, 100}, Both{90, 100}}) {
        host.objects.picture(source).resolution = {given[0], given[1]};
        const bool good = given == Both{90, 100};
        EXPECT_EQ(host.log([&] { ApplyResolution(source, target); }),
                  good ? Lines{"set resoluton to 90, 100"} : Lines{});
        EXPECT_EQ(host.objects.picture(target).resolution, good ? given : (Both{72, 72}));
    }
    ApplyResolution(nullptr, target);
    ApplyResolution(source, nullptr);
    SetPictureHorizontalResolution(nullptr, 1);
    EXPECT_EQ(GetPictureWidth(nullptr), 0);
}

TEST(PictureHelpers, DuplicatesOfAnySize) {
    Plugin host;
    const OwnedPicture source(host.newPicture(4, 3));
    const OwnedPicture other(DuplicatePictureWithoutMaskOrAlpha(source, 5, 2));
    EXPECT_EQ(host.objects.surface(other).width, 5);
    EXPECT_EQ(host.objects.surface(other).height, 2);
    for (const auto& [width, height] : {std::pair(0, 2), {2, -1}})
        EXPECT_EQ(DuplicatePictureWithoutMaskOrAlpha(source, width, height), nullptr);
    EXPECT_EQ(DuplicatePictureWithoutMaskOrAlpha(nullptr), nullptr);
    EXPECT_EQ(DuplicatePictureWithoutMaskOrAlpha(nullptr, 1, 1), nullptr);
}

TEST(PictureHelpers, Masks) {
    Plugin host;
    const OwnedPicture picture(host.newPicture(2, 2)), mask(MyREALGetPictureMask(picture, true));
    EXPECT_EQ(host.objects.picture(picture).mask, mask.get());
    EXPECT_TRUE(AssignMask(picture, nullptr));
    EXPECT_EQ(host.objects.picture(picture).mask, nullptr);
    EXPECT_FALSE(AssignMask(nullptr, mask));
}

}  // namespace
}  // namespace qkztest
