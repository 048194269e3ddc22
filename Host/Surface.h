// The pixels behind a picture: one class per native storage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "HostTypes.h"

namespace qkzhost {

/// Where new pictures keep their pixels.
enum class Storage { cairo, gd, pixmap };

class Surface {
 public:
    virtual ~Surface() = default;
    Surface(const Surface&) = delete;
    Surface& operator=(const Surface&) = delete;

    /// New and zeroed (with alpha: transparent); null when the size is not in 1..32767 or memory is short.
    /// `extraStride` widens a Cairo row by so many bytes, a multiple of 4. A pixmap holds no alpha: asked
    /// for one, the surface is a Cairo one.
    static std::unique_ptr<Surface> create(Storage, std::int64_t width, std::int64_t height, bool alpha,
                                           int extraStride);

    /// The native handle when this storage answers to the native picture type, else null.
    virtual void* nativeHandle(std::uint32_t nativeType) = 0;

    /// Start of a row in memory; null for a pixmap, which lives in the display server.
    virtual std::uint8_t* row(int y) = 0;
    /// Bytes from one row to the next; 0 when rows are apart.
    virtual std::ptrdiff_t rowBytes() const { return 0; }

    /// `count` native 32-bit words of a row from (x, y) on.
    virtual void read(int x, int y, int count, std::uint32_t* words);
    virtual void write(int x, int y, int count, const std::uint32_t* words);

    /// One native word. Throws std::out_of_range.
    std::uint32_t word(int x, int y);
    /// Straight ARGB words, row by row.
    std::vector<std::uint32_t> argb();

    /// Conversion between native words and straight (not premultiplied) ARGB, of one or in place of many.
    std::uint32_t toArgb(std::uint32_t word) const;
    std::uint32_t fromArgb(std::uint32_t argb) const;
    void toArgb(std::span<std::uint32_t> words) const;
    void fromArgb(std::span<std::uint32_t> words) const;

    const Storage storage;
    const int width, height;
    const bool alpha;

 protected:
    Surface(Storage kind, int w, int h, bool a) : storage(kind), width(w), height(h), alpha(a) {}
};

/// Straight ARGB with its colours multiplied by alpha, rounded, and back.
std::uint32_t premultiplied(std::uint32_t argb);
std::uint32_t straight(std::uint32_t word);

/// Part of a picture, in pixels.
struct Area {
    double x, y, width, height;
};

/// Draws `from` of the source, scaled, onto `to` of the destination; a mask makes the source transparent
/// where it is white.
void draw(Surface& destination, Area to, Surface& source, Surface* mask, Area from);

/// Why there are no pixmaps here (no GTK 2, no display), or empty when there are.
const std::string& pixmapObstacle();

}  // namespace qkzhost
