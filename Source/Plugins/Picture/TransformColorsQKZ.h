// Colours through tables of the caller's.
#pragma once

#include "HostTypes.h"

/// The picture with each channel through the 256-byte table named after it, opaque: in `destination` where
/// that is at least as large, otherwise in a new picture. A null picture or table raises
/// `NilObjectException`; a table shorter than 256 bytes or an unreadable picture gives null.
REALpictureStruct* TransformColorsQKZ(REALpictureStruct* picture, REALmemoryBlockStruct* red,
                                      REALmemoryBlockStruct* blue, REALmemoryBlockStruct* green,
                                      REALpictureStruct* destination);
