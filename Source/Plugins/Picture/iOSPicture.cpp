#include "iOSPicture.h"

#include "rbException.h"

void iOSOnly() { RaiseException("PlatformNotSupportedException", "iOS only"); }

RBBoolean iOSOnlyBoolean() {
    iOSOnly();
    return false;
}
