// One channel replaced by another picture's.
#pragma once

#include "HostTypes.h"

/// A new opaque picture of the picture's size with one channel of the channel picture's top-left part. A null
/// channel picture raises `NilObjectException`; an unreadable picture, or a channel picture narrower or lower
/// than the picture, gives null.
REALpictureStruct* ReplaceRedChannel(REALpictureStruct* picture, REALpictureStruct* channel);
REALpictureStruct* ReplaceGreenChannel(REALpictureStruct* picture, REALpictureStruct* channel);
REALpictureStruct* ReplaceBlueChannel(REALpictureStruct* picture, REALpictureStruct* channel);
