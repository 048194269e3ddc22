#include "invert.h"

#include "Walks.h"
#include "rbMultiplyUtil.h"

namespace {

Pixel inverted(const Pixel& p) { return {255 - p.red, 255 - p.green, 255 - p.blue, p.alpha}; }

/// Stored colours inverted in plain terms: un-premultiplied, inverted, premultiplied again. With alpha 0 they
/// stay as they are.
struct InvertTable {
    std::uint8_t values[256][256];  // [alpha][stored value]

    explicit InvertTable(const MultiplyTables& tables) {
        for (int alpha = 0; alpha < 256; ++alpha) {
            for (int value = 0; value < 256; ++value) {
                values[alpha][value] = alpha == 0
                                           ? static_cast<std::uint8_t>(value)
                                           : tables.multiply[alpha][255 - tables.unmultiply[alpha][value]];
            }
        }
    }
};

const InvertTable& invertTable() {
    static const InvertTable table(InitMultiplyTable());
    return table;
}

Pixel invertedPremultiplied(const Pixel& p, const InvertTable& table) {
    const auto& inverse = table.values[p.alpha];
    return {inverse[p.red], inverse[p.green], inverse[p.blue], p.alpha};
}

/// Inverts the pixels inside the rectangle for which `selected` holds and copies the others there.
template <class Selected>
REALpictureStruct* invert(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                          RBInteger height, WholeWhen whole, Selected selected) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    PictureWriter writer;
    if (!writer.NewPictureWriter(reader)) return nullptr;
    const Area area = clipArea(reader, left, top, width, height, whole);
    if (reader.hasAlpha()) {
        const InvertTable* const table = &invertTable();
        mapPixels<Channels::colorAndAlpha>(
            writer, area, [=](Pixel p) { return selected(p) ? invertedPremultiplied(p, *table) : p; },
            reader);
    } else {
        mapPixels(
            writer, area, [=](Pixel p) { return select(selected(p), inverted(p), p); }, reader);
    }
    return writer.RenderPictureWriter();
}

}  // namespace

REALpictureStruct* InvertPicture(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                                 RBInteger height) {
    return invert(picture, left, top, width, height, WholeWhen::notPositive,
                  [](const Pixel&) { return true; });
}

REALpictureStruct* InvertPicture2(REALpictureStruct* picture) { return InvertPicture(picture, 0, 0, -1, -1); }

// A width or height of 0 is taken as given: compatibility.md#zero-means-all-but-not-for-grays
REALpictureStruct* InvertGrayPicture(REALpictureStruct* picture, RBInteger left, RBInteger top,
                                     RBInteger width, RBInteger height) {
    return invert(picture, left, top, width, height, WholeWhen::negative,
                  [](const Pixel& p) { return isGrayPixel(p); });
}

REALpictureStruct* InvertGrayPicture2(REALpictureStruct* picture) {
    return InvertGrayPicture(picture, 0, 0, -1, -1);
}
