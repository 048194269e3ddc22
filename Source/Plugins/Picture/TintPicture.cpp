#include "TintPicture.h"

#include "Walks.h"

namespace {

struct Weights {
    double red;
    double green;
    double blue;

    explicit Weights(const Pixel& color)
        : red(color.red / 255.0), green(color.green / 255.0), blue(color.blue / 255.0) {}
};

}  // namespace

REALpictureStruct* TintPictureQKZ(REALpictureStruct* source, RBColor greyBase, RBColor sepiaBase) {
    const Weights grey(pixelOf(greyBase));
    const Weights sepia(pixelOf(sepiaBase));
    return mapPicture(source, [=](const Pixel& p) {
        const double level = p.red * grey.red + p.green * grey.green + p.blue * grey.blue;
        const auto scaled = [=](double scale) { return std::min(static_cast<int>(scale * level), 255); };
        return Pixel{scaled(sepia.red), scaled(sepia.green), scaled(sepia.blue)};
    });
}
