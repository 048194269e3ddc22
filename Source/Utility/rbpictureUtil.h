// Helpers over host pictures: the application's kind, size, resolution, alpha, masks, new pictures.
#pragma once

#include <atomic>

#include "HostTypes.h"

/// Which kind of application hosts us. Also set by a successful lock of a native picture type.
struct ApplicationKind {
    std::atomic<bool> checked = false;  // set when the others are
    std::atomic<bool> desktop = false;
    std::atomic<bool> console = false;
};
extern ApplicationKind Application;

/// Asks the host for its application classes and sets the flags.
void CheckApplication();
/// The same, once per process.
void CheckApplicationOnce();

// Properties; 0 for a null picture and for a missing property. Setting ignores a null picture.
std::int64_t GetPictureWidth(REALpictureStruct* picture);
std::int64_t GetPictureHeight(REALpictureStruct* picture);
std::int64_t GetPictureVerticalResolution(REALpictureStruct* picture);
std::int64_t GetPictureHorizontalResolution(REALpictureStruct* picture);
void SetPictureVerticalResolution(REALpictureStruct* picture, std::int64_t value);
void SetPictureHorizontalResolution(REALpictureStruct* picture, std::int64_t value);

/// Copies the resolution when both of the source's values are at least 1; nothing for a null picture.
void ApplyResolution(REALpictureStruct* source, REALpictureStruct* destination);

/// The "HasAlphaChannel" property; false where it is missing.
bool PictureHasAlphaChannel(REALpictureStruct* picture);

/// The picture's mask with one reference for the caller, or null. `create`: make one where there is none.
REALpictureStruct* MyREALGetPictureMask(REALpictureStruct* picture, bool create);
/// Gives the picture a mask, or takes it away (null). False for a null picture.
bool AssignMask(REALpictureStruct* picture, REALpictureStruct* mask);

// New pictures, each with one reference for the caller; null on failure.
REALpictureStruct* MyREALNewPicture(std::int64_t width, std::int64_t height, std::int64_t depth);
/// Wants a host of version 2011.04 or later.
REALpictureStruct* NewPictureWithAlphaChannel(std::int64_t width, std::int64_t height);
/// A copy of the picture's own size, or of the given one. An opaque picture's mask is not copied: it is
/// detached while the picture is drawn, and the source is left as it was.
REALpictureStruct* DuplicatePictureWithoutMaskOrAlpha(REALpictureStruct* picture);
REALpictureStruct* DuplicatePictureWithoutMaskOrAlpha(REALpictureStruct* picture, std::int64_t width,
                                                      std::int64_t height);
REALpictureStruct* ClonePicture(REALpictureStruct* picture);

/// The picture's Graphics object with one reference for the caller.
REALgraphicsStruct* MyREALGetPictureGraphics(REALpictureStruct* picture);
/// Draws the rectangle 0, 0, width, height of `source` at the origin of `destination`; false when the host's
/// drawing call cannot be found.
bool DrawPictureInto(REALpictureStruct* destination, REALpictureStruct* source, std::int64_t width,
                     std::int64_t height);

/// The best representation of a picture with several, with one reference for the caller; null when the host
/// has none.
REALpictureStruct* BestRepresentation(REALpictureStruct* picture);
