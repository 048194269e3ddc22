// Row-by-row access to host pictures, whatever they are stored in.
//
// An editor opens a picture's native storage (a Cairo image surface, a GD true-colour image, a copy of a GDK
// pixmap) and presents it as rows of pixels in one of a few formats, with a cursor on one row.
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

/// How a row's pixels are stored.
enum PixelFormat : std::uint32_t {
    pixelUnknown = 0,  // none of those below: reads as 0 in every channel, alpha included, and is not written
    pixelGD = 8,       // GD true colour: a word with 7 bits of alpha, colours as below
    pixelRGB = 11,     // three bytes: red, green, blue
    pixelARGB = 14,    // Cairo ARGB32: a word, premultiplied: alpha 24-31, red 16-23, green 8-15, blue 0-7
    pixelXRGB = 15,    // Cairo RGB24: the same without alpha; written with 255 there
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
    /// Makes the first row current, as after opening.
    void rewind();

    /// A new reference to the picture written, for the caller, with the editor's resolution; closes the
    /// editor. Null when there is none.
    REALpictureStruct* RenderPictureWriter();
    /// Closes the editor without a result.
    void clear();
    /// Tells Cairo that the pixels changed.
    void MarkSurfaceDirty();

    std::int64_t width() const { return width_; }    // in pixels
    std::int64_t height() const { return height_; }  // in rows
    /// The distance in bytes from one row to the next, where rows follow each other.
    std::int64_t rowBytes() const { return rowBytes_; }
    /// Unknown before the first opening, and then no more.
    PixelFormat format() const { return format_; }
    bool hasAlpha() const { return hasAlpha_; }
    /// Null where a GD image lacks the row.
    std::uint8_t* currentRow() const { return currentRow_; }
    /// 4, or 3 in the format of three bytes.
    std::int64_t bytesPerPixel() const { return bytesPerPixel_; }
    /// How many bytes may be touched from the current row's first byte on: in the format of three bytes to
    /// the end of the storage, for its rows are known to follow each other, otherwise to the end of the row's
    /// pixels.
    std::int64_t bytesLeft() const;

 protected:
    bool GetPictureEditor(REALpictureStruct* source, bool forReading, bool forWriting);
    void setPicture(REALpictureStruct* newPicture);
    /// Of another editor's picture, for the result.
    void copyResolution(const PictureEditor& from);

    std::int64_t rowBytes_ = 0;
    std::int64_t width_ = 0;
    std::int64_t height_ = 0;
    std::int64_t bytesPerPixel_ = 0;
    std::int64_t errorCount_ = 0;  // row-access errors since opening; only the first 9 are logged
    std::int64_t verticalResolution_ = 0;
    std::int64_t horizontalResolution_ = 0;
    std::int64_t nativeLayout_ = 0;  // 6 for a GD image; informational
    PixelFormat format_ = pixelUnknown;
    std::uint8_t* currentRow_ = nullptr;
    REALpictureDescription description_{};
    std::uint8_t* ownBuffer_ = nullptr;
    std::uint8_t* pixelBase_ = nullptr;
    std::int64_t currentX_ = 0;
    std::int64_t currentY_ = 0;
    REALpictureStruct* picture_ = nullptr;  // with a reference of the editor's own
    GdkPixbuf* pixbuf_ = nullptr;
    cairo_surface_t* cairoSurface_ = nullptr;
    std::uint8_t** rowTable_ = nullptr;
    bool hasAlpha_ = false;
    bool isCairo_ = false;
    bool reading_ = false;
    bool writing_ = false;
    bool needsUnlock_ = false;

 private:
    bool GetPictureEditorInternal(REALpictureStruct* source, bool forReading, bool forWriting, int attempt);
    bool GetPictureEditorCairoContext(REALpictureStruct* source);
    bool GetPictureEditorGDImagePtr(REALpictureStruct* source);
    bool GetPictureEditorGdkPixmap(REALpictureStruct* source);
    /// Takes the picture and the lock on its description over.
    void opened(REALpictureStruct* source, rbDescriptionLock& lock);
    /// Counts a row-access error; says whether it is to be logged.
    bool rowErrorIsLogged();
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
    /// A new picture with an alpha channel: compatibility.md#no-limit-with-alpha
    bool NewPictureWriterWithAlphaChannel(std::int64_t newWidth, std::int64_t newHeight);
    /// A new picture of the reader's size and resolution, with alpha exactly when the reader's has it.
    bool NewPictureWriter(const PictureReader& reader);
    /// The given picture where it is large enough (at its own full size), otherwise a new opaque one.
    bool NewPictureWriter(REALpictureStruct* destination, std::int64_t newWidth, std::int64_t newHeight);
    /// Replaces the storage by an RGB buffer of the editor's own, from which the result is built.
    bool NewPictureWriterLinux(std::int64_t newWidth, std::int64_t newHeight);
};
