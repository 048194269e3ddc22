#include "rbpicturereader.h"

#include <cstdio>
#include <utility>

#include "MyMemory.h"
#include "PluginMain.h"
#include "rbCairo.h"
#include "rbDebug.h"
#include "rbFreeLater.h"
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

void PictureEditor::copyResolution(const PictureEditor& from) {
    verticalResolution_ = from.verticalResolution_;
    horizontalResolution_ = from.horizontalResolution_;
}

void PictureEditor::setPicture(REALpictureStruct* newPicture) {
    if (newPicture) REALLockObject(newPicture);
    rbFreeNow(picture_);
    picture_ = newPicture;
}

// Opening.

bool PictureEditor::GetPictureEditor(REALpictureStruct* source) {
    return GetPictureEditor(source, true, true) && format_ != pixelRGB;
}

bool PictureEditor::GetPictureEditor(REALpictureStruct* source, bool forReading, bool forWriting) {
    clear();
    if (!source) return false;
    reading_ = forReading;
    writing_ = forWriting;
    errorCount_ = 0;
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
    hasAlpha_ = PictureHasAlphaChannel(source);
    if (!Application.console) {
        if (GetPictureEditorCairoContext(source)) return true;
        if (!hasAlpha_ && GetPictureEditorGdkPixmap(source)) return true;
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
    needsUnlock_ = true;
    lock.keep();
    rewind();
    isCairo_ = description_.nativeType == pictureCairoContext;
    if (!isCairo_) cairoSurface_ = nullptr;  // of an earlier opening
    verticalResolution_ = GetPictureVerticalResolution(source);
    horizontalResolution_ = GetPictureHorizontalResolution(source);
}

bool PictureEditor::GetPictureEditorCairoContext(REALpictureStruct* source) {
    description_ = {};
    rbDescriptionLock lock(source, &description_, pictureCairoContext);
    if (!lock) return fail("REALLockPictureDescription with pictureCairoContext failed.");
    Application.desktop = true;
    if (!description_.handle) return fail("Cairo context is nil");
    if (description_.nativeType != pictureCairoContext) return fail("Picture is not a cairo context");
    if (!LoadCairo()) return fail("Loading Cairo library failed.");
    cairo_surface_t* const surface = Cairo.cairo_get_target(static_cast<cairo_t*>(description_.handle));
    if (!surface) return fail("cocoa surface is nil");  // compatibility.md#a-message-of-another-system
    std::uint8_t* const data = Cairo.cairo_image_surface_get_data(surface);
    const int surfaceWidth = Cairo.cairo_image_surface_get_width(surface);
    const int surfaceHeight = Cairo.cairo_image_surface_get_height(surface);
    const int stride = Cairo.cairo_image_surface_get_stride(surface);
    if (surfaceWidth <= 0) return fail("width is <= 0");
    if (surfaceHeight <= 0) return fail("height is <= 0");
    if (stride <= 0) return fail("stride is <= 0");
    if (!data) return fail("data pointer is nil");
    if (!HasFourBytePixels(surface)) return false;  // cannot be read as words

    cairoSurface_ = surface;
    format_ = hasAlpha_ ? pixelARGB : pixelXRGB;
    height_ = surfaceHeight;
    width_ = surfaceWidth;
    rowBytes_ = stride;
    bytesPerPixel_ = 4;
    pixelBase_ = data;
    nativeLayout_ = 0;
    opened(source, lock);
    return true;
}

bool PictureEditor::GetPictureEditorGDImagePtr(REALpictureStruct* source) {
    description_ = {};
    rbDescriptionLock lock(source, &description_, pictureGDImagePtr);
    if (!lock) return fail("REALLockPictureDescription with pictureGDImagePtr failed.");
    Application.console = true;
    const auto* const image = static_cast<const GDImageFields*>(description_.handle);
    if (description_.nativeType != pictureGDImagePtr || !image || image->pixels || !image->tpixels ||
        !image->trueColor) {
        return false;
    }
    // The description's size must lie within the image.
    if (description_.width < 0 || description_.height < 0 || description_.width > image->sx ||
        description_.height > image->sy) {
        return false;
    }
    format_ = pixelGD;
    bytesPerPixel_ = 4;
    width_ = description_.width;
    height_ = description_.height;
    rowBytes_ = static_cast<std::int32_t>(static_cast<std::uint32_t>(description_.width) * 4U);
    rowTable_ = image->tpixels;
    nativeLayout_ = 6;
    pixelBase_ = height_ > 0 ? rowTable_[0] : nullptr;
    opened(source, lock);
    return true;
}

bool PictureEditor::GetPictureEditorGdkPixmap(REALpictureStruct* source) {
    description_ = {};
    rbDescriptionLock lock(source, &description_, pictureGdkPixmap);
    if (!lock) return fail("REALLockPictureDescription with pictureGdkPixmap failed.");
    Application.desktop = true;
    if (!description_.handle) return fail("the pixmap is nil.");
    if (description_.nativeType != pictureGdkPixmap) return fail("picture type is not GdkPixmap.");
    if (description_.width < 1 || description_.height < 1) return false;  // would stand for the whole pixmap
    if (!LoadGTK()) return fail("Load GTK failed.");
    GdkPixbuf* const copy =
        Gdk.gdk_pixbuf_get_from_drawable
            ? Gdk.gdk_pixbuf_get_from_drawable(nullptr, description_.handle, nullptr, 0, 0, 0, 0,
                                               description_.width, description_.height)
            : nullptr;
    if (!copy) return fail("pixel buffer is nil");
    std::uint8_t* const pixels = Gdk.gdk_pixbuf_get_pixels(copy);
    const int rowStride = Gdk.gdk_pixbuf_get_rowstride(copy);
    if (!pixels || rowStride < std::int64_t{3} * description_.width) {
        Gdk.gdk_pixbuf_unref(copy);
        return false;
    }
    pixbuf_ = copy;  // released by clear() from here on
    format_ = pixelRGB;
    bytesPerPixel_ = 3;
    width_ = description_.width;
    height_ = description_.height;
    rowBytes_ = rowStride;
    pixelBase_ = pixels;
    nativeLayout_ = 0;
    opened(source, lock);
    return true;
}

// Rows.

std::uint8_t* PictureEditor::GetRow(std::int64_t y) {
    currentY_ = y;
    currentX_ = 0;
    if (y < 0 && rowErrorIsLogged()) LogMessage("y is too small", y);
    if (!pixelBase_) LogWhenDebugging("Warning: Pixelbase is nil!");
    if (y >= height_) {
        if (rowErrorIsLogged()) {
            char text[100];
            std::snprintf(text, sizeof text, "y too big: %d of %d in %s", static_cast<int>(y),
                          static_cast<int>(height_), "GetRow");
            LogMessage(text);
        }
        return currentRow_ = pixelBase_;
    }
    if (format_ == pixelGD) {
        currentRow_ = y < 0 ? nullptr : rowTable_[y];
        if (!currentRow_ && rowErrorIsLogged()) LogMessage("r is nil!");
        return currentRow_;
    }
    // Not limited to the first row: compatibility.md#rows-out-of-range
    return currentRow_ = reinterpret_cast<std::uint8_t*>(reinterpret_cast<std::uintptr_t>(pixelBase_) +
                                                         static_cast<std::uintptr_t>(rowBytes_) *
                                                             static_cast<std::uintptr_t>(y));
}

std::uint8_t* PictureEditor::AddPixelRow() { return GetRow(currentY_ + 1); }

void PictureEditor::rewind() {
    currentRow_ = pixelBase_;
    currentX_ = 0;
    currentY_ = 0;
}

bool PictureEditor::rowErrorIsLogged() { return ++errorCount_ <= 9 && getDebugging(); }

std::int64_t PictureEditor::bytesLeft() const {
    const std::int64_t row = bytesPerPixel_ * width_;
    if (format_ != pixelRGB) return row;
    const std::int64_t spare = pixelBase_ == ownBuffer_ ? rowBytes_ : 0;
    return (height_ - 1 - currentY_) * rowBytes_ + row + spare;
}

// Finishing.

REALpictureStruct* PictureEditor::RenderPictureWriter() {
    REALpictureStruct* result = nullptr;
    const rbFreeLater guard(result);
    if (picture_) {
        REALLockObject(picture_);
        result = picture_;
        REALPictureClearCache(picture_);
        MarkSurfaceDirty();
    } else if (ownBuffer_) {
        // From here on the buffer is the host's.
        result = REALBuildPictureFromBuffer(static_cast<std::uint32_t>(width_),
                                            static_cast<std::uint32_t>(height_), REALpixelRGB, ownBuffer_,
                                            static_cast<std::uint32_t>(rowBytes_));
    }
    if (horizontalResolution_ > 0 && verticalResolution_ > 0) {
        SetPictureVerticalResolution(result, verticalResolution_);
        SetPictureHorizontalResolution(result, horizontalResolution_);
    }
    clear();
    return std::exchange(result, nullptr);
}

void PictureEditor::clear() {
    errorCount_ = 0;
    if (pixbuf_) Gdk.gdk_pixbuf_unref(pixbuf_);
    pixbuf_ = nullptr;
    if (std::exchange(needsUnlock_, false)) quietly([this] { REALUnlockPictureDescription(picture_); });
    // The surface lives as long as the picture: without a picture the pointer to it may be stale.
    if (writing_ && picture_) {
        quietly([this] { REALPictureClearCache(picture_); });
        MarkSurfaceDirty();
    }
    rbFreeNow(picture_);
    // The own buffer is left alone: compatibility.md#the-own-buffer-stays
}

void PictureEditor::MarkSurfaceDirty() {
    if (cairoSurface_ && Cairo.cairo_surface_mark_dirty) Cairo.cairo_surface_mark_dirty(cairoSurface_);
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
    const bool isCopy = open && format_ == pixelRGB;
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
    const bool open = reader.hasAlpha() ? NewPictureWriterWithAlphaChannel(reader.width(), reader.height())
                                        : NewPictureWriter(reader.width(), reader.height());
    copyResolution(reader);
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
        return format_ == pixelRGB ? NewPictureWriterLinux(newWidth, newHeight) : true;
    }
    LogWhenDebugging("Create new picture");
    return NewPictureWriter(newWidth, newHeight);
}

bool PictureWriter::NewPictureWriterLinux(std::int64_t newWidth, std::int64_t newHeight) {
    clear();
    ownBuffer_ = static_cast<std::uint8_t*>(AllocateClearMemory(newWidth * 3 * newHeight + newWidth * 3));
    if (!ownBuffer_) return false;
    format_ = pixelRGB;
    bytesPerPixel_ = 3;
    rowBytes_ = newWidth * 3;
    width_ = newWidth;
    height_ = newHeight;
    pixelBase_ = ownBuffer_;
    rewind();
    return true;
}
