// Picture editors and helpers, where a method's result does not show them.
#include <limits>

#include "PluginMain.h"
#include "Support.h"
#include "rbpictureUtil.h"
#include "rbpicturereader.h"

namespace qkztest {
namespace {

struct Writer : PictureWriter {
    using PictureEditor::bytesPerPixel, PictureEditor::errorCount, PictureEditor::nativeLayout,
        PictureEditor::pixelBase, PictureEditor::rowTable;
    using PictureEditor::GetPictureEditor;
};

TEST(Editors, RowsOfEveryStorage) {
    for (const StorageCase& storage : storages()) {
        if (storage.settings.storage == Storage::pixmap && !pixmapObstacle().empty()) continue;
        SCOPED_TRACE(storage.name);
        Plugin host(storage.settings);
        Random random(3);
        const Image image = randomImage(random, storage.format, storage.alpha, 7, 4);
        const OwnedPicture picture = makePicture(host, image);
        {
            PictureReader reader;
            ASSERT_TRUE(reader.GetPictureReader(picture));
            EXPECT_EQ(host.descriptionLocks(picture), 1);
            EXPECT_EQ(reader.Width(), 7);
            EXPECT_EQ(reader.Height(), 4);
            EXPECT_EQ(static_cast<Format>(reader.Format()), storage.format);
            EXPECT_EQ(reader.HasAlpha(), storage.alpha);
            const std::uint8_t* const first = reader.CurrentRow();
            for (int y = 0; y < 4; y++) {
                if (storage.format == Format::rgb) {
                    EXPECT_EQ(reader.CurrentRow()[3], image.at(1, y).r);
                } else {
                    EXPECT_EQ(reader.CurrentRow(), host.row(picture, y));
                }
                reader.AddPixelRow();
            }
            EXPECT_EQ(reader.CurrentRow(), first);           // row 4 is row 0
            EXPECT_FALSE(reader.GetPictureReader(nullptr));  // opening begins with closing
            EXPECT_EQ(host.descriptionLocks(picture), 0);
            EXPECT_TRUE(reader.GetPictureReader(picture));
        }
        EXPECT_EQ(host.descriptionLocks(picture), 0);
    }
}

TEST(Editors, RowErrorsAreCountedAndLoggedNineTimes) {
    Plugin host;
    const OwnedPicture picture(host, host.newPicture(2, 3));
    Writer editor;
    ASSERT_TRUE(editor.GetPictureEditor(picture));
    EXPECT_EQ(host.log([&] {
        EXPECT_EQ(editor.GetRow(-1), editor.pixelBase - editor.RowBytes());
        EXPECT_EQ(editor.GetRow(3), editor.pixelBase);
        EXPECT_EQ(editor.GetRow(100), editor.pixelBase);
        EXPECT_EQ(editor.GetRow(2), editor.pixelBase + 2 * editor.RowBytes());
    }),
              (Lines{"y is too small -1", "y too big: 3 of 3 in GetRow", "y too big: 100 of 3 in GetRow"}));
    EXPECT_EQ(editor.errorCount, 3);
    for (int i = 0; i < 4; i++) editor.GetRow(3);  // counted, whether logged or not
    EXPECT_EQ(editor.errorCount, 7);
    EXPECT_EQ(host.log([&] {
                      for (int i = 0; i < 5; i++) editor.GetRow(3);
                  })
                  .size(),
              2u);
    EXPECT_EQ(editor.errorCount, 12);
    editor.clear();
    EXPECT_EQ(editor.errorCount, 0);

    Writer closed;
    EXPECT_EQ(host.log([&] { EXPECT_EQ(closed.GetRow(0), nullptr); }),
              (Lines{"Warning: Pixelbase is nil!", "y too big: 0 of 0 in GetRow"}));
}

TEST(Editors, MissingGdRow) {
    Plugin host({.app = AppKind::console, .storage = Storage::gd});
    const OwnedPicture picture(host, host.newPicture(2, 3));
    Writer editor;
    ASSERT_TRUE(editor.GetPictureEditor(picture));
    EXPECT_EQ(editor.nativeLayout, 6);
    EXPECT_EQ(editor.bytesPerPixel, 4);
    std::uint8_t* const row = std::exchange(editor.rowTable[1], nullptr);
    EXPECT_EQ(host.log([&] { EXPECT_EQ(editor.GetRow(1), nullptr); }), Lines{"r is nil!"});
    editor.rowTable[1] = row;
    EXPECT_EQ(editor.GetRow(1), row);
    EXPECT_EQ(editor.errorCount, 1);
}

TEST(Editors, WritersRefuseSizes) {
    const std::int64_t huge = std::numeric_limits<std::int64_t>::max();
    const struct {
        std::int64_t width, height;
        const char* log;
        bool opens;
    } cases[] = {{0, 5, "width < 1", false},         {5, 0, "height < 1", false},
                 {0, 0, "width < 1", false},         {-huge, 1, "width < 1", false},
                 {32768, 1, "width > 32767", false}, {1, 32768, "height > 32767", false},
                 {32768, 0, "height < 1", false},    {huge, huge, "width > 32767", false},
                 {32767, 1, "result", true},         {1, 32767, "result", true}};
    Plugin host;
    for (const auto& c : cases) {
        PictureWriter writer;
        EXPECT_EQ(host.log([&] { EXPECT_EQ(writer.NewPictureWriter(c.width, c.height), c.opens); }),
                  Lines{c.log});
    }
    PictureWriter alpha;
    for (const std::int64_t side : {std::int64_t{0}, std::int64_t{-1}, -huge}) {
        EXPECT_FALSE(alpha.NewPictureWriterWithAlphaChannel(side, 10));
        EXPECT_FALSE(alpha.NewPictureWriterWithAlphaChannel(10, side));
    }
    EXPECT_EQ(host.called("PluginNewInstance"), 0);
    // Beyond 32767 it is for the host to say.
    EXPECT_FALSE(alpha.NewPictureWriterWithAlphaChannel(32768, 1));
    EXPECT_EQ(host.called("PluginNewInstance"), 1);
}

TEST(Editors, WriterReusesALargeEnoughPicture) {
    const struct {
        int width, height;
        std::int64_t kind;
        Lines log;
        bool reused;
    } cases[] = {{6, 5, 2, {"reuse picture"}, true},
                 {4, 3, 2, {"reuse picture"}, true},
                 {3, 9, 2, {"result"}, false},
                 {9, 2, 2, {"result"}, false},
                 {6, 5, 1, {"reuse picture", "Create new picture", "result"}, false}};
    Plugin host;
    for (const auto& c : cases) {
        const OwnedPicture destination(host, host.newPicture(c.width, c.height));
        host.setKind(destination, c.kind);
        PictureWriter writer;
        EXPECT_EQ(host.log([&] { EXPECT_TRUE(writer.NewPictureWriter(destination, 4, 3)); }), c.log);
        EXPECT_EQ(writer.Width(), c.reused ? c.width : 4);
        const OwnedPicture result(host, writer.RenderPictureWriter());
        EXPECT_EQ(result.get() == destination.get(), c.reused);
        EXPECT_EQ(host.height(result), c.reused ? c.height : 3);
    }
    PictureWriter writer;
    EXPECT_TRUE(writer.NewPictureWriter(nullptr, 4, 3));
}

TEST(Editors, InPlace) {
    for (const std::int64_t kind : {0, 1, 2, 3, 9}) {
        Plugin host;
        const OwnedPicture picture(host, host.newPicture(2, 2));
        host.setKind(picture, kind);
        Writer editor;
        EXPECT_EQ(editor.GetPictureEditor(picture), kind == 2 || kind == 9) << kind;
        if (kind != 2) continue;
        const OwnedPicture result(host, editor.RenderPictureWriter());
        EXPECT_EQ(result.get(), picture.get());
        EXPECT_EQ(host.descriptionLocks(picture), 0);
        EXPECT_EQ(PictureWriter().RenderPictureWriter(), nullptr);
    }
    if (!pixmapObstacle().empty()) return;
    Plugin host(storages().back().settings);
    const OwnedPicture picture(host, host.newPicture(2, 2));
    Writer editor;
    EXPECT_FALSE(editor.GetPictureEditor(picture));
    editor.clear();
    EXPECT_EQ(host.descriptionLocks(picture), 0);
}

TEST(Editors, PictureOfBothApplicationKindsIsRefused) {
    Plugin host;
    const OwnedPicture picture(host, host.newPicture(2, 2));
    Application.checked = Application.desktop = Application.console = true;
    PictureReader reader;
    EXPECT_FALSE(reader.GetPictureReader(picture));
    EXPECT_EQ(host.called("REALLockPictureDescription"), 0);
}

TEST(PictureHelpers, ApplicationKind) {
    for (const AppKind kind : {AppKind::none, AppKind::desktop, AppKind::console, AppKind::web}) {
        Plugin host({.app = kind});
        CheckApplicationOnce();
        CheckApplicationOnce();
        EXPECT_TRUE(Application.checked);
        EXPECT_EQ(Application.desktop, kind == AppKind::desktop);
        EXPECT_EQ(Application.console, kind == AppKind::console || kind == AppKind::web);
        EXPECT_EQ(host.asked("Application"), 1);
    }
}

TEST(PictureHelpers, Resolution) {
    Plugin host;
    const OwnedPicture source(host, host.newPicture(4, 5)), target(host, host.newPicture(1, 1));
    using Both = std::array<std::int64_t, 2>;
    for (const Both bad : {Both{0, 100}, Both{90, 0}, Both{-1, 100}}) {
        host.setResolution(source, bad[0], bad[1]);
        EXPECT_EQ(host.log([&] { ApplyResolution(source, target); }), Lines{});
        EXPECT_EQ(host.resolution(target), (Both{72, 72}));
    }
    host.setResolution(source, 90, 100);
    EXPECT_EQ(host.log([&] { ApplyResolution(source, target); }), Lines{"set resoluton to 90, 100"});
    EXPECT_EQ(host.resolution(target), (Both{90, 100}));
    ApplyResolution(nullptr, target);
    ApplyResolution(source, nullptr);
    SetPictureHorizontalResolution(nullptr, 1);
    EXPECT_EQ(GetPictureWidth(source), 4);
    EXPECT_EQ(GetPictureHeight(source), 5);
    EXPECT_EQ(GetPictureWidth(nullptr), 0);
    EXPECT_EQ(GetPictureVerticalResolution(nullptr), 0);
}

TEST(PictureHelpers, DuplicatesAreUnmasked) {
    Plugin host;
    Image image = Image{}.blank(4, 3);
    for (std::uint32_t& word : image.words) word = 0xFF336699;
    const OwnedPicture source = makePicture(host, image), mask(host, host.newPicture(4, 3));
    for (int x = 0; x < 4; x++) host.setPixel(mask, x, 1, 0xFFFFFFFF);
    host.setMask(source, mask);
    host.setResolution(source, 90, 100);
    const OwnedPicture copy(host, DuplicatePictureWithoutMaskOrAlpha(source));
    EXPECT_SAME_IMAGE(readPicture(host, copy), image);
    EXPECT_EQ(host.mask(copy), nullptr);
    EXPECT_EQ(host.mask(source), mask.get());
    EXPECT_EQ(host.resolution(copy)[1], 100);
    const OwnedPicture larger(host, DuplicatePictureWithoutMaskOrAlpha(source, 5, 2));
    EXPECT_EQ(host.width(larger), 5);
    EXPECT_EQ(host.height(larger), 2);
    EXPECT_EQ(DuplicatePictureWithoutMaskOrAlpha(source, 0, 2), nullptr);
    EXPECT_EQ(DuplicatePictureWithoutMaskOrAlpha(source, 2, -1), nullptr);
    EXPECT_EQ(DuplicatePictureWithoutMaskOrAlpha(nullptr), nullptr);
    EXPECT_EQ(DuplicatePictureWithoutMaskOrAlpha(nullptr, 1, 1), nullptr);
}

TEST(PictureHelpers, Masks) {
    for (const double version : {2019.0, 2020.0, 2020.01, 2024.0}) {
        SCOPED_TRACE(version);
        Plugin host({.version = version});
        const OwnedPicture picture(host, host.newPicture(2, 2));
        EXPECT_EQ(MyREALGetPictureMask(picture, false), nullptr);
        const OwnedPicture mask(host, MyREALGetPictureMask(picture, true));
        EXPECT_EQ(host.mask(picture), mask.get());
        const bool byService = version <= 2020.0;
        EXPECT_EQ(host.called("REALGetPictureMask"), byService ? 2 : 0);
        EXPECT_EQ(host.called("Mask(create As Boolean = True) As Picture"), byService ? 0 : 2);
        EXPECT_TRUE(AssignMask(picture, nullptr));
        EXPECT_EQ(host.mask(picture), nullptr);
        EXPECT_FALSE(AssignMask(nullptr, mask));
    }
}

}  // namespace
}  // namespace qkztest
