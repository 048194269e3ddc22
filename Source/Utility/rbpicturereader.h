// Row-by-row access to host pictures, whatever they are stored in.
//
// An editor opens a picture's native storage (a Cairo image surface, a GD true-colour image, a copy of a GDK
// pixmap) and presents it as rows of pixels in one of the formats of rbPixel.h, with a cursor on one row.
#pragma once

#include "HostTypes.h"

struct GdkPixbuf;
struct cairo_surface_t;
class rbDescriptionLock;

/// The fields of libgd's gdImage that are read, where libgd has them.
struct GDImageFields {
    void* pixels;  // palette rows; null for true colour
    std::int32_t sx;
    std::int32_t sy;
    std::byte paletteAndMore[7232];
    std::int32_t trueColor;
    std::uint8_t** tpixels;  // one address a row; rows are separate allocations
};

class PictureEditor {
 public:
    PictureEditor() = default;
    virtual ~PictureEditor();
    PictureEditor(const PictureEditor&) = delete;
    PictureEditor& operator=(const PictureEditor&) = delete;

    /// Opens the picture for reading and writing in place. False when it cannot be opened, and for a copy
    /// that cannot be written back (a GDK pixmap).
    bool GetPictureEditor(REALpictureStruct* source);

    /// Makes row y current and returns its first byte. A row past the end gives row 0; a missing GD row
    /// gives null.
    std::uint8_t* GetRow(std::int64_t y);
    /// Makes the next row current.
    std::uint8_t* AddPixelRow();

    /// A new reference to the picture written, for the caller, with the editor's resolution; closes the
    /// editor. Null when there is none.
    REALpictureStruct* RenderPictureWriter();
    /// Closes the editor without a result.
    void clear();
    /// Tells Cairo that the pixels changed.
    void MarkSurfaceDirty();

    std::int64_t Width() const { return width; }
    std::int64_t Height() const { return height; }
    std::int64_t RowBytes() const { return rowBytes; }
    /// 8, 11, 14 or 15; 0 before the first opening.
    std::uint32_t Format() const { return pixelFormat; }
    bool HasAlpha() const { return hasAlpha; }
    std::uint8_t* CurrentRow() const { return currentRow; }
    std::int64_t BytesPerPixel() const { return bytesPerPixel; }
    /// How many bytes the storage holds from the current row's first byte on, where rows are known to follow
    /// each other; otherwise the row's own pixels.
    std::int64_t BytesLeft() const;

 protected:
    bool GetPictureEditor(REALpictureStruct* source, bool forReading, bool forWriting);
    void setPicture(REALpictureStruct* newPicture);

    std::int64_t rowBytes = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t bytesPerPixel = 0;
    std::int64_t errorCount = 0;  // row-access errors since opening; only the first 9 are logged
    std::int64_t verticalResolution = 0;
    std::int64_t horizontalResolution = 0;
    std::int64_t nativeLayout = 0;  // 6 for a GD image; informational
    std::uint32_t pixelFormat = 0;
    std::uint8_t* currentRow = nullptr;
    REALpictureDescription description{};
    std::uint8_t* ownBuffer = nullptr;
    std::uint8_t* pixelBase = nullptr;
    std::int64_t currentX = 0;
    std::int64_t currentY = 0;
    REALpictureStruct* picture = nullptr;  // with a reference of the editor's own
    GdkPixbuf* pixbuf = nullptr;
    cairo_surface_t* cairoSurface = nullptr;
    std::uint8_t** rowTable = nullptr;
    bool hasAlpha = false;
    bool isCairo = false;
    bool reading = false;
    bool writing = false;
    bool needsUnlock = false;

 private:
    bool GetPictureEditorInternal(REALpictureStruct* source, bool forReading, bool forWriting, int attempt);
    bool GetPictureEditorCairoContext(REALpictureStruct* source);
    bool GetPictureEditorGDImagePtr(REALpictureStruct* source);
    bool GetPictureEditorGdkPixmap(REALpictureStruct* source);
    /// Takes the picture and the lock on its description over.
    void opened(REALpictureStruct* source, rbDescriptionLock& lock);
    /// Counts a row-access error; says whether it is to be logged.
    bool rowErrorIsLogged();

    friend class PictureWriter;
};

class PictureReader : public PictureEditor {
 public:
    /// Opens a picture for reading.
    bool GetPictureReader(REALpictureStruct* source) { return GetPictureEditor(source, true, false); }
};

class PictureWriter : public PictureEditor {
 public:
    /// A new opaque picture, 1 to 32767 pixels each way.
    bool NewPictureWriter(std::int64_t newWidth, std::int64_t newHeight);
    /// A new picture with an alpha channel; deliberately without the upper limit.
    bool NewPictureWriterWithAlphaChannel(std::int64_t newWidth, std::int64_t newHeight);
    /// A new picture of the reader's size and resolution, with alpha exactly when the reader's has it.
    bool NewPictureWriter(const PictureReader& reader);
    /// The given picture where it is large enough (at its own full size), otherwise a new opaque one.
    bool NewPictureWriter(REALpictureStruct* destination, std::int64_t newWidth, std::int64_t newHeight);
    /// Replaces the storage by an RGB buffer of the editor's own, from which the result is built.
    bool NewPictureWriterLinux(std::int64_t newWidth, std::int64_t newHeight);
};
