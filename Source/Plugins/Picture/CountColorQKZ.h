// Counting colours.
#pragma once

#include "HostTypes.h"

/// The number of pixels of exactly this colour, whose top byte does not count; 0 when the picture cannot be
/// read.
RBInteger CountColorQKZ(REALpictureStruct* picture, RBColor color);

/// Adds the picture's histograms, 256 counters of 32 bits each, to three memory blocks of at least 1024 bytes
/// and stores the number of pixels in `count`. Blocks that are null are created. The second block receives
/// green and the third blue, crossed against the names in the declaration
/// (compatibility.md#crossed-histograms). `count` is -1 when a block cannot be made or is too short, or the
/// picture cannot be read; nothing is counted then.
void CountColorsQKZ(REALpictureStruct* picture, REALmemoryBlockStruct** red, REALmemoryBlockStruct** second,
                    REALmemoryBlockStruct** third, RBInteger* count);
