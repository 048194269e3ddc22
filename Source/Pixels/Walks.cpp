#include "Walks.h"

void fillPixels(PictureWriter& writer, std::int64_t y, std::int64_t begin, std::int64_t end, Pixel color) {
    std::uint8_t* const row = y >= 0 && y < writer.height() ? writer.GetRow(y) : nullptr;
    if (!row) return;
    begin = std::max<std::int64_t>(begin, 0);
    end = std::min(end, writer.width());
    visitTarget<Channels::color>(writer.format(), [=]<class Target>(Target) {
        for (std::int64_t x = begin; x < end; ++x) Target::storeOpaque(row + x * Target::bytes, color);
    });
}
