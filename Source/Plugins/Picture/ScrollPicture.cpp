#include "ScrollPicture.h"

#include <cstring>
#include <memory>
#include <numeric>

#include "MyMemory.h"
#include "Walks.h"
#include "rbFreeLater.h"
#include "rbpictureUtil.h"

namespace {

using Scroll = RBBoolean (*)(REALpictureStruct*, RBInteger, RBBoolean, RBBoolean);
using Scratch = std::unique_ptr<std::uint8_t, MemoryDeleter>;

constexpr int white = 255;

Scratch newScratch(std::int64_t bytes) {
    return Scratch(static_cast<std::uint8_t*>(AllocateClearMemory(bytes)));
}

/// Scrolls the picture's mask where it has one; false when that failed.
bool scrollMaskOf(REALpictureStruct* picture, Scroll scroll, RBInteger delta, RBBoolean wrap) {
    if (!picture) return true;
    REALpictureStruct* mask = MyREALGetPictureMask(picture, false);
    const rbFreeLater guard(mask);
    return !mask || scroll(mask, delta, wrap, false);
}

/// How far a wrapping move goes toward the end: 0..size-1.
std::int64_t wrapped(std::int64_t delta, std::int64_t size) {
    const std::int64_t rest = delta % size;
    return rest < 0 ? rest + size : rest;
}

// Rows, with the padding behind their pixels (compatibility.md#rows-move-with-their-padding). A missing row
// of a GD image stays out of it.

void copyRow(PictureEditor& editor, std::int64_t to, std::int64_t from) {
    const std::uint8_t* const source = editor.GetRow(from);
    std::uint8_t* const target = editor.GetRow(to);
    if (source && target) std::memcpy(target, source, static_cast<std::size_t>(editor.rowBytes()));
}

void whitenRows(PictureEditor& editor, std::int64_t begin, std::int64_t end) {
    for (std::int64_t y = begin; y < end; ++y) {
        if (std::uint8_t* const row = editor.GetRow(y)) {
            std::memset(row, white, static_cast<std::size_t>(editor.rowBytes()));
        }
    }
}

/// Moves every row down by `shift`, around the end: along each cycle of rows only one is set aside.
bool rotateRows(PictureEditor& editor, std::int64_t shift) {
    const std::int64_t height = editor.height();
    const auto bytes = static_cast<std::size_t>(editor.rowBytes());
    const Scratch saved = newScratch(editor.rowBytes());
    if (!saved) return false;
    const std::int64_t cycles = std::gcd(shift, height);
    for (std::int64_t start = 0; start < cycles; ++start) {
        const std::uint8_t* const first = editor.GetRow(start);
        if (first) std::memcpy(saved.get(), first, bytes);
        std::int64_t to = start;
        for (std::int64_t from = wrapped(to - shift, height); from != start;
             from = wrapped(to - shift, height)) {
            copyRow(editor, to, from);
            to = from;
        }
        std::uint8_t* const last = editor.GetRow(to);
        if (first && last) std::memcpy(last, saved.get(), bytes);
    }
    return true;
}

// One row's pixels.

/// Moves the pixels right by `shift`, around the end; `saved` has room for half a row.
void rotatePixels(std::uint8_t* row, std::int64_t width, std::int64_t shift, std::uint8_t* saved) {
    const auto right = static_cast<std::size_t>(4 * shift);
    const auto rest = static_cast<std::size_t>(4 * (width - shift));
    if (right <= rest) {
        std::memcpy(saved, row + rest, right);
        std::memmove(row + right, row, rest);
        std::memcpy(row, saved, right);
    } else {
        std::memcpy(saved, row, rest);
        std::memmove(row, row + rest, right);
        std::memcpy(row + right, saved, rest);
    }
}

void moveLeft(std::uint8_t* row, std::int64_t width, std::int64_t shift) {
    const auto left = static_cast<std::size_t>(4 * shift);
    const auto rest = static_cast<std::size_t>(4 * (width - shift));
    std::memmove(row, row + left, rest);
    std::memset(row + rest, white, left);
}

/// Moves by units of eight bytes but whitens pixels of four (compatibility.md#two-pixels-to-the-right). What
/// would go beyond the row's end is cut off.
void moveRight(std::uint8_t* row, std::int64_t width, std::int64_t shift) {
    if (2 * shift < width)
        std::memmove(row + 8 * shift, row, static_cast<std::size_t>(4 * width - 8 * shift));
    std::memset(row, white, static_cast<std::size_t>(4 * shift));
}

/// Does `work` to every row's first byte.
template <class Work>
void eachRowInPlace(PictureEditor& editor, Work work) {
    walkRows(
        wholeArea(editor), [&](std::int64_t, std::int64_t) { work(editor.currentRow()); }, editor);
}

}  // namespace

RBBoolean ScrollVertical(REALpictureStruct* picture, RBInteger delta, RBBoolean wrap, RBBoolean scrollMask) {
    if (scrollMask && !scrollMaskOf(picture, ScrollVertical, delta, wrap)) return false;
    if (delta == 0) return true;
    PictureEditor editor;
    if (!editor.GetPictureEditor(picture)) return false;
    const std::int64_t height = editor.height();
    if (height < 1) return true;
    if (wrap) {
        const std::int64_t shift = wrapped(delta, height);
        return shift == 0 || rotateRows(editor, shift);
    }
    if (delta >= height || delta <= -height) {
        whitenRows(editor, 0, height);
    } else if (delta < 0) {
        for (std::int64_t y = 0; y < height + delta; ++y) copyRow(editor, y, y - delta);
        whitenRows(editor, height + delta, height);
    } else {
        for (std::int64_t y = height - 1; y >= delta; --y) copyRow(editor, y, y - delta);
        whitenRows(editor, 0, delta);
    }
    return true;
}

RBBoolean ScrollHorizontal(REALpictureStruct* picture, RBInteger delta, RBBoolean wrap,
                           RBBoolean scrollMask) {
    if (scrollMask && !scrollMaskOf(picture, ScrollHorizontal, delta, wrap)) return false;
    if (delta == 0) return true;
    PictureEditor editor;
    // From here on the answer is true, whatever happens: compatibility.md#columns-never-fail
    if (!editor.GetPictureEditor(picture)) return true;
    const std::int64_t width = editor.width();
    if (width < 1) return true;
    if (wrap) {
        const std::int64_t shift = wrapped(delta, width);
        if (shift == 0) return true;
        const Scratch saved = newScratch(4 * width);
        if (!saved) return true;
        eachRowInPlace(editor, [&](std::uint8_t* row) { rotatePixels(row, width, shift, saved.get()); });
    } else if (delta >= width || delta <= -width) {
        whitenRows(editor, 0, editor.height());
    } else if (delta < 0) {
        eachRowInPlace(editor, [&](std::uint8_t* row) { moveLeft(row, width, -delta); });
    } else {
        eachRowInPlace(editor, [&](std::uint8_t* row) { moveRight(row, width, delta); });
    }
    return true;
}

RBBoolean ScrollPicture(REALpictureStruct* picture, RBInteger deltaX, RBInteger deltaY, RBBoolean wrap,
                        RBBoolean scrollMask) {
    return ScrollHorizontal(picture, deltaX, wrap, scrollMask) &&
           ScrollVertical(picture, deltaY, wrap, scrollMask);
}
