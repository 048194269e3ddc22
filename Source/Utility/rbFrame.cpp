#include "rbFrame.h"

#include <limits>

Span ClipSpan(std::int64_t start, std::int64_t length, std::int64_t size, WholeWhen whole) {
    if (length < 0 || (length == 0 && whole == WholeWhen::notPositive)) length = size;
    std::int64_t end = 0;
    // The length is not negative here, so only the upper end can be passed.
    if (__builtin_add_overflow(start, length, &end)) end = std::numeric_limits<std::int64_t>::max();
    return {std::max<std::int64_t>(start, 0), std::min(end, size)};
}

Area ClipArea(const PictureEditor& editor, std::int64_t left, std::int64_t top, std::int64_t width,
              std::int64_t height, WholeWhen whole) {
    const Span columns = ClipSpan(left, width, editor.Width(), whole);
    const Span rows = ClipSpan(top, height, editor.Height(), whole);
    return {columns.begin, rows.begin, columns.end, rows.end};
}

void FillPixels(PictureWriter& writer, std::int64_t y, std::int64_t begin, std::int64_t end, Pixel color) {
    std::uint8_t* const row = y >= 0 && y < writer.Height() ? writer.GetRow(y) : nullptr;
    if (!row) return;
    begin = std::max<std::int64_t>(begin, 0);
    end = std::min(end, writer.Width());
    frame::visitTarget<Channels::color>(writer.Format(), [=]<class Target>(Target) {
        for (std::int64_t x = begin; x < end; ++x) Target::storeOpaque(row + x * Target::bytes, color);
    });
}
