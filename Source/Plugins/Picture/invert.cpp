#include "invert.h"

#include "Walks.h"

namespace {

/// A stored colour inverted in plain terms: un-premultiplied by its alpha, inverted, premultiplied again,
/// which comes to alpha - value for what is premultiplied properly. A value above its alpha counts as fully
/// bright before, and with alpha 0 stays as it is. Equal to the way through both multiply tables for all
/// values.
int invertedChannel(int value, int alpha) {
    const int beyond = ((255 - value) * alpha + 128) * 257 >> 16;  // 0 with alpha 0
    return value <= alpha ? alpha - value : beyond + (alpha == 0 ? value : 0);
}

Pixel invertedPremultiplied(const Pixel& p) {
    return {invertedChannel(p.red, p.alpha), invertedChannel(p.green, p.alpha),
            invertedChannel(p.blue, p.alpha), p.alpha};
}

/// Inverts the pixels inside the rectangle for which `selected(color)` holds and copies the others there.
template <class Selected>
REALpictureStruct* invert(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                          RBInteger height, WholeWhen whole, Selected selected) {
    PictureReader reader;
    if (!reader.GetPictureReader(picture)) return nullptr;
    PictureWriter writer;
    if (!writer.NewPictureWriter(reader)) return nullptr;
    const Area area = clipArea(reader, left, top, width, height, whole);
    if (reader.hasAlpha()) {
        const auto formula = [=](Pixel p) {
            return select(selected(colorWord(p)), invertedPremultiplied(p), p);
        };
        mapPixels<Channels::colorAndAlpha>(writer, area, formula, reader);
    } else {
        const auto formula = [=](std::uint32_t color) { return selected(color) ? color ^ colorBits : color; };
        mapPixels(writer, area, OnColorWords{formula}, reader);
    }
    return writer.RenderPictureWriter();
}

}  // namespace

REALpictureStruct* InvertPicture(REALpictureStruct* picture, RBInteger left, RBInteger top, RBInteger width,
                                 RBInteger height) {
    return invert(picture, left, top, width, height, WholeWhen::notPositive,
                  [](std::uint32_t) { return true; });
}

REALpictureStruct* InvertPicture2(REALpictureStruct* picture) { return InvertPicture(picture, 0, 0, -1, -1); }

// A width or height of 0 is taken as given: compatibility.md#zero-means-all-but-not-for-grays
REALpictureStruct* InvertGrayPicture(REALpictureStruct* picture, RBInteger left, RBInteger top,
                                     RBInteger width, RBInteger height) {
    return invert(picture, left, top, width, height, WholeWhen::negative,
                  [](std::uint32_t color) { return isGrayColor(color); });
}

REALpictureStruct* InvertGrayPicture2(REALpictureStruct* picture) {
    return InvertGrayPicture(picture, 0, 0, -1, -1);
}
