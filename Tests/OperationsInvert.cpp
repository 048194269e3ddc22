#include "Operations.h"

namespace qkztest {
namespace {

Rgba invertedPixel(const Rgba& p) {
    if (p.a == 0) return p;
    if (p.a == 255) return {255 - p.r, 255 - p.g, 255 - p.b, 255};
    const auto channel = [a = p.a](int c) { return multiplied(a, 255 - unmultiplied(a, c)); };
    return {channel(p.r), channel(p.g), channel(p.b), p.a};
}

Rgba grayInverted(const Rgba& p) { return p.r == p.g && p.g == p.b ? invertedPixel(p) : p; }

template <Rgba (*change)(const Rgba&)>
Cell whole(Image& picture, Cells&) {
    Image result = picture.blank();
    mapRectangle(picture, result, {0, 0, picture.width, picture.height}, change);
    return result;
}

template <Rgba (*change)(const Rgba&), bool zeroIsWhole>
Cell rectangle(Image& picture, Cells& arguments) {
    const auto whole = [](std::int64_t length) { return length < (zeroIsWhole ? 1 : 0); };
    Image result = picture.blank();
    mapRectangle(picture, result, rectangleOf(picture, arguments, 0, whole), change);
    return result;
}

}  // namespace

Image inverted(Image image) {
    Cells none;
    return std::get<Image>(whole<invertedPixel>(image, none));
}

std::vector<Operation> invertOperations() {
    return {{"Invert", "InvertQKZ", noArguments, whole<invertedPixel>},
            {"Invert_rectangle", "InvertQKZ", rectangleArguments, rectangle<invertedPixel, true>},
            {"InvertGray", "InvertGrayQKZ", noArguments, whole<grayInverted>},
            {"InvertGray_rectangle", "InvertGrayQKZ", rectangleArguments, rectangle<grayInverted, false>}};
}

}  // namespace qkztest
