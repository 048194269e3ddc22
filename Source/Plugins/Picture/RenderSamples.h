// A picture of audio samples.
#pragma once

#include "HostTypes.h"

/// A new opaque picture of `width` x `height` pixels that shows the first `sampleCount` samples of one
/// channel from left to right, full scale being the full height.
///
/// Each column spans the smallest to the largest sample that falls on it, in `foreColor`; where there are
/// more columns than samples, the samples are joined by straight lines. The upper and the lower envelope get
/// anti-aliased outlines of `outlineWidth` pixels (0 or less: none).
///
/// `bits` is 8 (unsigned, 128 is silence), 16, 24 or 32 (signed, little-endian). `smooth` above 1 averages
/// that many neighbouring columns, fewer at the sides. `autoScale` makes the loudest sample full scale.
///
/// Null when there is no sample, the block is too short for them, `bits` is another number, or the picture
/// cannot be made.
REALpictureStruct* RenderSamplesQKZ(REALmemoryBlockStruct* samples, RBInteger sampleCount, RBInteger smooth,
                                    RBInteger width, RBInteger height, RBInteger outlineWidth,
                                    RBColor backColor, RBColor foreColor, RBColor outlineColor,
                                    RBInteger bits, RBBoolean autoScale);
