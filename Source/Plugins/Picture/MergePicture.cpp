#include "MergePicture.h"

#include "Walks.h"

REALpictureStruct* MergePictureQKZ(REALpictureStruct* source1, REALpictureStruct* source2) {
    if (!source1 || !source2) return nullptr;
    PictureReader first;
    PictureReader second;
    if (!first.GetPictureReader(source1) || !second.GetPictureReader(source2)) return nullptr;
    if (!sameSize(first, second)) return nullptr;
    return mapReaders(
        [](const Pixel& a, const Pixel& b) {
            return Pixel{std::max(a.red, b.red), std::max(a.green, b.green), std::max(a.blue, b.blue)};
        },
        first, second);
}
