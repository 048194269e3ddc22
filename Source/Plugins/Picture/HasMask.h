// Does a picture have a mask?
#pragma once

#include "HostTypes.h"

/// True when the picture has a mask; none is made. False for a null picture.
RBBoolean PictureHasMask(REALpictureStruct* picture);
