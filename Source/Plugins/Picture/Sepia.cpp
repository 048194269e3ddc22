#include "Sepia.h"

#include <cstddef>
#include <iterator>

#include "ChannelTables.h"
#include "ClassRows.h"

namespace {

PictureSepiaData& dataOf(REALobjectStruct* object) {
    return instanceData<PictureSepiaData>(object, pictureSepiaClass);
}

void PictureSepiaClassConstructor(REALobjectStruct* object) {
    PictureSepiaData& data = dataOf(object);
    data.weightRed = 0.299;
    data.weightGreen = 0.587;
    data.weightBlue = 0.114;
}

void PictureSepiaClassDestructor(REALobjectStruct* object) {
    PictureSepiaData& data = dataOf(object);
    rbFreeNow(data.sourcePicture);
    rbFreeNow(data.destinationPicture);
}

double GetFactorR(REALobjectStruct* object, RBInteger) { return dataOf(object).weightRed; }
double GetFactorG(REALobjectStruct* object, RBInteger) { return dataOf(object).weightGreen; }
double GetFactorB(REALobjectStruct* object, RBInteger) { return dataOf(object).weightBlue; }
void SetFactorR(REALobjectStruct* object, RBInteger, double value) { dataOf(object).weightRed = value; }
void SetFactorG(REALobjectStruct* object, RBInteger, double value) { dataOf(object).weightGreen = value; }
void SetFactorB(REALobjectStruct* object, RBInteger, double value) { dataOf(object).weightBlue = value; }

/// How many columns or rows are processed, always from the first one on: the minimum shortens the block
/// instead of moving it (compatibility.md#a-block-at-the-top-left).
std::int64_t processed(std::int64_t minimum, std::int64_t maximum, std::int64_t size) {
    const std::int64_t end = size <= maximum || maximum <= minimum ? size : maximum;
    std::int64_t count = 0;
    // Only a minimum far below 0 can leave the range.
    if (__builtin_sub_overflow(end, minimum, &count)) return size;
    return std::min(count, size);
}

/// 32-bit arithmetic that wraps.
struct Wrapping {
    std::uint32_t value;

    static Wrapping weight(double factor) {
        return {static_cast<std::uint32_t>(truncateToInt32(factor * 1024))};
    }
    static Wrapping tint(RBInteger property) { return {static_cast<std::uint32_t>(property)}; }
    std::uint32_t operator*(int channel) const { return value * static_cast<std::uint32_t>(channel); }
    int plus(int gray) const {
        return std::clamp(static_cast<int>(value + static_cast<std::uint32_t>(gray)), 0, 255);
    }
};

RBBoolean Run(REALobjectStruct* object) {
    PictureSepiaData& data = dataOf(object);
    PictureReader reader;
    if (!data.sourcePicture || !reader.GetPictureReader(data.sourcePicture)) return false;
    PictureWriter writer;
    if (!writer.NewPictureWriter(reader.width(), reader.height())) return false;
    const Area area{0, 0, processed(data.minX, data.maxX, reader.width()),
                    processed(data.minY, data.maxY, reader.height())};
    const auto red = Wrapping::weight(data.weightRed);
    const auto green = Wrapping::weight(data.weightGreen);
    const auto blue = Wrapping::weight(data.weightBlue);
    const auto tintRed = Wrapping::tint(data.sepiaRed);
    const auto tintGreen = Wrapping::tint(data.sepiaGreen);
    const auto tintBlue = Wrapping::tint(data.sepiaBlue);
    mapPixels(
        writer, area,
        [=](const Pixel& p) {
            const int gray = static_cast<int>(red * p.red + green * p.green + blue * p.blue) / 1024;
            return Pixel{tintRed.plus(gray), tintGreen.plus(gray), tintBlue.plus(gray)};
        },
        reader);
    REALpictureStruct* const result = writer.RenderPictureWriter();
    if (!result) return false;
    data.destinationPicture = result;  // compatibility.md#the-previous-destination-stays-alive
    return true;
}

// clang-format off
REALproperty properties[] = {
    field("SourcePicture", "Picture", REALpropRuntimeOnly | deferredConsoleSafe, offsetof(PictureSepiaData, sourcePicture)),
    field("DestinationPicture", "Picture", REALpropRuntimeOnly | deferredConsoleSafe, offsetof(PictureSepiaData, destinationPicture)),
    field("MaxX", "Integer", REALpropRuntimeOnly | REALconsoleSafe, offsetof(PictureSepiaData, maxX)),
    field("MinX", "Integer", REALpropRuntimeOnly | REALconsoleSafe, offsetof(PictureSepiaData, minX)),
    field("MaxY", "Integer", REALpropRuntimeOnly | REALconsoleSafe, offsetof(PictureSepiaData, maxY)),
    field("MinY", "Integer", REALpropRuntimeOnly | REALconsoleSafe, offsetof(PictureSepiaData, minY)),
    field("SepiaRed", "Integer", REALpropRuntimeOnly | REALconsoleSafe, offsetof(PictureSepiaData, sepiaRed)),
    field("SepiaGreen", "Integer", REALpropRuntimeOnly | REALconsoleSafe, offsetof(PictureSepiaData, sepiaGreen)),
    field("SepiaBlue", "Integer", REALpropRuntimeOnly | REALconsoleSafe, offsetof(PictureSepiaData, sepiaBlue)),
    computed<GetFactorR, SetFactorR>("FactorRed", "Double", REALpropRuntimeOnly | REALconsoleSafe),
    computed<GetFactorG, SetFactorG>("FactorBlue", "Double", REALpropRuntimeOnly | REALconsoleSafe),
    computed<GetFactorB, SetFactorB>("FactorGreen", "Double", REALpropRuntimeOnly | REALconsoleSafe),
};

REALmethodDefinition methods[] = {
    method<PictureSepiaClassDestructor>("Close", REALconsoleSafe),
    method<Run>("Run as boolean", REALconsoleSafe),
};
// clang-format on

}  // namespace

REALclassDefinition pictureSepiaClass = {
    .name = "PictureSepiaQKZ",
    .dataSize = sizeof(PictureSepiaData),
    .constructor = HostCall<PictureSepiaClassConstructor>(),
    .destructor = HostCall<PictureSepiaClassDestructor>(),
    .properties = properties,
    .propertyCount = std::size(properties),
    .methods = methods,
    .methodCount = std::size(methods),
    .flags = REALconsoleSafe,
};
