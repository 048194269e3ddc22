#include "rbpicturereader.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "MyMemory.h"
#include "PluginMain.h"
#include "rbCairo.h"
#include "rbDebug.h"
#include "rbFreeLater.h"
#include "rbPixel.h"
#include "rbgtk.h"
#include "rbpictureUnlock.h"
#include "rbpictureUtil.h"

namespace {

constexpr std::int64_t largestSide = 32767;

/// Says in the log why nothing was opened; always false.
bool fail(const char* reason) {
    LogWhenDebugging(reason);
    return false;
}

}  // namespace

PictureEditor::~PictureEditor() { clear(); }

void PictureEditor::setPicture(REALpictureStruct* newPicture) {
    if (newPicture) REALLockObject(newPicture);
    rbFreeNow(picture);
    picture = newPicture;
}

// Opening.

bool PictureEditor::GetPictureEditor(REALpictureStruct* source) {
    return GetPictureEditor(source, true, true) && pixelFormat != pixelRGB;
}

bool PictureEditor::GetPictureEditor(REALpictureStruct* source, bool forReading, bool forWriting) {
    clear();
    if (!source) return false;
    reading = forReading;
    writing = forWriting;
    errorCount = 0;
    CheckApplicationOnce();

    const RBInteger kind = REALGetPictureType(source);
    const bool severalRepresentations = kind == pictureImage || kind == pictureImmutableImage;
    if (forWriting && (severalRepresentations || kind == pictureVector)) return false;
    if (severalRepresentations && HostVersion() >= 2016.0) {
        REALpictureStruct* best = BestRepresentation(source);
        const rbFreeLater guard(best);
        if (best) return GetPictureEditorInternal(best, forReading, false, 1);
    }
    return GetPictureEditorInternal(source, forReading, forWriting, 1);
}

bool PictureEditor::GetPictureEditorInternal(REALpictureStruct* source, bool forReading, bool forWriting,
                                             int attempt) {
    hasAlpha = PictureHasAlphaChannel(source);
    if (!Application.console) {
        if (GetPictureEditorCairoContext(source)) return true;
        if (!hasAlpha && GetPictureEditorGdkPixmap(source)) return true;
    }
    if (Application.console && Application.desktop) return false;
    if ((Application.console || !Application.desktop) && GetPictureEditorGDImagePtr(source)) return true;
    if (attempt == 1 && forReading && !forWriting && !Application.console) {
        LogWhenDebugging("Trying clone....");
        REALpictureStruct* copy = ClonePicture(source);
        const rbFreeLater guard(copy);
        return copy && GetPictureEditorInternal(copy, true, false, 2);
    }
    return fail("GetPictureEditor failed");
}

void PictureEditor::opened(REALpictureStruct* source, rbDescriptionLock& lock) {
    setPicture(source);
    needsUnlock = true;
    lock.keep();
    currentRow = pixelBase;
    currentX = 0;
    currentY = 0;
    isCairo = description.nativeType == pictureCairoContext;
    if (!isCairo) cairoSurface = nullptr;  // of an earlier opening
    verticalResolution = GetPictureVerticalResolution(source);
    horizontalResolution = GetPictureHorizontalResolution(source);
}

bool PictureEditor::GetPictureEditorCairoContext(REALpictureStruct* source) {
    description = {};
    rbDescriptionLock lock(source, &description, pictureCairoContext);
    if (!lock) return fail("REALLockPictureDescription with pictureCairoContext failed.");
    Application.desktop = true;
    if (!description.handle) return fail("Cairo context is nil");
    if (description.nativeType != pictureCairoContext) return fail("Picture is not a cairo context");
    if (!LoadCairo()) return fail("Loading Cairo library failed.");
    cairo_surface_t* const surface = Cairo.cairo_get_target(static_cast<cairo_t*>(description.handle));
    if (!surface) return fail("cocoa surface is nil");  // the message is kept as it is
    std::uint8_t* const data = Cairo.cairo_image_surface_get_data(surface);
    const int surfaceWidth = Cairo.cairo_image_surface_get_width(surface);
    const int surfaceHeight = Cairo.cairo_image_surface_get_height(surface);
    const int stride = Cairo.cairo_image_surface_get_stride(surface);
    if (surfaceWidth <= 0) return fail("width is <= 0");
    if (surfaceHeight <= 0) return fail("height is <= 0");
    if (stride <= 0) return fail("stride is <= 0");
    if (!data) return fail("data pointer is nil");
    if (!HasFourBytePixels(surface)) return false;  // cannot be read as words

    cairoSurface = surface;
    pixelFormat = hasAlpha ? pixelARGB : pixelXRGB;
    height = surfaceHeight;
    width = surfaceWidth;
    rowBytes = stride;
    bytesPerPixel = 4;
    pixelBase = data;
    nativeLayout = 0;
    opened(source, lock);
    return true;
}

bool PictureEditor::GetPictureEditorGDImagePtr(REALpictureStruct* source) {
    description = {};
    rbDescriptionLock lock(source, &description, pictureGDImagePtr);
    if (!lock) return fail("REALLockPictureDescription with pictureGDImagePtr failed.");
    Application.console = true;
    const auto* const image = static_cast<const GDImageFields*>(description.handle);
    if (description.nativeType != pictureGDImagePtr || !image || image->pixels || !image->tpixels ||
        !image->trueColor) {
        return false;
    }
    // The description's size must lie within the image.
    if (description.width < 0 || description.height < 0 || description.width > image->sx ||
        description.height > image->sy) {
        return false;
    }
    pixelFormat = pixelGD;
    bytesPerPixel = 4;
    width = description.width;
    height = description.height;
    rowBytes = static_cast<std::int32_t>(static_cast<std::uint32_t>(description.width) * 4U);
    rowTable = image->tpixels;
    nativeLayout = 6;
    pixelBase = height > 0 ? rowTable[0] : nullptr;
    opened(source, lock);
    return true;
}

bool PictureEditor::GetPictureEditorGdkPixmap(REALpictureStruct* source) {
    description = {};
    rbDescriptionLock lock(source, &description, pictureGdkPixmap);
    if (!lock) return fail("REALLockPictureDescription with pictureGdkPixmap failed.");
    Application.desktop = true;
    if (!description.handle) return fail("the pixmap is nil.");
    if (description.nativeType != pictureGdkPixmap) return fail("picture type is not GdkPixmap.");
    if (description.width < 1 || description.height < 1) return false;  // would stand for the whole pixmap
    if (!LoadGTK()) return fail("Load GTK failed.");
    GdkPixbuf* const copy =
        Gdk.gdk_pixbuf_get_from_drawable
            ? Gdk.gdk_pixbuf_get_from_drawable(nullptr, description.handle, nullptr, 0, 0, 0, 0,
                                               description.width, description.height)
            : nullptr;
    if (!copy) return fail("pixel buffer is nil");
    std::uint8_t* const pixels = Gdk.gdk_pixbuf_get_pixels(copy);
    const int rowStride = Gdk.gdk_pixbuf_get_rowstride(copy);
    if (!pixels || rowStride < std::int64_t{3} * description.width) {
        Gdk.gdk_pixbuf_unref(copy);
        return false;
    }
    pixbuf = copy;  // released by clear() from here on
    pixelFormat = pixelRGB;
    bytesPerPixel = 3;
    width = description.width;
    height = description.height;
    rowBytes = rowStride;
    pixelBase = pixels;
    nativeLayout = 0;
    opened(source, lock);
    return true;
}

// Rows.

std::uint8_t* PictureEditor::GetRow(std::int64_t y) {
    currentY = y;
    currentX = 0;
    if (y < 0 && rowErrorIsLogged()) LogMessage("y is too small", y);
    if (!pixelBase) LogWhenDebugging("Warning: Pixelbase is nil!");
    if (y >= height) {
        if (rowErrorIsLogged()) {
            char text[100];
            std::snprintf(text, sizeof text, "y too big: %d of %d in %s", static_cast<int>(y),
                          static_cast<int>(height), "GetRow");
            LogMessage(text);
        }
        return currentRow = pixelBase;
    }
    if (pixelFormat == pixelGD) {
        currentRow = y < 0 ? nullptr : rowTable[y];
        if (!currentRow && rowErrorIsLogged()) LogMessage("r is nil!");
        return currentRow;
    }
    // A row before the first is deliberately not clamped: nobody reads or writes there.
    return currentRow = reinterpret_cast<std::uint8_t*>(reinterpret_cast<std::uintptr_t>(pixelBase) +
                                                        static_cast<std::uintptr_t>(rowBytes) *
                                                            static_cast<std::uintptr_t>(y));
}

std::uint8_t* PictureEditor::AddPixelRow() { return GetRow(currentY + 1); }

bool PictureEditor::rowErrorIsLogged() { return ++errorCount <= 9 && getDebugging(); }

std::int64_t PictureEditor::BytesLeft() const {
    const std::int64_t row = bytesPerPixel * width;
    if (pixelFormat != pixelRGB) return row;
    const std::int64_t spare = pixelBase == ownBuffer ? rowBytes : 0;
    return (height - 1 - currentY) * rowBytes + row + spare;
}

// Finishing.

REALpictureStruct* PictureEditor::RenderPictureWriter() {
    REALpictureStruct* result = nullptr;
    const rbFreeLater guard(result);
    if (picture) {
        REALLockObject(picture);
        result = picture;
        REALPictureClearCache(picture);
        MarkSurfaceDirty();
    } else if (ownBuffer) {
        // From here on the buffer is the host's.
        result =
            REALBuildPictureFromBuffer(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                                       REALpixelRGB, ownBuffer, static_cast<std::uint32_t>(rowBytes));
    }
    if (horizontalResolution > 0 && verticalResolution > 0) {
        SetPictureVerticalResolution(result, verticalResolution);
        SetPictureHorizontalResolution(result, horizontalResolution);
    }
    clear();
    return std::exchange(result, nullptr);
}

void PictureEditor::clear() {
    errorCount = 0;
    if (pixbuf) Gdk.gdk_pixbuf_unref(pixbuf);
    pixbuf = nullptr;
    if (std::exchange(needsUnlock, false)) Quietly([this] { REALUnlockPictureDescription(picture); });
    // Without the picture's reference the surface, whose field stays set, is no longer ours to touch.
    if (writing && picture) {
        Quietly([this] { REALPictureClearCache(picture); });
        MarkSurfaceDirty();
    }
    rbFreeNow(picture);
    // The own buffer is deliberately neither freed nor forgotten.
}

void PictureEditor::MarkSurfaceDirty() {
    if (cairoSurface && Cairo.cairo_surface_mark_dirty) Cairo.cairo_surface_mark_dirty(cairoSurface);
}

// Writers.

bool PictureWriter::NewPictureWriter(std::int64_t newWidth, std::int64_t newHeight) {
    if (newWidth < 1) return fail("width < 1");
    if (newHeight < 1) return fail("height < 1");
    if (newWidth > largestSide) return fail("width > 32767");
    if (newHeight > largestSide) return fail("height > 32767");
    REALpictureStruct* created = MyREALNewPicture(newWidth, newHeight, 32);
    const rbFreeLater guard(created);
    if (!created) return false;
    bool open = GetPictureEditor(created, false, true);
    const bool isCopy = open && pixelFormat == pixelRGB;
    if (isCopy) open = NewPictureWriterLinux(newWidth, newHeight);
    rbFreeNow(created);
    if (!isCopy) LogWhenDebugging("result");
    return open;
}

bool PictureWriter::NewPictureWriterWithAlphaChannel(std::int64_t newWidth, std::int64_t newHeight) {
    REALpictureStruct* created = NewPictureWithAlphaChannel(newWidth, newHeight);
    const rbFreeLater guard(created);
    return created && GetPictureEditor(created, false, true);
}

bool PictureWriter::NewPictureWriter(const PictureReader& reader) {
    const bool open = reader.HasAlpha() ? NewPictureWriterWithAlphaChannel(reader.Width(), reader.Height())
                                        : NewPictureWriter(reader.Width(), reader.Height());
    const PictureEditor& source = reader;
    verticalResolution = source.verticalResolution;
    horizontalResolution = source.horizontalResolution;
    return open;
}

bool PictureWriter::NewPictureWriter(REALpictureStruct* destination, std::int64_t newWidth,
                                     std::int64_t newHeight) {
    if (!destination || GetPictureWidth(destination) < newWidth ||
        GetPictureHeight(destination) < newHeight) {
        return NewPictureWriter(newWidth, newHeight);
    }
    LogWhenDebugging("reuse picture");
    if (GetPictureEditor(destination, false, true)) {
        return pixelFormat == pixelRGB ? NewPictureWriterLinux(newWidth, newHeight) : true;
    }
    LogWhenDebugging("Create new picture");
    return NewPictureWriter(newWidth, newHeight);
}

bool PictureWriter::NewPictureWriterLinux(std::int64_t newWidth, std::int64_t newHeight) {
    clear();
    ownBuffer = static_cast<std::uint8_t*>(AllocateClearMemory(newWidth * 3 * newHeight + newWidth * 3));
    if (!ownBuffer) return false;
    pixelFormat = pixelRGB;
    bytesPerPixel = 3;
    rowBytes = newWidth * 3;
    width = newWidth;
    height = newHeight;
    pixelBase = ownBuffer;
    currentRow = ownBuffer;
    currentX = 0;
    currentY = 0;
    return true;
}
