// A gray weighting followed by a colour scale.
#pragma once

#include "HostTypes.h"

/// A new opaque picture like the source: each pixel's gray value is the sum of its channels times those of
/// `greyBase` / 255 (not normalised: compatibility.md#tint-adds-up), and the result is that value times the
/// channels of `sepiaBase` / 255, truncated and at most 255. Null when the source cannot be read.
REALpictureStruct* TintPictureQKZ(REALpictureStruct* source, RBColor greyBase, RBColor sepiaBase);
