// Two pictures merged into the lighter of both.
#pragma once

#include "HostTypes.h"

/// A new opaque picture whose channels are the larger of the two pictures' values. Null when a picture is
/// null or unreadable, or when their sizes differ.
REALpictureStruct* MergePictureQKZ(REALpictureStruct* source1, REALpictureStruct* source2);
