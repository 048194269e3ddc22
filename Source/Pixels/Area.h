// Parts of pictures: rectangles as callers give them, limited to what there is.
#pragma once

#include "rbpicturereader.h"

/// A half-open range of columns or rows: begin..end-1, none when the end is not above the begin.
struct Span {
    std::int64_t begin;
    std::int64_t end;
};

/// At which byte of a row an area's first column lies: at 4 x left in every pixel format, also in that of
/// three bytes (compatibility.md#columns-of-four-bytes), or where the pixel is.
enum class ColumnStart { fourBytes, pixel };

/// Columns left..right-1 of the rows top..bottom-1. They lie within the picture, or there are none.
struct Area {
    std::int64_t left;
    std::int64_t top;
    std::int64_t right;
    std::int64_t bottom;
    ColumnStart columnStart = ColumnStart::fourBytes;
};

/// Which widths and heights of a rectangle stand for the whole picture's.
enum class WholeWhen { negative, notPositive };

/// The part of `size` that start and length cover. The end is computed from the start as given, before the
/// start is limited to 0; sums beyond 64 bits saturate.
Span clipSpan(std::int64_t start, std::int64_t length, std::int64_t size, WholeWhen whole);

/// The same both ways, over an editor's picture.
Area clipArea(const PictureEditor& editor, std::int64_t left, std::int64_t top, std::int64_t width,
              std::int64_t height, WholeWhen whole);

inline Area wholeArea(const PictureEditor& editor) { return {0, 0, editor.width(), editor.height()}; }

inline bool sameSize(const PictureEditor& a, const PictureEditor& b) {
    return a.width() == b.width() && a.height() == b.height();
}
