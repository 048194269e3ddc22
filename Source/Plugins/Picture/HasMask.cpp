#include "HasMask.h"

#include "rbFreeLater.h"
#include "rbpictureUtil.h"

RBBoolean PictureHasMask(REALpictureStruct* picture) {
    if (!picture) return false;
    REALpictureStruct* mask = MyREALGetPictureMask(picture, false);
    const rbFreeLater guard(mask);
    return mask != nullptr;
}
