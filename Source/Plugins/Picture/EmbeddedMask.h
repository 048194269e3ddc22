// Alpha values as a picture of grays, and back.
#pragma once

#include "HostTypes.h"

/// A new opaque picture of the source's size whose gray levels are the source's alpha values (255 where it
/// has none), or 255 minus them with `swap`. Null when the source cannot be read.
REALpictureStruct* GetEmbeddedMask(REALpictureStruct* picture, RBBoolean swap);

/// Writes the mask's red values (255 minus them with `swap`) into the picture in place: value x of a row goes
/// to byte 4 * x of the picture's row (compatibility.md#a-mask-goes-into-blue). Beyond the mask's edges the
/// picture keeps its bytes. Nothing happens when either picture is null or cannot be read.
void SetEmbeddedMask(REALpictureStruct* picture, RBBoolean swap, REALpictureStruct* mask);
