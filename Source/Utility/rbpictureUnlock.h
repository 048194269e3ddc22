// The guarded lock on a picture's description.
#pragma once

#include "HostTypes.h"

/// Locks the picture's description for a native type; on failure the hook below has run.
bool REALLockPictureDescriptionX(REALpictureStruct* picture, REALpictureDescription* description,
                                 std::uint32_t nativeType);
/// What a failed lock leaves to undo: deliberately nothing on this platform.
void REALUnlockPictureDescriptionAfterFailure(REALpictureStruct* picture);
