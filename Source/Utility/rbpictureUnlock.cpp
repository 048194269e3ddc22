#include "rbpictureUnlock.h"

#include "PluginMain.h"
#include "rbException.h"

bool REALLockPictureDescriptionX(REALpictureStruct* picture, REALpictureDescription* description,
                                 std::uint32_t nativeType) {
    if (REALLockPictureDescription(picture, description, nativeType)) return true;
    REALUnlockPictureDescriptionAfterFailure(picture);
    return false;
}

void REALUnlockPictureDescriptionAfterFailure(REALpictureStruct* /*picture*/) {}

rbDescriptionLock::~rbDescriptionLock() {
    if (picture_) quietly([this] { REALUnlockPictureDescription(picture_); });
}
