#include "Strips.h"

#include <algorithm>
#include <sstream>

#include "Help.h"

namespace qkz {
namespace {

using namespace qkzhost;
using std::filesystem::path;

/// What looks at every pixel alone. With arguments an inversion is one of a rectangle.
constexpr struct {
    std::string_view name;
    bool withArguments;
} pixelwise[] = {{"ChangeBrightnessAbsoluteQKZ", true},
                 {"ChangeBrightnessLinearQKZ", true},
                 {"ChangeContrastBrightnessAbsoluteQKZ", true},
                 {"ChangeContrastBrightnessLinearQKZ", true},
                 {"ChangeContrastQKZ", true},
                 {"ChangeCustomQKZ", true},
                 {"ChangeSaturationQKZ", true},
                 {"ExtractColorQKZ", true},
                 {"InvertGrayQKZ", false},
                 {"InvertQKZ", false},
                 {"PictureSepiaQKZ", true},
                 {"ReplaceColorQKZ", true},
                 {"ThresholdQKZ", true},
                 {"TintPictureQKZ", true}};

/// Whether an argument is a number, a colour or the current picture, and no edge of a rectangle.
bool isOfEveryPixel(const WrittenArgument& argument) {
    constexpr std::string_view edges[] = {"MinX", "MaxX", "MinY", "MaxY"};
    return !argument.quoted && std::none_of(std::begin(edges), std::end(edges), [&](std::string_view edge) {
        return sameText(argument.key, edge);
    });
}

bool isPixelwise(const std::string& text) {
    const WrittenCall call = parseCall(text);
    const std::string whole = call.name + std::string(suffix);
    return !call.assigned && std::all_of(call.arguments.begin(), call.arguments.end(), isOfEveryPixel) &&
           std::any_of(std::begin(pixelwise), std::end(pixelwise), [&](const auto& known) {
               return (sameText(call.name, known.name) || sameText(whole, known.name)) &&
                      (known.withArguments || call.arguments.empty());
           });
}

}  // namespace

bool doInStrips(Host& host, const Limits& limits, const Work& work, const path& file,
                const std::optional<path>& output) {
    if (work.whole || !output || isPacked(file) || isPacked(*output) ||
        !std::all_of(work.calls.begin(), work.calls.end(), isPixelwise)) {
        return false;
    }
    std::ostream nowhere(nullptr);
    Session session(host, limits, nowhere);
    const PictureChange change = [&](OwnedPicture picture) {
        session.open(std::move(picture));
        for (const std::string& call : work.calls) explaining([&] { session.run(call); });
        return session.picture();
    };
    try {
        change(host.newPicture(1, 1, false));
    } catch (const CallFailure&) {
        return false;
    }
    fromFile([&] { changePicture(host, file, change, *output, work.encoding, limits); });
    return true;
}

}  // namespace qkz
