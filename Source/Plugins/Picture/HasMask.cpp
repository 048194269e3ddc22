#include "HasMask.h"

#include "PluginMain.h"
#include "rbpictureUtil.h"

RBBoolean PictureHasMask(REALpictureStruct* picture) {
    if (!picture) return false;
    REALpictureStruct* const mask = MyREALGetPictureMask(picture, false);
    if (!mask) return false;
    REALUnlockObject(mask);
    return true;
}
