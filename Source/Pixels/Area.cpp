#include "Area.h"

#include <algorithm>
#include <limits>

Span clipSpan(std::int64_t start, std::int64_t length, std::int64_t size, WholeWhen whole) {
    if (length < 0 || (length == 0 && whole == WholeWhen::notPositive)) length = size;
    std::int64_t end = 0;
    // The length is not negative here, so only the upper end can be passed.
    if (__builtin_add_overflow(start, length, &end)) end = std::numeric_limits<std::int64_t>::max();
    return {std::max<std::int64_t>(start, 0), std::min(end, size)};
}

Area clipArea(const PictureEditor& editor, std::int64_t left, std::int64_t top, std::int64_t width,
              std::int64_t height, WholeWhen whole) {
    const Span columns = clipSpan(left, width, editor.width(), whole);
    const Span rows = clipSpan(top, height, editor.height(), whole);
    return {columns.begin, rows.begin, columns.end, rows.end};
}
