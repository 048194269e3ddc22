#include "Operations.h"

namespace qkztest {
namespace {

Rgba inverted(const Rgba& p) {
    if (p.a == 0) return p;
    if (p.a == 255) return {255 - p.r, 255 - p.g, 255 - p.b, 255};
    const auto channel = [a = p.a](int c) { return multiplied(a, 255 - unmultiplied(a, c)); };
    return {channel(p.r), channel(p.g), channel(p.b), p.a};
}

Rgba grayInverted(const Rgba& p) { return p.r == p.g && p.g == p.b ? inverted(p) : p; }

template <Rgba (*change)(const Rgba&)>
Cell whole(Image& picture, Cells&) {
    Image result = picture.blank();
    mapRectangle(picture, result, {0, 0, picture.width, picture.height}, change);
    return result;
}

template <Rgba (*change)(const Rgba&), bool zeroIsWhole>
Cell rectangle(Image& picture, Cells& arguments) {
    const auto integer = [&](std::size_t i) { return std::get<std::int64_t>(arguments[i]); };
    Image result = picture.blank();
    mapRectangle(picture, result,
                 clipped(picture, integer(0), integer(1), integer(2), integer(3),
                         [](std::int64_t length) { return length < 0 || (zeroIsWhole && length == 0); }),
                 change);
    return result;
}

}  // namespace

std::vector<Operation> invertOperations() {
    return {{"Invert", "InvertQKZ", noArguments, whole<inverted>},
            {"Invert_rectangle", "InvertQKZ", rectangleArguments, rectangle<inverted, true>},
            {"InvertGray", "InvertGrayQKZ", noArguments, whole<grayInverted>},
            {"InvertGray_rectangle", "InvertGrayQKZ", rectangleArguments, rectangle<grayInverted, false>}};
}

}  // namespace qkztest
