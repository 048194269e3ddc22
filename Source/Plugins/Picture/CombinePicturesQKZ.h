// A picture out of three channel pictures.
#pragma once

#include "HostTypes.h"

/// A new opaque picture with the red of `red`, the green of `green` and the blue of `blue` (for the order
/// see compatibility.md#red-blue-green). Null when a picture is null or unreadable, or when their sizes
/// differ.
REALpictureStruct* CombinePicturesQKZ(REALpictureStruct* red, REALpictureStruct* blue,
                                      REALpictureStruct* green);
